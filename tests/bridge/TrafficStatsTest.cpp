// The traffic readers on fixture files.

#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "LogCapture.h"
#include "UniqueFd.h"
#include "TrafficStats.h"

using namespace mqqoe;
using mqqoe::testing::LogCapture;

namespace {

constexpr const char* kTag = "ZvQoEJNI";
constexpr const char* kAccountingHeader =
        "idx iface acct_tag_hex uid_tag_int cnt_set rx_bytes rx_packets tx_bytes tx_packets rx_tcp_bytes "
        "rx_tcp_packets rx_udp_bytes rx_udp_packets rx_other_bytes rx_other_packets tx_tcp_bytes tx_tcp_packets "
        "tx_udp_bytes tx_udp_packets tx_other_bytes tx_other_packets\n";
constexpr const char* kUdpHeader =
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode ref "
        "pointer drops\n";

// The sixteen counters of one accounting line.
using Counters = std::array<uint64_t, 16>;

std::string accountingLine(int index, const std::string& iface, int uid, const Counters& c) {
    std::ostringstream line;
    line << index << ' ' << iface << " 0x0 " << uid << " 0";
    for (uint64_t value : c) line << ' ' << value;
    line << '\n';
    return line.str();
}

std::string udpLine(int slot, int uid, bool v6 = false) {
    const char* addresses = v6 ? "00000000000000000000000001000000:0035 00000000000000000000000000000000:0000"
                               : "0100007F:0035 00000000:0000";
    return "  " + std::to_string(slot) + ": " + addresses + " 07 00000000:00000000 00:00000000 00000000 " +
           std::to_string(uid) + "        0 " + std::to_string(40000 + slot) + " 2 0000000000000000 0\n";
}

class TrafficStatsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/qoe-traffic-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        mDir = pattern;
        mAccounting = write("stats", kAccountingHeader);
        mUdp = write("udp", kUdpHeader);
        mUdp6 = write("udp6", kUdpHeader);
    }
    void TearDown() override { (void)std::system(("rm -rf " + mDir).c_str()); }

    std::string write(const std::string& name, const std::string& text) {
        std::string path = mDir + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    // A path that exists but cannot be opened for reading: a bound socket.
    std::string socketPath(const std::string& name) {
        std::string path = mDir + "/" + name;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        mSocket.reset(socket(AF_UNIX, SOCK_STREAM, 0));
        EXPECT_EQ(0, bind(mSocket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
        return path;
    }
    std::optional<UdpNetworkStats> read(int uid, int type) {
        return readUdpNetworkStats({mAccounting.c_str(), mUdp.c_str(), mUdp6.c_str()}, uid, type);
    }

    std::string mDir, mAccounting, mUdp, mUdp6;
    nl::UniqueFd mSocket;
    LogCapture mLog;
};

// Counter i of the line is base + i: the sums tell which lines were taken.
TEST_F(TrafficStatsTest, NetworkTypeAndUidChooseTheAccountingLinesSummed) {
    auto counters = [](uint64_t base) {
        Counters c;
        for (size_t i = 0; i < c.size(); ++i) c[i] = base + i;
        return c;
    };
    mAccounting = write("stats", std::string(kAccountingHeader) + accountingLine(2, "rmnet0", 1000, counters(1000)) +
                                         accountingLine(3, "wlan0", 1000, counters(2000)) +
                                         accountingLine(4, "rmnet0_x", 1000, counters(3000)) +
                                         accountingLine(5, "rmnet0", 10050, counters(4000)));
    const struct {
        int uid, type;
        std::vector<uint64_t> bases;
    } cases[] = {{1000, 0, {1000}}, {1000, 1, {2000}}, {1000, 2, {1000, 2000, 3000}}, {0, 0, {1000, 4000}},
                 {0, 7, {1000, 2000, 3000, 4000}}, {10050, 1, {}}};
    for (const auto& c : cases) {
        auto sum = [&](uint64_t column) {
            uint64_t total = 0;
            for (uint64_t base : c.bases) total += base + column;
            return total;
        };
        const auto stats = read(c.uid, c.type);
        ASSERT_TRUE(stats.has_value());
        EXPECT_EQ((std::array<uint64_t, 9>{sum(4), sum(5), sum(10), sum(11), sum(6), sum(7), sum(12), sum(13),
                                           sum(5) + sum(7)}),
                  (std::array<uint64_t, 9>{stats->rxTcpBytes, stats->rxTcpPackets, stats->txTcpBytes,
                                           stats->txTcpPackets, stats->rxUdpBytes, stats->rxUdpPackets,
                                           stats->txUdpBytes, stats->txUdpPackets, stats->sumRxPackets}))
                << "uid " << c.uid << " type " << c.type;
    }
}

TEST_F(TrafficStatsTest, UdpCountsFollowUidChangesAcrossBothTables) {
    mUdp = write("udp", std::string(kUdpHeader) + udpLine(0, 1000) + udpLine(1, 1000) + udpLine(2, 0) +
                                udpLine(3, 1000));
    auto v4 = read(1000, 2);
    ASSERT_TRUE(v4.has_value());
    EXPECT_EQ(4, v4->sumUdpSockets);
    EXPECT_EQ(3, v4->sumUdpUids);
    EXPECT_EQ(3, v4->uidUdpSockets);

    // The first IPv6 line is a change even when it repeats the last IPv4 uid.
    mUdp6 = write("udp6", std::string(kUdpHeader) + udpLine(0, 1000, true) + udpLine(1, 10050, true));
    auto both = read(10050, 2);
    ASSERT_TRUE(both.has_value());
    EXPECT_EQ(6, both->sumUdpSockets);
    EXPECT_EQ(5, both->sumUdpUids);
    EXPECT_EQ(1, both->uidUdpSockets);
}

TEST_F(TrafficStatsTest, MissingOrUnreadableFilesFollowTheirOwnRules) {
    mUdp = write("udp", std::string(kUdpHeader) + udpLine(0, 1000));
    const std::string accounting = mAccounting, missing = mDir + "/absent";

    mUdp6 = missing;  // a kernel without IPv6
    auto stats = read(1000, 2);
    ASSERT_TRUE(stats.has_value());
    EXPECT_EQ(1, stats->sumUdpSockets);
    mUdp6 = socketPath("udp6-socket");  // skipped silently too
    EXPECT_TRUE(read(1000, 2).has_value());
    mUdp6 = accounting + "/udp6";  // a path through a file is no missing table
    EXPECT_FALSE(read(1000, 2).has_value());
    EXPECT_TRUE(mLog.lines().empty()) << mLog.dump();

    mAccounting = missing;
    EXPECT_FALSE(read(1000, 2).has_value());
    mAccounting = accounting;
    mUdp = missing;
    EXPECT_FALSE(read(1000, 2).has_value());
    EXPECT_TRUE(mLog.lines().empty()) << mLog.dump();  // a path that does not resolve is not logged

    mUdp = socketPath("udp-socket");
    EXPECT_FALSE(read(1000, 2).has_value());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, "fopen /proc/net/udp fail!"));
    mAccounting = socketPath("stats-socket");
    EXPECT_FALSE(read(1000, 2).has_value());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, "fopen /proc/net/xt_qtaguid/stats fail!"));

    mLog.clear();
    EXPECT_FALSE(read(-1, 2).has_value());  // before any file is touched
    EXPECT_TRUE(mLog.lines().empty());
}

TEST_F(TrafficStatsTest, BadAccountingLinesAreSkippedOrFailTheCall) {
    const Counters ones = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    const std::string good = accountingLine(2, "wlan0", 1000, ones);
    std::string overlong = accountingLine(3, "wlan0", 1000, ones);
    overlong.insert(overlong.size() - 1, 400, ' ');  // its tail alone would read as a blank line
    std::string overlongTail = accountingLine(4, "wlan0", 1000, ones);
    overlongTail.insert(overlongTail.size() - 1, std::string(390, 'z') + " " + good.substr(0, good.size() - 1));
    const Counters top = {0, 0, 0, 0, UINT64_MAX, UINT64_MAX, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

    struct Case {
        const char* what;
        std::string lines;
        bool fails;
        uint64_t rxTcpPackets;  // when it does not fail
    };
    const Case cases[] = {
            {"blank line", good + "\n" + good, true, 0},
            {"blank line of spaces", good + "   \t \n", true, 0},
            {"short line", good + "5 wlan0 0x0 1000 0 1 1 1\n", false, 1},
            {"garbage counter", good + "5 wlan0 0x0 1000 0 1 1 1 1 1 x 1 1 1 1 1 1 1 1 1 1\n", false, 1},
            {"text with no number", good + "lorem ipsum\n", false, 1},
            {"overlong line", overlong + good, false, 1},
            {"overlong line hiding a record", overlongTail + good, false, 1},
            {"32-character interface", good + accountingLine(5, std::string(32, 'i'), 1000, ones), false, 1},
            {"31-character interface", good + accountingLine(5, std::string(31, 'i'), 1000, ones), false, 2},
            {"counters wrap at 2^64", accountingLine(5, "wlan0", 1000, top) + accountingLine(6, "x", 1000, top) +
                                              good, false, UINT64_MAX},  // 2 * (2^64 - 1) + 1, wrapped
            {"counter beyond 2^64 saturates", good + "5 wlan0 0x0 1000 0 0 0 0 0 0 99999999999999999999999 0 0 0 0 "
                                                      "0 0 0 0 0 0\n", false, 0},
            {"no newline at the end", good + good.substr(0, good.size() - 1), false, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mLog.clear();
        mAccounting = write("stats", kAccountingHeader + c.lines);
        auto stats = read(0, 2);
        EXPECT_EQ(c.fails, !stats.has_value());
        EXPECT_EQ(c.fails, mLog.contains(ANDROID_LOG_INFO, kTag, "sscanf_s /proc/net/xt_qtaguid/stats fail!"));
        if (stats && std::string(c.what) != "counter beyond 2^64 saturates") {
            EXPECT_EQ(c.rxTcpPackets, stats->rxTcpPackets);
        }
    }
}

TEST_F(TrafficStatsTest, OddUdpLinesAreSkippedAndBlankOnesFailTheCall) {
    const std::string good = udpLine(0, 1000);
    struct Case {
        const char* what;
        std::string udp, udp6;
        int sockets;  // -1: the call fails
        const char* log;
    };
    const Case cases[] = {
            {"headers only", kUdpHeader, kUdpHeader, 0, nullptr},
            {"empty tables", "", "", 0, nullptr},
            {"seven fields", good + "  1: 0100007F:0035 00000000:0000 07 0:0 0:0 0\n", "", 1, nullptr},
            {"uid not a number", good + "  1: a b c d e f abc 0 0\n", "", 1, nullptr},
            {"overlong line", good + std::string(500, 'u') + "\n", std::string(600, 'v') + " 1 2 3 4 5 6 7\n", 1,
             nullptr},
            {"long IPv6 address", good, udpLine(0, 1000, true).insert(6, 40, 'f'), 2, nullptr},
            {"blank IPv4 line", good + "\n", "", -1, "sscanf_s /proc/net/udp fail!"},
            {"blank IPv6 line", good, "\n", -1, "sscanf_s /proc/net/udp6 fail!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mLog.clear();
        mUdp = write("udp", c.udp);
        mUdp6 = write("udp6", c.udp6);
        auto stats = read(1000, 2);
        EXPECT_EQ(c.sockets < 0, !stats.has_value());
        if (stats) {
            EXPECT_EQ(c.sockets, stats->sumUdpSockets);
        }
        if (c.log) {
            EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, c.log)) << mLog.dump();
        }
    }
}

}  // namespace
