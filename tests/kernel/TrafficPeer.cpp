#include "TrafficPeer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "UniqueFd.h"

namespace ktest {
namespace {

constexpr int kIoWaitMs = 2000;
constexpr size_t kMaxDatagram = 65507;

// A pipe end pair for a child's report.
struct Pipe {
    int fds[2] = {-1, -1};
    Pipe() {
        if (pipe2(fds, O_CLOEXEC) != 0) fds[0] = fds[1] = -1;
    }
    ~Pipe() {
        for (int fd : fds) {
            if (fd >= 0) close(fd);
        }
    }
};

bool fillAddress(int family, const char* v4, const char* v6, uint16_t port, sockaddr_storage* out,
                 socklen_t* length) {
    std::memset(out, 0, sizeof(*out));
    if (family == AF_INET) {
        auto* in = reinterpret_cast<sockaddr_in*>(out);
        in->sin_family = AF_INET;
        in->sin_port = htons(port);
        *length = sizeof(*in);
        return inet_pton(AF_INET, v4, &in->sin_addr) == 1;
    }
    auto* in6 = reinterpret_cast<sockaddr_in6*>(out);
    in6->sin6_family = AF_INET6;
    in6->sin6_port = htons(port);
    *length = sizeof(*in6);
    return inet_pton(AF_INET6, v6, &in6->sin6_addr) == 1;
}

bool readable(int fd, int timeoutMs) {
    pollfd p = {fd, POLLIN, 0};
    return poll(&p, 1, timeoutMs) == 1;
}

bool writeAll(int fd, const uint8_t* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Binds a socket of `type` on every address of `family` at `port`.
nl::UniqueFd listenOn(int family, int type, uint16_t port) {
    nl::UniqueFd fd(socket(family, type | SOCK_CLOEXEC, 0));
    if (!fd.valid()) return fd;
    int on = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (family == AF_INET6) setsockopt(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof(on));
    sockaddr_storage address;
    socklen_t length;
    fillAddress(family, "0.0.0.0", "::", port, &address, &length);
    if (bind(fd.get(), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        (type == SOCK_STREAM && listen(fd.get(), 8) != 0)) {
        return nl::UniqueFd();
    }
    return fd;
}

// A child's exchange figures travel back over a pipe.
bool runReporting(const std::function<bool(Exchange*)>& body, uid_t uid, Exchange* out) {
    Pipe report;
    if (report.fds[0] < 0) return false;
    Child child = spawn(
            [&] {
                Exchange figures;
                bool ok = body(&figures);
                return ok && write(report.fds[1], &figures, sizeof(figures)) == sizeof(figures) ? 0 : 1;
            },
            uid);
    close(report.fds[1]);
    report.fds[1] = -1;
    if (child.wait() != 0) return false;
    return read(report.fds[0], out, sizeof(*out)) == sizeof(*out);
}

}  // namespace

Child& Child::operator=(Child&& other) noexcept {
    if (this != &other) {
        kill();
        mPid = other.mPid;
        other.mPid = -1;
    }
    return *this;
}

int Child::wait(std::chrono::milliseconds timeout) {
    if (mPid < 0) return -1;
    auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    for (;;) {
        pid_t done = waitpid(mPid, &status, WNOHANG);
        if (done == mPid) break;
        if (done < 0 || std::chrono::steady_clock::now() >= deadline) return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    mPid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void Child::kill() {
    if (mPid < 0) return;
    ::kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    mPid = -1;
}

bool enterNetns(const char* netns) {
    int ns = open(netns, O_RDONLY | O_CLOEXEC);
    bool entered = ns >= 0 && setns(ns, CLONE_NEWNET) == 0;
    if (ns >= 0) close(ns);
    return entered;
}

bool becomeUid(uid_t uid) { return setgroups(0, nullptr) == 0 && setresgid(uid, uid, uid) == 0 && setresuid(uid, uid, uid) == 0; }

Child spawn(const std::function<int()>& body, uid_t uid, const char* netns) {
    pid_t pid = fork();
    if (pid != 0) return Child(pid);
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives the test that made it
    if (netns != nullptr && !enterNetns(netns)) _exit(120);
    if (uid != 0 && !becomeUid(uid)) _exit(121);
    _exit(body());
}

namespace {

// Starts a far end and returns once it is listening (or has failed).
Child startReady(const std::function<int(int ready)>& body) {
    Pipe ready;
    Child child = spawn([&] { return body(ready.fds[1]); }, 0, kPeerNetns);
    close(ready.fds[1]);
    ready.fds[1] = -1;
    char byte;
    if (!readable(ready.fds[0], kIoWaitMs * 5) || read(ready.fds[0], &byte, 1) != 1) child.kill();
    return child;
}

void signalReady(int fd) {
    if (fd < 0) return;
    char byte = 1;
    (void)write(fd, &byte, 1);
    close(fd);
}

}  // namespace

int udpEchoLoop(uint16_t port, int ready) {
    nl::UniqueFd v4 = listenOn(AF_INET, SOCK_DGRAM, port);
    nl::UniqueFd v6 = listenOn(AF_INET6, SOCK_DGRAM, port);
    if (!v4.valid() || !v6.valid()) return 2;
    signalReady(ready);
    std::vector<uint8_t> buffer(kMaxDatagram);
    pollfd fds[2] = {{v4.get(), POLLIN, 0}, {v6.get(), POLLIN, 0}};
    for (;;) {  // until killed
        if (poll(fds, 2, -1) < 0) return 3;
        for (const pollfd& p : fds) {
            if (!(p.revents & POLLIN)) continue;
            sockaddr_storage from;
            socklen_t length = sizeof(from);
            ssize_t n = recvfrom(p.fd, buffer.data(), buffer.size(), 0,
                                 reinterpret_cast<sockaddr*>(&from), &length);
            if (n >= 0) sendto(p.fd, buffer.data(), n, 0, reinterpret_cast<sockaddr*>(&from), length);
        }
    }
}

Child startUdpEcho(uint16_t port) {
    return startReady([port](int ready) { return udpEchoLoop(port, ready); });
}

Child startTcpEcho(uint16_t port) {
    return startReady(
            [port](int ready) {
                nl::UniqueFd v4 = listenOn(AF_INET, SOCK_STREAM, port);
                nl::UniqueFd v6 = listenOn(AF_INET6, SOCK_STREAM, port);
                if (!v4.valid() || !v6.valid()) return 2;
                signalReady(ready);
                signal(SIGCHLD, SIG_IGN);  // connection children reap themselves
                pollfd fds[2] = {{v4.get(), POLLIN, 0}, {v6.get(), POLLIN, 0}};
                for (;;) {
                    if (poll(fds, 2, -1) < 0) return 3;
                    for (const pollfd& p : fds) {
                        if (!(p.revents & POLLIN)) continue;
                        int connection = accept4(p.fd, nullptr, nullptr, SOCK_CLOEXEC);
                        if (connection < 0) continue;
                        if (fork() == 0) {
                            uint8_t buffer[16384];
                            ssize_t n;
                            while ((n = read(connection, buffer, sizeof(buffer))) > 0) {
                                if (!writeAll(connection, buffer, static_cast<size_t>(n))) break;
                            }
                            _exit(0);
                        }
                        close(connection);
                    }
                }
            });
}

bool udpExchange(int family, uint16_t port, int count, size_t size, Exchange* out, uid_t uid) {
    if (size > kMaxDatagram) return false;
    return runReporting(
            [=](Exchange* figures) {
                sockaddr_storage peer;
                socklen_t length;
                nl::UniqueFd fd(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
                if (!fd.valid() || !fillAddress(family, kPeerV4, kPeerV6, port, &peer, &length) ||
                    connect(fd.get(), reinterpret_cast<sockaddr*>(&peer), length) != 0) {
                    return false;
                }
                std::vector<uint8_t> payload(size, 0x5a), echo(size + 1);
                for (int i = 0; i < count; ++i) {
                    if (send(fd.get(), payload.data(), size, 0) != static_cast<ssize_t>(size)) return false;
                    figures->sentPackets++;
                    figures->sentBytes += size;
                    if (!readable(fd.get(), kIoWaitMs)) return false;
                    ssize_t n = recv(fd.get(), echo.data(), echo.size(), 0);
                    if (n < 0) return false;
                    figures->receivedPackets++;
                    figures->receivedBytes += static_cast<uint64_t>(n);
                }
                return true;
            },
            uid, out);
}

bool tcpExchange(int family, uint16_t port, size_t bytes, Exchange* out, uid_t uid) {
    return runReporting(
            [=](Exchange* figures) {
                sockaddr_storage peer;
                socklen_t length;
                nl::UniqueFd fd(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
                if (!fd.valid() || !fillAddress(family, kPeerV4, kPeerV6, port, &peer, &length) ||
                    connect(fd.get(), reinterpret_cast<sockaddr*>(&peer), length) != 0) {
                    return false;
                }
                std::vector<uint8_t> payload(bytes, 0xa5);
                if (!writeAll(fd.get(), payload.data(), bytes)) return false;
                figures->sentBytes = bytes;
                uint8_t buffer[16384];
                while (figures->receivedBytes < bytes) {
                    if (!readable(fd.get(), kIoWaitMs)) return false;
                    ssize_t n = read(fd.get(), buffer, sizeof(buffer));
                    if (n <= 0) return false;
                    figures->receivedBytes += static_cast<uint64_t>(n);
                }
                shutdown(fd.get(), SHUT_RDWR);
                return true;
            },
            uid, out);
}

int udpStreamLoop(int family, uint16_t port, int perSecond, size_t size) {
    sockaddr_storage peer;
    socklen_t length;
    nl::UniqueFd fd(socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (perSecond <= 0 || size > kMaxDatagram || !fd.valid() ||
        !fillAddress(family, kPeerV4, kPeerV6, port, &peer, &length) ||
        connect(fd.get(), reinterpret_cast<sockaddr*>(&peer), length) != 0) {
        return 2;
    }
    std::vector<uint8_t> payload(size, 0x3c), echo(size + 1);
    const auto gap = std::chrono::microseconds(1000000 / perSecond);
    auto next = std::chrono::steady_clock::now();
    for (;;) {
        // A refused or dropped datagram is part of the weather here.
        (void)send(fd.get(), payload.data(), size, 0);
        while (recv(fd.get(), echo.data(), echo.size(), 0) >= 0) {
        }
        next += gap;
        std::this_thread::sleep_until(next);
    }
}

Child startUdpStream(int family, uint16_t port, int perSecond, size_t size, uid_t uid) {
    return spawn([=] { return udpStreamLoop(family, port, perSecond, size); }, uid);
}

int shell(const std::string& command) {
    int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace ktest
