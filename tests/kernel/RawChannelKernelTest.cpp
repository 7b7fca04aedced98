// The monitor (protocol 24) and policy (protocol 25) channels against the
// reference modules: what arrives, byte for byte, in their debugfs files,
// the replies' words, a real socket reset, and the modules' absence.

#include <android/log.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "KernelChannel.h"
#include "LogCapture.h"
#include "MonitorCommand.h"
#include "PolicyChannel.h"
#include "PolicyRecords.h"
#include "TrafficPeer.h"
#include "UniqueFd.h"
#include "mqqoe_netlink.h"

namespace mqqoe {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr char kMonitorState[] = "/sys/kernel/debug/qoe_monitor/state";
constexpr char kPolicyLog[] = "/sys/kernel/debug/qoe_policy/log";
constexpr int kIoWaitMs = 5000;
constexpr int kIdleUid = 10199;  // owns no socket

// The "key value" lines of a module's file; "cmd" and "msg" repeat, in order.
std::vector<std::string> values(const char* path, const std::string& key) {
    std::ifstream file(path);
    std::vector<std::string> found;
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, key.size() + 1, key + ' ') == 0) found.push_back(line.substr(key.size() + 1));
    }
    return found;
}

std::string value(const char* path, const std::string& key) {
    std::vector<std::string> found = values(path, key);
    return found.empty() ? "" : found.front();
}

uint64_t counter(const char* path, const std::string& key) {
    const std::string text = value(path, key);
    return text.empty() ? UINT64_MAX : std::stoull(text);
}

// `size` bytes starting with a netlink header from this process.
Bytes message(uint32_t nlmsgLen, uint16_t type, size_t size) {
    Bytes bytes(size, 0);
    const nlmsghdr header = {nlmsgLen, type, 0, 0, static_cast<uint32_t>(getpid())};
    std::memcpy(bytes.data(), &header, std::min(size, sizeof(header)));
    return bytes;
}

// A policy message as the module must log it, with its payload record.
template <typename Record = char>
std::string policyLine(uint16_t type, const Record* record = nullptr) {
    const size_t size = (record ? sizeof(Record) : 0) + QOE_POLICY_LEN_EXTRA;
    Bytes bytes = message(static_cast<uint32_t>(size), type, size);
    if (record) std::memcpy(bytes.data() + NLMSG_HDRLEN + QOE_POLICY_VALUE_LEN, record, sizeof(Record));
    std::ostringstream line;
    line << "port=" << getpid() << " type=" << type << " len=" << size << " data=" << std::hex;
    for (unsigned byte : bytes) line << (byte >> 4) << (byte & 0xF);
    return line.str();
}

bool clearPolicyLog() { return ktest::shell(std::string("echo clear >") + kPolicyLog) == 0; }

bool sendRaw(int protocol, const Bytes& bytes) {
    nl::UniqueFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol));
    sockaddr_nl kernel = {AF_NETLINK, 0, 0, 0};
    return fd.valid() && sendto(fd.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&kernel),
                                sizeof(kernel)) == static_cast<ssize_t>(bytes.size());
}

bool waitReadable(int fd) {
    pollfd p = {fd, POLLIN, 0};
    return poll(&p, 1, kIoWaitMs) == 1;
}

// A TCP socket on 127.0.0.1: listening when `port` is 0 (the port it got
// written back), else connected to it.
nl::UniqueFd loopback(uint16_t* port) {
    nl::UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {AF_INET, htons(*port), {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof(address);
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    const bool ok = *port != 0 ? connect(fd.get(), raw, length) == 0
                               : bind(fd.get(), raw, length) == 0 && listen(fd.get(), 4) == 0 &&
                                         getsockname(fd.get(), raw, &length) == 0;
    *port = ntohs(address.sin_port);
    return ok ? std::move(fd) : nl::UniqueFd();
}

nl::UniqueFd acceptOne(int listener) {
    return nl::UniqueFd(waitReadable(listener) ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1);
}

struct MonitorRow {
    const char* name;
    std::function<std::optional<QoeReply>()> send;
    uint16_t code, flags;
    uint32_t seq;
    bool answered;
    const char* key;  // a state line the command sets
    const char* value;
};

TEST(RawChannelKernelTest, EveryMonitorCommandArrivesWithItsArgument) {
    auto java = [](int command, int argument) { return [=] { return sendQoeCommand(command, argument); }; };
    auto release = []() -> std::optional<QoeReply> {
        nl::UniqueFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kMonitorProtocol));
        (void)release_tcp_monitor(fd.get());
        return std::nullopt;
    };
    const MonitorRow rows[] = {
            {"start", java(kCmdStartMonitor, 0), QOE_MONITOR_START, 0, 0, false, "state", "running"},
            {"query TCP drops its argument", java(kCmdQueryTcp, 1234), QOE_MONITOR_QUERY_TCP, 0, 0, true, "state",
             "running"},
            {"notify MCC", java(kCmdNotifyMcc, 460), QOE_MONITOR_NOTIFY_MCC, 460, 0, false, "mcc", "460"},
            {"reset RTT", java(kCmdResetRtt, 7), QOE_MONITOR_RESET_RTT, 7, 0, false, "rtt_reset_arg", "7"},
            {"get RTT", java(kCmdGetRtt, 9), QOE_MONITOR_GET_RTT, 9, 0, true, "mcc", "460"},
            {"QoE info: cut in the flags, whole in seq", java(kCmdGetQestaInfo, 70000), QOE_MONITOR_GET_QESTA_INFO,
             4464, 70000, true, "state", "running"},
            {"pause", java(kCmdStopMonitor, 0), QOE_MONITOR_PAUSE, 0, 0, false, "state", "paused"},
            {"release TCP", release, QOE_MONITOR_RELEASE_TCP, 0, 0, false, "state", "stopped"},
    };
    for (const MonitorRow& row : rows) {
        SCOPED_TRACE(row.name);
        const uint64_t before = counter(kMonitorState, "commands");
        const std::optional<QoeReply> reply = row.send();
        EXPECT_EQ(counter(kMonitorState, "commands"), before + 1);
        const std::vector<std::string> commands = values(kMonitorState, "cmd");
        ASSERT_FALSE(commands.empty());
        std::ostringstream tail;
        tail << " code=" << row.code << " flags=" << row.flags << " seq=" << row.seq << " pid=" << getpid();
        EXPECT_EQ(commands.back().substr(commands.back().find(' ')), tail.str());
        EXPECT_EQ(value(kMonitorState, row.key), row.value);
        ASSERT_EQ(reply.has_value(), row.answered);
        if (!reply) continue;
        // W0 (the code) comes last in the Java order, W1 (the argument) first.
        EXPECT_EQ((*reply)[9], row.code);
        EXPECT_EQ(static_cast<uint32_t>((*reply)[0]), row.code == QOE_MONITOR_GET_QESTA_INFO ? row.seq : row.flags);
    }
}

std::map<std::string, uint32_t> tcpMib() {
    std::ifstream file("/proc/net/snmp");
    std::map<std::string, uint32_t> mib;
    for (std::string names, numbers; std::getline(file, names) && std::getline(file, numbers);) {
        if (names.rfind("Tcp:", 0) != 0) continue;
        std::istringstream name(names.substr(4)), number(numbers.substr(4));
        for (std::string key, text; name >> key && number >> text;) mib[key] = static_cast<uint32_t>(std::stoll(text));
    }
    return mib;
}

TEST(RawChannelKernelTest, RepliesCarryTheDocumentedWords) {
    // Holds the process's own port id: a reply sent to nlmsg_pid rather than
    // to the sending socket's port would land here.
    nl::UniqueFd decoy(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kMonitorProtocol));
    sockaddr_nl self = {AF_NETLINK, 0, static_cast<uint32_t>(getpid()), 0};
    ASSERT_EQ(bind(decoy.get(), reinterpret_cast<sockaddr*>(&self), sizeof(self)), 0);
    uint16_t port = 0;
    nl::UniqueFd listener = loopback(&port);
    nl::UniqueFd client = loopback(&port);
    nl::UniqueFd server = acceptOne(listener.get());
    ASSERT_TRUE(client.valid() && server.valid());

    // In the Java order, element i holds word i + 1.
    std::map<std::string, uint32_t> before = tcpMib();
    std::optional<QoeReply> tcp = sendQoeCommand(kCmdQueryTcp, 0);
    std::map<std::string, uint32_t> after = tcpMib();
    ASSERT_TRUE(tcp);
    EXPECT_GE((*tcp)[4], 2);  // CurrEstab: the loopback connection's two ends
    const char* mib[] = {"ActiveOpens", "PassiveOpens", "CurrEstab", "InSegs", "OutSegs", "RetransSegs", "InErrs"};
    for (size_t i = 0; i < std::size(mib); ++i) {
        EXPECT_LE(before[mib[i]], static_cast<uint32_t>((*tcp)[2 + i])) << mib[i];
        EXPECT_GE(after[mib[i]], static_cast<uint32_t>((*tcp)[2 + i])) << mib[i];
    }

    std::optional<QoeReply> rtt = sendQoeCommand(kCmdGetRtt, 9);
    ASSERT_TRUE(rtt);
    EXPECT_GE((*rtt)[2], 2);  // sockets sampled
    EXPECT_LE((*rtt)[3], (*rtt)[4]);
    EXPECT_LE((*rtt)[4], (*rtt)[5]);
    EXPECT_EQ(static_cast<uint64_t>((*rtt)[6]), counter(kMonitorState, "rtt_resets"));
    EXPECT_EQ(static_cast<uint64_t>((*rtt)[7]), counter(kMonitorState, "rtt_reset_arg"));

    std::optional<QoeReply> info = sendQoeCommand(kCmdGetQestaInfo, 70000);
    ASSERT_TRUE(info);
    const char* runs[] = {"stopped", "running", "paused"};
    ASSERT_LT(static_cast<uint32_t>((*info)[1]), std::size(runs));
    EXPECT_EQ(value(kMonitorState, "state"), runs[(*info)[1]]);
    uint64_t dropped = 0;
    for (const char* why : {"short", "truncated", "length", "unknown", "perm"}) {
        dropped += counter(kMonitorState, std::string("dropped_") + why);
    }
    const uint64_t words[] = {70000, 0, counter(kMonitorState, "mcc"), counter(kMonitorState, "rtt_resets"),
                              counter(kMonitorState, "commands"), dropped,
                              counter(kMonitorState, "replies") - 1,  // before this one
                              0, counter(kMonitorState, "reply_errors")};
    for (size_t i : {0, 2, 3, 4, 5, 6, 8}) EXPECT_EQ(static_cast<uint64_t>((*info)[i]), words[i]) << i;
    uint8_t stray;
    EXPECT_EQ(recv(decoy.get(), &stray, sizeof(stray), MSG_DONTWAIT), -1);
}

struct BadRow {
    const char* name;
    int protocol;
    Bytes bytes;
    const char* counter;
    uid_t sender;
};

TEST(RawChannelKernelTest, MalformedMessagesAreDroppedAndCounted) {
    const uint32_t reset = QOE_POLICY_RECORD_LEN + QOE_POLICY_LEN_EXTRA;
    const BadRow rows[] = {
            {"monitor: shorter than a header", kMonitorProtocol, Bytes(8, 0), "dropped_short", 0},
            {"monitor: nlmsg_len below a header", kMonitorProtocol, message(8, 0, 16), "dropped_short", 0},
            {"monitor: nlmsg_len past the datagram", kMonitorProtocol, message(64, 0, 16), "dropped_truncated", 0},
            {"monitor: a header and more", kMonitorProtocol, message(20, 0, 20), "dropped_length", 0},
            {"monitor: code 4", kMonitorProtocol, message(16, 4, 16), "dropped_unknown", 0},
            {"monitor: code 9", kMonitorProtocol, message(16, 9, 16), "dropped_unknown", 0},
            {"monitor: start from an app uid", kMonitorProtocol, message(16, 0, 16), "dropped_perm", ktest::kAppUid},
            {"policy: shorter than a header", kPolicyProtocol, Bytes(8, 0), "rejected_short", 0},
            {"policy: nlmsg_len past the datagram", kPolicyProtocol, message(100, 8, reset), "rejected_truncated", 0},
            {"policy: reset a byte short", kPolicyProtocol, message(reset - 1, 8, reset - 1), "rejected_length", 0},
            {"policy: reset a byte long", kPolicyProtocol, message(reset + 1, 8, reset + 1), "rejected_length", 0},
            {"policy: registration of header and value", kPolicyProtocol, message(20, 0, 20), "rejected_length", 0},
            {"policy: type 2", kPolicyProtocol, message(21, 2, 21), "rejected_type", 0},
            {"policy: type 10", kPolicyProtocol, message(reset, 10, reset), "rejected_type", 0},
            {"policy: from an app uid", kPolicyProtocol, message(21, 0, 21), "rejected_perm", ktest::kAppUid},
    };
    for (const BadRow& row : rows) {
        SCOPED_TRACE(row.name);
        const char* file = row.protocol == kMonitorProtocol ? kMonitorState : kPolicyLog;
        const char* taken = row.protocol == kMonitorProtocol ? "commands" : "accepted";
        const uint64_t count = counter(file, row.counter), accepted = counter(file, taken);
        if (row.sender == 0) {
            ASSERT_TRUE(sendRaw(row.protocol, row.bytes));
        } else {
            ktest::Child child = ktest::spawn([&row] { return sendRaw(row.protocol, row.bytes) ? 0 : 1; }, row.sender);
            ASSERT_EQ(child.wait(), 0);
        }
        EXPECT_EQ(counter(file, row.counter), count + 1);
        EXPECT_EQ(counter(file, taken), accepted);
    }
}

TEST(RawChannelKernelTest, EveryPolicyMessageIsLoggedByteForByte) {
    DpiRuleRecord rule;
    rule.first = 7;
    rule.second = 0xFF;
    ResetRecord reset;
    reset.uid = kIdleUid;
    CloseRecord close;
    close.first = 11;
    close.second = 22;
    BindRecord bind;
    bind.uid = 10123;
    bind.netId = 100;
    BindRecord unbind = bind;
    unbind.netId = 0;
    const std::string registration = policyLine(QOE_POLICY_REGISTER);
    const std::pair<std::function<int(PolicyChannel&)>, std::vector<std::string>> rows[] = {
            {[](PolicyChannel& c) { return c.setDpiMarkRule(7, 0x1FF, 1); },
             {registration, policyLine(QOE_POLICY_DPI_ENABLE), policyLine(QOE_POLICY_DPI_RULE, &rule)}},
            {[](PolicyChannel& c) { return c.setDpiMarkRule(7, 1, 0); },
             {registration, policyLine(QOE_POLICY_DPI_DISABLE)}},
            {[](PolicyChannel& c) { return c.resetProcessSockets(kIdleUid); },
             {registration, policyLine(QOE_POLICY_RESET_SOCKETS, &reset)}},
            {[](PolicyChannel& c) { return c.closeProcessSockets(11, 22); },
             {registration, policyLine(QOE_POLICY_CLOSE_SOCKETS, &close)}},
            {[](PolicyChannel& c) { return c.bindUidProcessToNetwork(100, 10123); },
             {registration, policyLine(QOE_POLICY_BIND, &bind)}},
            {[](PolicyChannel& c) { return c.bindUidProcessToNetwork(0, 10123); },
             {registration, policyLine(QOE_POLICY_UNBIND, &unbind)}},
    };
    for (const auto& [call, expected] : rows) {
        SCOPED_TRACE(expected.back());
        ASSERT_TRUE(clearPolicyLog());
        PolicyChannel channel;  // a fresh one registers first
        EXPECT_EQ(call(channel), 0);
        EXPECT_EQ(values(kPolicyLog, "msg"), expected);
        EXPECT_EQ(counter(kPolicyLog, "registered_port"), static_cast<uint64_t>(getpid()));
    }
    EXPECT_EQ(value(kPolicyLog, "dpi"), "off");
}

// Connects, says so on `ready`, waits for `go`, then reads one byte: 0 when
// the read fails as an aborted connection's does (or, with `survive`, when
// the byte arrives).
int holdConnection(uint16_t port, int ready, int go, bool survive) {
    nl::UniqueFd fd = loopback(&port);
    const timeval timeout = {kIoWaitMs / 1000, 0};
    uint8_t byte = 1;
    if (!fd.valid() || setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout)) != 0 ||
        write(ready, &byte, 1) != 1 || !waitReadable(go)) {
        return 3;
    }
    const ssize_t got = recv(fd.get(), &byte, 1, 0);
    if (survive) return got == 1 ? 0 : 1;
    return got < 0 && (errno == ECONNABORTED || errno == ECONNRESET) ? 0 : 2;
}

TEST(RawChannelKernelTest, ResetProcessSocketsAbortsTheUidsConnections) {
    uint16_t port = 0;
    nl::UniqueFd listener = loopback(&port);
    int ready[2], go[2];
    ASSERT_TRUE(listener.valid() && pipe(ready) == 0 && pipe(go) == 0);
    nl::UniqueFd pipes[] = {nl::UniqueFd(ready[0]), nl::UniqueFd(ready[1]), nl::UniqueFd(go[0]), nl::UniqueFd(go[1])};
    ASSERT_TRUE(clearPolicyLog());
    ktest::Child app = ktest::spawn([&] { return holdConnection(port, ready[1], go[0], false); }, ktest::kAppUid);
    // Another uid's connection must survive.
    ktest::Child other = ktest::spawn([&] { return holdConnection(port, ready[1], go[0], true); }, ktest::kAppUid + 1);
    nl::UniqueFd served[] = {acceptOne(listener.get()), acceptOne(listener.get())};
    uint8_t byte = 0;
    for (int child = 0; child < 2; ++child) ASSERT_TRUE(waitReadable(ready[0]) && read(ready[0], &byte, 1) == 1);

    PolicyChannel channel;
    EXPECT_EQ(channel.resetProcessSockets(static_cast<int>(ktest::kAppUid)), kPolicyOk);
    EXPECT_EQ(counter(kPolicyLog, "sockets_aborted"), 1u);
    for (nl::UniqueFd& connection : served) (void)send(connection.get(), &byte, 1, MSG_NOSIGNAL);
    ASSERT_EQ(write(go[1], &byte, 1), 1);
    EXPECT_EQ(app.wait(), 0);
    EXPECT_EQ(other.wait(), 0);
}

TEST(RawChannelKernelTest, ModulesAbsentFailAsTheRulesSayAndRecoverOnReload) {
    const char* dir = std::getenv("MQQOE_KMOD_DIR");
    ASSERT_NE(dir, nullptr);
    testing::LogCapture log;
    ASSERT_EQ(ktest::shell("rmmod qoe_monitor"), 0);
    EXPECT_FALSE(sendQoeCommand(kCmdGetRtt, 1));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "ZvQoEJNI", "sendQoeCmd. open monitor_fd error"));
    ASSERT_EQ(ktest::shell(std::string("insmod ") + dir + "/qoe_monitor.ko"), 0);
    std::optional<QoeReply> reply = sendQoeCommand(kCmdGetRtt, 1);
    ASSERT_TRUE(reply);
    EXPECT_EQ((*reply)[0], 1);
    EXPECT_EQ(counter(kMonitorState, "commands"), 1u);  // a fresh module

    // An open policy socket pins its module: the channel is made after the unload.
    ASSERT_EQ(ktest::shell("rmmod qoe_policy"), 0);
    PolicyChannel channel;
    EXPECT_EQ(channel.resetProcessSockets(kIdleUid), kPolicyInitFailed);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "ZvQoEJNI", "mplk resetSK init ntl FAIL\n"));
    ASSERT_EQ(ktest::shell(std::string("insmod ") + dir + "/qoe_policy.ko"), 0);
    EXPECT_EQ(channel.resetProcessSockets(kIdleUid), kPolicyOk);
    EXPECT_EQ(values(kPolicyLog, "msg").size(), 2u);  // registration and reset, in a fresh log
}

}  // namespace
}  // namespace mqqoe
