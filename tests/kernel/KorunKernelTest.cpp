// The reference modules zvkorun and qoe_acct against their contract, in the
// test VM: the family's commands and acknowledgements, throughput reports
// that count the app uid's real traffic, keep-alive, release and flood
// rules, the short-video record path, and unloading with sessions open.

#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <linux/netlink.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "AppScene.h"
#include "GenlChannel.h"
#include "MessageBuilder.h"
#include "MessageParser.h"
#include "NetlinkHandler.h"
#include "StallModule.h"
#include "TrafficPeer.h"
#include "UniqueFd.h"
#include "mqqoe_netlink.h"

namespace mqqoe {
namespace {

using namespace std::chrono_literals;

constexpr uint32_t kUid = ktest::kAppUid;
constexpr uint32_t kOtherUid = kUid + 1;
constexpr uint32_t kIntervalMs = 1000;
// Reports every 100 ms: the suite runs in seconds under TCG.
constexpr char kTimeDivisor[] = "10";
constexpr char kDivisorFile[] = "/sys/module/zvkorun/parameters/time_divisor";
constexpr char kAwemeFile[] = "/sys/kernel/debug/zvkorun/aweme";
constexpr char kStatsFile[] = "/proc/net/xt_qtaguid/stats";
// Bounds on waits, in many intervals: a report that takes longer is missing.
constexpr int kReportWaitMs = 3000;
constexpr int kQuietWaitMs = 500;  // five intervals without a report
constexpr int32_t kNoAck = INT32_MIN;
constexpr uint16_t kUdpPort = 7001;
constexpr uint16_t kTcpPort = 7002;
// What each TCP packet adds to the payload: IP and TCP headers with the
// timestamps Linux puts on every segment at least, the IP header and a TCP
// header full of options (SACK blocks after a loss) at most.
constexpr uint64_t tcpHeaderFloor(int family) { return family == AF_INET6 ? 72 : 52; }
constexpr uint64_t tcpHeaderCeiling(int family) { return family == AF_INET6 ? 100 : 80; }

enum SessionColumn { kPort = 0, kDetectState = 12 };

int sessionsOfPort(uint32_t port) {
    int count = 0;
    for (const auto& fields : ktest::stallSessionLines()) count += !fields.empty() && fields[kPort] == port;
    return count;
}

struct Attr {
    uint16_t type;
    std::vector<uint8_t> payload;
};
Attr u32(uint16_t type, uint32_t value) {
    std::vector<uint8_t> bytes(sizeof(value));
    std::memcpy(bytes.data(), &value, sizeof(value));
    return {type, bytes};
}
Attr blob(uint16_t type, size_t length) { return {type, std::vector<uint8_t>(length, 0)}; }

// The uid and class every command names, then `more`.
std::vector<Attr> named(uint32_t detectClass, std::vector<Attr> more = {}, uint32_t uid = kUid) {
    more.insert(more.begin(), {u32(KORUN_ATTR_UID, uid), u32(KORUN_ATTR_DETECT_CLASS, detectClass)});
    return more;
}

struct Report {
    uint8_t command = 0;
    std::vector<uint32_t> numbers;  // the numeric attributes, in order
    size_t stallInfoLength = 0;
};

// A raw client of the family on its own port, for what the library never sends.
class KorunSocket {
public:
    explicit KorunSocket(uint32_t port) {
        mOpen = mChannel.open(port) && mChannel.resolveFamily(KORUN_GENL_NAME, &mFamily);
    }
    bool ok() const { return mOpen; }
    uint32_t port() const { return mChannel.port(); }

    bool send(uint8_t command, const std::vector<Attr>& attrs, uint16_t flags) {
        uint8_t buffer[nl::GenlChannel::kMessageCapacity] = {};
        nl::MessageBuilder builder(buffer, sizeof(buffer));
        bool built = builder.putHeader(mFamily, flags, 0, port()) && builder.putGenlHeader(command, KORUN_GENL_VERSION);
        for (const Attr& a : attrs) built = built && builder.putAttr(a.type, a.payload.data(), a.payload.size());
        return built && mChannel.send(builder.data(), builder.length());
    }
    // The error the acknowledgement carries (0 accepts), reports passed over.
    int32_t request(uint8_t command, const std::vector<Attr>& attrs, uint16_t flags = NLM_F_REQUEST | NLM_F_ACK) {
        if (!send(command, attrs, flags)) return kNoAck;
        for (;;) {
            uint8_t reply[nl::GenlChannel::kReceiveCapacity];
            ssize_t received = mChannel.receive(reply, sizeof(reply), kReportWaitMs);
            nl::Message message;
            int32_t error = 0;
            if (received < 0 || !nl::Message::parse(reply, static_cast<size_t>(received), &message)) return kNoAck;
            if (message.type() == NLMSG_ERROR) return message.errorCode(&error) ? error : kNoAck;
        }
    }
    int32_t start(uint32_t uid, uint32_t detectClass = KORUN_CLASS_CALL) {
        std::vector<Attr> attrs = {u32(KORUN_ATTR_INTERVAL, kIntervalMs)};
        if (detectClass != KORUN_CLASS_CALL) attrs.push_back(blob(KORUN_ATTR_SEARCH_KEYS, KORUN_SEARCH_KEYS_LEN));
        return request(KORUN_CMD_START, named(detectClass, attrs, uid));
    }
    int32_t stop(uint32_t uid) { return request(KORUN_CMD_STOP, named(KORUN_CLASS_CALL, {}, uid)); }
    // Sent without waiting: a keep-alive asks for no acknowledgement.
    bool keepAlive(uint32_t uid) { return send(KORUN_CMD_KEEPALIVE, named(KORUN_CLASS_CALL, {}, uid), NLM_F_REQUEST); }
    // The next report; false when none came in `timeoutMs` (errno says why).
    bool next(Report* report, int timeoutMs = kReportWaitMs) {
        uint8_t buffer[nl::GenlChannel::kReceiveCapacity * 2];
        ssize_t received = mChannel.receive(buffer, sizeof(buffer), timeoutMs);
        nl::Message message;
        genlmsghdr genl{};
        if (received < 0 || !nl::Message::parse(buffer, static_cast<size_t>(received), &message) ||
            !message.genlHeader(&genl)) {
            return false;
        }
        *report = Report{genl.cmd, {}, 0};
        nl::AttrWalker walker = message.genlAttrs();
        for (nl::Attr attr; walker.next(&attr);) {
            uint32_t value = 0;
            if (attr.type() == KORUN_ATTR_STALL_INFO) report->stallInfoLength = attr.payloadLength();
            else if (attr.getU32(&value)) report->numbers.push_back(value);
        }
        return true;
    }

private:
    nl::GenlChannel mChannel;
    uint16_t mFamily = 0;
    bool mOpen = false;
};

// The library's client, collecting for `scene` as the detection thread does.
class LibraryClient {
public:
    explicit LibraryClient(int32_t scene) {
        mOpen = mHandler.start() == 0;
        mHandler.setUid(static_cast<int32_t>(kUid));
        mOpen = mOpen && mHandler.setDetectionType(scene) == 0 && mHandler.setDetectionAlgo(0) == 0 &&
                mHandler.startCollecting() == 0;
    }
    bool ok() const { return mOpen; }
    uint32_t port() const { return mHandler.portId(); }
    // One report's verdict; false when none came in time or it was refused.
    bool pass(int* result, bool* reported) {
        pollfd ready = {mHandler.socketFd(), POLLIN, 0};
        return poll(&ready, 1, kReportWaitMs) == 1 &&
               mHandler.getDetectionResult(nullptr, nullptr, result, *reported) >= 0;
    }
    int stopCollecting() { return mHandler.stopCollecting(); }
    int stop() { return mHandler.stop(); }

private:
    NetlinkHandler mHandler;
    bool mOpen = false;
};

// Raw ports well above the library's (thread id masked to 28 bits).
uint32_t freshPort() {
    static std::atomic<uint32_t> next{0x40000000u + static_cast<uint32_t>(getpid()) * 64};
    return next++;
}

class KorunKernelTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(ktest::writeControl(kDivisorFile, kTimeDivisor)); }
    void TearDown() override {
        EXPECT_TRUE(ktest::waitUntil([] { return ktest::openStallSessions() == 0; }, 5s)) << "a session was left";
    }
};

// Attributes of a throughput report, in their wire order.
enum TpField { kTpUid, kInPkts, kOutPkts, kInBytes, kOutBytes, kTpFields };

struct Totals {
    uint64_t inPkts = 0, outPkts = 0, inBytes = 0, outBytes = 0;
};

// Sums a session's throughput reports on a thread that keeps it alive.
class ReportSum {
public:
    explicit ReportSum(KorunSocket& socket) : mSocket(socket), mThread([this] { run(); }) {}
    ~ReportSum() { finish(); }
    // Stops once a report shows the traffic over (nothing in one interval).
    Totals finish() {
        mQuietWanted = true;
        if (mThread.joinable()) mThread.join();
        return mTotals;
    }
    bool failed() const { return mFailed; }

private:
    void run() {
        for (int reports = 0; reports < 200; ++reports) {
            Report report;
            if (!mSocket.next(&report) || report.command != KORUN_CMD_TP_REPORT || report.numbers.size() != kTpFields ||
                report.numbers[kTpUid] != kUid || !mSocket.keepAlive(kUid)) {
                mFailed = true;
                return;
            }
            const auto& n = report.numbers;
            mTotals.inPkts += n[kInPkts], mTotals.outPkts += n[kOutPkts];
            mTotals.inBytes += n[kInBytes], mTotals.outBytes += n[kOutBytes];
            if (mQuietWanted && n[kInPkts] + n[kOutPkts] == 0) return;
        }
        mFailed = true;
    }

    KorunSocket& mSocket;
    std::atomic<bool> mQuietWanted{false};
    std::atomic<bool> mFailed{false};
    Totals mTotals;
    std::thread mThread;
};

// The counter columns of an accounting line, after idx, iface, tag, uid and set.
enum StatsColumn { kRxTcpPackets = 5, kRxUdpPackets = 7, kTxTcpBytes = 10, kTxUdpBytes = 12, kStatsCounters = 16 };

struct FileFigures {
    std::array<uint64_t, kStatsCounters> wlan0{};  // one uid's sums on wlan0
    bool wellFormed = true;                        // every line has its 21 columns, none is blank
};

FileFigures statsOf(uint32_t uid) {
    FileFigures figures;
    std::ifstream file(kStatsFile);
    std::string line, idx, iface, tag;
    for (std::getline(file, line); std::getline(file, line);) {
        std::istringstream in(line);
        uint32_t lineUid = 0, set = 0;
        std::array<uint64_t, kStatsCounters> counters{};
        in >> idx >> iface >> tag >> lineUid >> set;
        for (uint64_t& counter : counters) in >> counter;
        figures.wellFormed = figures.wellFormed && !in.fail() && (in >> std::ws).eof();
        if (lineUid != uid || iface != "wlan0") continue;
        for (int c = 0; c < kStatsCounters; ++c) figures.wlan0[c] += counters[c];
    }
    return figures;
}

TEST_F(KorunKernelTest, reportsCountTheUidsRealTrafficAsTheAccountingFileDoes) {
    const struct {
        const char* name;
        int family;
        bool udp;
    } rows[] = {{"udp/ipv4", AF_INET, true}, {"udp/ipv6", AF_INET6, true},
                {"tcp/ipv4", AF_INET, false}, {"tcp/ipv6", AF_INET6, false}};
    constexpr int kDatagrams = 20;
    constexpr size_t kDatagramSize = 512;
    constexpr size_t kStreamBytes = 200000;
    ktest::Child udpEcho = ktest::startUdpEcho(kUdpPort);
    ktest::Child tcpEcho = ktest::startTcpEcho(kTcpPort);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        KorunSocket socket(freshPort());
        ASSERT_TRUE(socket.ok());
        ASSERT_EQ(socket.start(kUid), 0);
        const FileFigures before = statsOf(kUid);
        ReportSum sum(socket);
        ktest::Exchange sent;
        ASSERT_TRUE(row.udp ? ktest::udpExchange(row.family, kUdpPort, kDatagrams, kDatagramSize, &sent)
                        : ktest::tcpExchange(row.family, kTcpPort, kStreamBytes, &sent));
        const Totals got = sum.finish();
        ASSERT_FALSE(sum.failed());
        EXPECT_EQ(socket.stop(kUid), 0);
        const FileFigures after = statsOf(kUid);
        std::printf("%s: app sent %" PRIu64 " B in %" PRIu64 " packets, got back %" PRIu64 " B; reports: out %" PRIu64
                    " B / %" PRIu64 " packets, in %" PRIu64 " B / %" PRIu64 " packets\n",
                    row.name, sent.sentBytes, sent.sentPackets, sent.receivedBytes, got.outBytes, got.outPkts,
                    got.inBytes, got.inPkts);
        EXPECT_TRUE(after.wellFormed);
        if (row.udp) {
            const uint64_t wire = kDatagrams * ktest::udpWireBytes(row.family, kDatagramSize);
            EXPECT_EQ(got.outPkts, kDatagrams);
            EXPECT_EQ(got.inPkts, kDatagrams);
            EXPECT_EQ(got.outBytes, wire);
            EXPECT_EQ(got.inBytes, wire);
            EXPECT_EQ(after.wlan0[kTxUdpBytes] - before.wlan0[kTxUdpBytes], got.outBytes);
            EXPECT_EQ(after.wlan0[kRxUdpPackets] - before.wlan0[kRxUdpPackets], got.inPkts);
        } else {
            const uint64_t floor = tcpHeaderFloor(row.family);
            EXPECT_GE(got.outBytes, kStreamBytes + got.outPkts * floor);
            EXPECT_LE(got.outBytes, kStreamBytes + got.outPkts * tcpHeaderCeiling(row.family));
            EXPECT_GE(got.inBytes, kStreamBytes + got.inPkts * floor);
            EXPECT_LE(got.inBytes, kStreamBytes + got.inPkts * tcpHeaderCeiling(row.family));
            EXPECT_EQ(after.wlan0[kTxTcpBytes] - before.wlan0[kTxTcpBytes], got.outBytes);
            EXPECT_EQ(after.wlan0[kRxTcpPackets] - before.wlan0[kRxTcpPackets], got.inPkts);
        }
    }
}

TEST_F(KorunKernelTest, datagramsToAnUnconnectedSocketCountForItsOwner) {
    // Early demux passes unconnected sockets by: the module's own lookup finds the owner.
    constexpr uint16_t kPort = 7003;  // 0x1B5B in /proc/net/udp
    constexpr int kDatagrams = 5;
    constexpr size_t kSize = 100;
    sockaddr_in address{AF_INET, htons(kPort), {}, {}};
    auto* at = reinterpret_cast<sockaddr*>(&address);
    KorunSocket socket(freshPort());
    ASSERT_TRUE(socket.ok());
    ASSERT_EQ(socket.start(kUid), 0);
    ReportSum sum(socket);
    ktest::Child receiver = ktest::spawn([&] {
        nl::UniqueFd fd(::socket(AF_INET, SOCK_DGRAM, 0));
        char buffer[kSize];
        if (bind(fd.get(), at, sizeof(address)) != 0) return 1;
        for (int i = 0; i < kDatagrams; ++i) {
            if (recv(fd.get(), buffer, sizeof(buffer), 0) != static_cast<ssize_t>(kSize)) return 1;
        }
        return 0;
    }, kUid);
    ASSERT_TRUE(ktest::waitUntil([] { return ktest::shell("grep -q ':1B5B ' /proc/net/udp") == 0; }));
    ktest::Child sender = ktest::spawn([&] {
        nl::UniqueFd fd(::socket(AF_INET, SOCK_DGRAM, 0));
        char payload[kSize] = {};
        address.sin_addr.s_addr = inet_addr(ktest::kLocalV4);
        for (int i = 0; i < kDatagrams; ++i) {
            if (sendto(fd.get(), payload, kSize, 0, at, sizeof(address)) != static_cast<ssize_t>(kSize)) return 1;
        }
        return 0;
    }, 0, ktest::kPeerNetns);
    ASSERT_EQ(sender.wait(), 0);
    ASSERT_EQ(receiver.wait(), 0);
    const Totals got = sum.finish();
    ASSERT_FALSE(sum.failed());
    EXPECT_EQ(got.inPkts, static_cast<uint64_t>(kDatagrams));
    EXPECT_EQ(got.inBytes, kDatagrams * ktest::udpWireBytes(AF_INET, kSize));
    EXPECT_EQ(socket.stop(kUid), 0);
}

TEST_F(KorunKernelTest, aSessionWithoutKeepAlivesEndsAfterTenIntervals) {
    KorunSocket socket(freshPort());
    ASSERT_TRUE(socket.ok());
    ASSERT_EQ(socket.start(kUid), 0);
    ASSERT_TRUE(ktest::waitUntil([&] { return sessionsOfPort(socket.port()) == 0; }));
    int reports = 0;
    for (Report report; socket.next(&report, 0);) ++reports;
    EXPECT_EQ(reports, KORUN_KEEPALIVE_INTERVALS);
    EXPECT_EQ(socket.stop(kUid), -ENOENT);
}

TEST_F(KorunKernelTest, theLibrarysKeepAlivesHoldItsSessionUntilItStops) {
    LibraryClient library(scene::kVoiceCall);
    ASSERT_TRUE(library.ok());
    for (int pass = 0; pass < 3 * KORUN_KEEPALIVE_INTERVALS; ++pass) {
        int result = 0;
        bool reported = false;
        ASSERT_TRUE(library.pass(&result, &reported)) << "pass " << pass;
    }
    EXPECT_EQ(sessionsOfPort(library.port()), 1);
    EXPECT_EQ(library.stopCollecting(), 0);
    EXPECT_EQ(sessionsOfPort(library.port()), 0);
    EXPECT_EQ(library.stop(), 0);
}

TEST_F(KorunKernelTest, startIsAcknowledgedAndReportsComeToTheRequestingPortUntilStop) {
    KorunSocket socket(freshPort());
    ASSERT_TRUE(socket.ok());
    ASSERT_EQ(socket.start(kUid), 0);
    Report report;
    ASSERT_TRUE(socket.next(&report));
    EXPECT_EQ(report.command, KORUN_CMD_TP_REPORT);
    ASSERT_EQ(report.numbers.size(), static_cast<size_t>(kTpFields));
    EXPECT_EQ(report.numbers[kTpUid], kUid);
    // A second START restarts the session rather than adding one.
    ASSERT_EQ(socket.start(kUid), 0);
    EXPECT_EQ(sessionsOfPort(socket.port()), 1);
    ASSERT_EQ(socket.stop(kUid), 0);
    // Whatever was queued before the acknowledgement was read before it.
    EXPECT_FALSE(socket.next(&report, kQuietWaitMs));
}

TEST_F(KorunKernelTest, badRequestsGetAnErrorAcknowledgement) {
    const uint32_t call = KORUN_CLASS_CALL, video = KORUN_CLASS_SHORT_VIDEO;
    const Attr interval = u32(KORUN_ATTR_INTERVAL, kIntervalMs);
    const Attr index0 = u32(KORUN_ATTR_DETECT_INDEX, 0);
    const Attr index10 = u32(KORUN_ATTR_DETECT_INDEX, KORUN_STALL_INFO_ENTRIES);
    const Attr stopped = u32(KORUN_ATTR_DETECT_STATE, KORUN_DETECT_STOPPED);
    const struct {
        const char* name;
        uint8_t command;
        std::vector<Attr> attrs;
        int32_t error;
        uint16_t flags = NLM_F_REQUEST | NLM_F_ACK;
    } rows[] = {
            {"uid of two bytes", KORUN_CMD_START, {{KORUN_ATTR_UID, {1, 2}}, u32(KORUN_ATTR_DETECT_CLASS, 1)}, -EINVAL},
            {"no class", KORUN_CMD_START, {u32(KORUN_ATTR_UID, kUid), interval}, -EINVAL},
            {"no interval", KORUN_CMD_START, named(call), -EINVAL},
            {"interval 0", KORUN_CMD_START, named(call, {u32(KORUN_ATTR_INTERVAL, 0)}), -ERANGE},
            {"class 4", KORUN_CMD_START, named(4, {interval}), -ERANGE},
            {"invalid uid", KORUN_CMD_START, named(call, {interval}, UINT32_MAX), -EINVAL},
            {"short video without keys", KORUN_CMD_START, named(video, {interval}), -EINVAL},
            {"keys a byte short", KORUN_CMD_START,
             named(video, {interval, blob(KORUN_ATTR_SEARCH_KEYS, KORUN_SEARCH_KEYS_LEN - 1)}), -ERANGE},
            {"unknown attribute", KORUN_CMD_START, named(call, {interval, u32(KORUN_ATTR_MAX + 1, 0)}), -EINVAL},
            {"unknown command", KORUN_CMD_MAX + 1, named(call), -EOPNOTSUPP},
            {"stop without a session", KORUN_CMD_STOP, named(call), -ENOENT},
            // A keep-alive asks for no acknowledgement; an error comes back all the same.
            {"keep-alive without a session", KORUN_CMD_KEEPALIVE, named(call), -ENOENT, NLM_F_REQUEST},
            {"update without a session", KORUN_CMD_UPDATE, named(video, {index0, stopped}), -ENOENT},
            {"update index 10", KORUN_CMD_UPDATE, named(video, {index10, stopped}), -ERANGE},
    };
    KorunSocket socket(freshPort());
    ASSERT_TRUE(socket.ok());
    for (const auto& row : rows) EXPECT_EQ(socket.request(row.command, row.attrs, row.flags), row.error) << row.name;
}

TEST_F(KorunKernelTest, updateStopsTheEntryUnderDetection) {
    KorunSocket socket(freshPort());
    ASSERT_TRUE(socket.ok());
    ASSERT_EQ(socket.start(kUid, KORUN_CLASS_SHORT_VIDEO), 0);
    ASSERT_TRUE(ktest::writeControl(kAwemeFile, "record " + std::to_string(kUid) + " 3 3 4 " +
                                              std::to_string(KORUN_DETECT_NEW) + "\n"));
    // Fields of a short-video report: uid, detect index, cur index, valid num, state.
    std::vector<uint32_t> states;
    for (Report report; states.size() < 2 && socket.next(&report);) {
        ASSERT_EQ(report.command, KORUN_CMD_AWEME_REPORT);
        ASSERT_EQ(report.numbers.size(), 5u);
        EXPECT_EQ(report.stallInfoLength, static_cast<size_t>(KORUN_STALL_INFO_LEN));
        if (report.numbers[1] == 3) states.push_back(report.numbers[4]);
    }
    EXPECT_EQ(states, (std::vector<uint32_t>{KORUN_DETECT_NEW, KORUN_DETECT_ONGOING}));
    const Attr entry3 = u32(KORUN_ATTR_DETECT_INDEX, 3), stopped = u32(KORUN_ATTR_DETECT_STATE, KORUN_DETECT_STOPPED);
    EXPECT_EQ(socket.request(KORUN_CMD_UPDATE, named(KORUN_CLASS_SHORT_VIDEO, {entry3, stopped})), 0);
    const auto lines = ktest::stallSessionLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0][kDetectState], static_cast<uint64_t>(KORUN_DETECT_STOPPED));
    EXPECT_EQ(socket.stop(kUid), 0);
}

TEST_F(KorunKernelTest, aShortVideoRecordWrittenToDebugfsReachesTheLibrarysDetector) {
    LibraryClient library(scene::kShortVideo);
    ASSERT_TRUE(library.ok());
    const std::string uid = std::to_string(kUid);
    // Entry 2: a request that never got an answer, a stall after three steps.
    ASSERT_TRUE(ktest::writeControl(kAwemeFile, "entry " + uid + " 2 0 0 0 0 1 10 v0200fg10000\n"));
    ASSERT_TRUE(ktest::writeControl(kAwemeFile, "record " + uid + " 2 2 3 " + std::to_string(KORUN_DETECT_NEW) + "\n"));
    bool sawRequest = false;
    int stall = 0;
    for (int pass = 0; pass < 20 && stall == 0; ++pass) {
        bool reported = false;
        ASSERT_TRUE(library.pass(&stall, &reported)) << "pass " << pass;
        sawRequest = sawRequest || reported;
    }
    EXPECT_TRUE(sawRequest);
    EXPECT_EQ(stall, 1);
    EXPECT_EQ(library.stopCollecting(), 0);
    EXPECT_EQ(library.stop(), 0);
}

TEST_F(KorunKernelTest, aKilledProcessLeavesNoSession) {
    const uint32_t port = freshPort();
    ktest::Child child = ktest::spawn([port] {
        KorunSocket socket(port);
        if (!socket.ok() || socket.start(kUid) != 0 || socket.start(kOtherUid) != 0) return 1;
        pause();
        return 0;
    });
    ASSERT_TRUE(ktest::waitUntil([port] { return sessionsOfPort(port) == 2; }));
    child.kill();
    EXPECT_TRUE(ktest::waitUntil([port] { return sessionsOfPort(port) == 0; }));
}

}  // namespace
}  // namespace mqqoe
