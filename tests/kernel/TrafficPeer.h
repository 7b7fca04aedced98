#pragma once
// Real traffic for the kernel tier: a far end in the VM's `peer` network
// namespace (behind the veth whose local end is wlan0) and an app process
// under its own uid, each a forked child that the test reaps.

#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace ktest {

constexpr uid_t kAppUid = 10123;
constexpr char kPeerNetns[] = "/run/netns/peer";
constexpr char kLocalV4[] = "10.77.0.1";
constexpr char kPeerV4[] = "10.77.0.2";
constexpr char kLocalV6[] = "fd77::1";
constexpr char kPeerV6[] = "fd77::2";
constexpr auto kChildWait = std::chrono::seconds(20);

// A forked child; killed and reaped when it goes out of scope.
class Child {
public:
    Child() = default;
    explicit Child(pid_t pid) : mPid(pid) {}
    Child(Child&& other) noexcept : mPid(other.mPid) { other.mPid = -1; }
    Child& operator=(Child&& other) noexcept;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { kill(); }

    pid_t pid() const { return mPid; }
    // The exit code, or -1 when it did not exit within `timeout` or died of a signal.
    [[nodiscard]] int wait(std::chrono::milliseconds timeout = kChildWait);
    void kill();

private:
    pid_t mPid = -1;
};

// Runs `body` in a child; its return value is the child's exit code. With
// `uid` the child drops to that uid (and group) first, losing every
// capability; with `netns` it enters that network namespace first.
[[nodiscard]] Child spawn(const std::function<int()>& body, uid_t uid = 0, const char* netns = nullptr);

// The steps of a child: into a network namespace, down to a uid (and its
// group, with no supplementary groups and so no capability).
[[nodiscard]] bool enterNetns(const char* netns);
[[nodiscard]] bool becomeUid(uid_t uid);

// The loops of the far end and the app stream, in the calling process, until
// killed. `ready`, when not -1, is written to and closed once bound.
int udpEchoLoop(uint16_t port, int ready = -1);
int udpStreamLoop(int family, uint16_t port, int perSecond, size_t size);

// A far end in the peer namespace that echoes each UDP datagram, or each TCP
// connection's bytes, back to its sender, on both address families.
[[nodiscard]] Child startUdpEcho(uint16_t port);
[[nodiscard]] Child startTcpEcho(uint16_t port);

// What one exchange moved, counted by the app process itself.
struct Exchange {
    uint64_t sentPackets = 0;
    uint64_t sentBytes = 0;  // payload bytes
    uint64_t receivedPackets = 0;
    uint64_t receivedBytes = 0;
};

// As the app uid: `count` datagrams of `size` payload bytes to the peer's
// echo on `port`, each awaited before the next. `family` is AF_INET or AF_INET6.
[[nodiscard]] bool udpExchange(int family, uint16_t port, int count, size_t size, Exchange* out,
                               uid_t uid = kAppUid);
// As the app uid: one TCP connection that sends `bytes` and reads them back.
[[nodiscard]] bool tcpExchange(int family, uint16_t port, size_t bytes, Exchange* out, uid_t uid = kAppUid);

// As the app uid, until killed: `perSecond` datagrams of `size` payload bytes
// a second to the peer's echo on `port`, the echoes read and dropped.
[[nodiscard]] Child startUdpStream(int family, uint16_t port, int perSecond, size_t size, uid_t uid = kAppUid);

// Bytes one datagram of `payload` bytes occupies at the IP layer.
constexpr uint64_t udpWireBytes(int family, uint64_t payload) {
    constexpr uint64_t kUdpHeader = 8, kIpv4Header = 20, kIpv6Header = 40;
    return payload + kUdpHeader + (family == AF_INET6 ? kIpv6Header : kIpv4Header);
}

// Runs a shell command line in the guest; its exit code.
[[nodiscard]] int shell(const std::string& command);

}  // namespace ktest
