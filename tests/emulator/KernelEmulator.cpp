// Interposition and bookkeeping of the kernel emulator; the per-protocol
// kernels live in their own files.

#include "KernelEmulator.h"

#include "GenlKernel.h"
#include "QoeKernel.h"

#include <dlfcn.h>
#include <errno.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

namespace kemu {
namespace {

template <typename Fn>
Fn* real(const char* name) {
    return reinterpret_cast<Fn*>(dlsym(RTLD_NEXT, name));
}

struct Fault {
    int err = 0;
    int count = 0;
};

struct State {
    std::mutex lock;
    std::condition_variable changed;
    std::map<int, std::shared_ptr<Channel>> channels;  // library fd -> kernel end
    std::map<int, std::vector<Bytes>> history;
    std::map<int, size_t> opened;
    std::map<int, Fault> socketFaults, bindFaults, sendFaults;
    std::vector<int> order;  // library fds in opening order
};

State& state() {
    static State* s = new State();  // never destroyed: sockets may close during exit
    return *s;
}

// Runs `f` on the state under its lock.
template <typename F>
auto locked(F&& f) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    return f(s);
}

bool isEmulated(int protocol) {
    return protocol == kMonitorProtocol || protocol == kPolicyProtocol || protocol == kGenericProtocol;
}

// Consumes one pending fault of the protocol, setting errno; false when there is none.
bool takeFault(std::map<int, Fault>& faults, int protocol) {
    auto it = faults.find(protocol);
    if (it == faults.end() || it->second.count <= 0) return false;
    errno = it->second.err;
    if (--it->second.count == 0) faults.erase(it);
    return true;
}

std::shared_ptr<Channel> channelOf(int fd) {
    return locked([&](State& s) {
        auto it = s.channels.find(fd);
        return it == s.channels.end() ? nullptr : it->second;
    });
}

// The module behind each protocol; the policy channel is never answered.
void answer(Channel& channel, const Bytes& message) {
    if (channel.protocol() == kMonitorProtocol) monitorKernel(channel, message);
    if (channel.protocol() == kGenericProtocol) genl::kernel(channel, message);
}

}  // namespace

bool Channel::deliver(const Bytes& message) const {
    return ::send(mKernelFd, message.data(), message.size(), MSG_DONTWAIT) == static_cast<ssize_t>(message.size());
}

void reset() {
    locked([](State& s) {
        s.history.clear();
        s.opened.clear();
        s.socketFaults.clear();
        s.bindFaults.clear();
        s.sendFaults.clear();
    });
    resetQoeKernel();
    genl::reset();
}

std::vector<Bytes> sent(int protocol) {
    return locked([&](State& s) { return s.history[protocol]; });
}

bool waitForSent(int protocol, size_t count, std::chrono::milliseconds timeout) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.lock);
    return s.changed.wait_for(lock, timeout, [&] { return s.history[protocol].size() >= count; });
}

size_t openSockets(int protocol) {
    return locked([&](State& s) {
        return static_cast<size_t>(std::count_if(s.channels.begin(), s.channels.end(), [&](const auto& entry) {
            return protocol == -1 || entry.second->protocol() == protocol;
        }));
    });
}

size_t socketsOpened(int protocol) {
    return locked([&](State& s) { return s.opened[protocol]; });
}

bool deliverToNewest(int protocol, const Bytes& message) {
    auto newest = locked([&](State& s) {
        for (auto it = s.order.rbegin(); it != s.order.rend(); ++it) {
            auto found = s.channels.find(*it);
            if (found != s.channels.end() && found->second->protocol() == protocol) return found->second;
        }
        return std::shared_ptr<Channel>();
    });
    return newest && newest->deliver(message);
}

void failNextSocket(int protocol, int err) {
    locked([&](State& s) { s.socketFaults[protocol] = {err, 1}; });
}

void failNextBind(int protocol, int err) {
    locked([&](State& s) { s.bindFaults[protocol] = {err, 1}; });
}

void failSends(int protocol, int count, int err) {
    locked([&](State& s) { s.sendFaults[protocol] = {err, count}; });
}

}  // namespace kemu

// ---- interposed C library entry points ----

using namespace kemu;

extern "C" __attribute__((visibility("default"))) int socket(int domain, int type, int protocol) {
    static const auto realSocket = real<int(int, int, int)>("socket");
    if (domain != AF_NETLINK || !isEmulated(protocol)) return realSocket(domain, type, protocol);
    bool failed = locked([&](State& s) { return takeFault(s.socketFaults, protocol); });
    int pair[2];
    if (failed || socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair) != 0) return -1;
    locked([&](State& s) {
        s.channels[pair[0]] = std::make_shared<Channel>(protocol, pair[1]);
        s.order.push_back(pair[0]);
        ++s.opened[protocol];
    });
    return pair[0];
}

extern "C" __attribute__((visibility("default"))) int bind(int fd, const sockaddr* addr, socklen_t len) {
    static const auto realBind = real<int(int, const sockaddr*, socklen_t)>("bind");
    auto channel = channelOf(fd);
    if (!channel) return realBind(fd, addr, len);
    if (locked([&](State& s) { return takeFault(s.bindFaults, channel->protocol()); })) return -1;
    if (addr == nullptr || len < sizeof(sockaddr_nl) || addr->sa_family != AF_NETLINK) {
        errno = EINVAL;
        return -1;
    }
    return 0;
}

extern "C" __attribute__((visibility("default"))) ssize_t sendto(int fd, const void* buf, size_t len, int flags,
                                                                 const sockaddr* addr, socklen_t alen) {
    static const auto realSendto =
        real<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)>("sendto");
    auto channel = channelOf(fd);
    if (!channel) return realSendto(fd, buf, len, flags, addr, alen);
    Bytes message(static_cast<const uint8_t*>(buf), static_cast<const uint8_t*>(buf) + len);
    if (locked([&](State& s) { return takeFault(s.sendFaults, channel->protocol()); })) return -1;
    // The kernel answers before the message shows in the history, as a real
    // one has queued its reply by the time sendto returns: a test that saw
    // the request and then delivers a report must find it behind the reply.
    answer(*channel, message);
    locked([&](State& s) { s.history[channel->protocol()].push_back(message); });
    state().changed.notify_all();
    return static_cast<ssize_t>(len);
}

extern "C" __attribute__((visibility("default"))) int close(int fd) {
    static const auto realClose = real<int(int)>("close");
    auto channel = locked([&](State& s) {
        auto it = s.channels.find(fd);
        if (it == s.channels.end()) return std::shared_ptr<Channel>();
        auto found = it->second;
        s.channels.erase(it);
        s.order.erase(std::remove(s.order.begin(), s.order.end(), fd), s.order.end());
        return found;
    });
    if (channel) realClose(channel->kernelFd());
    return realClose(fd);
}
