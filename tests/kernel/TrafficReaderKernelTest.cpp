// The traffic readers on the VM kernel's own UDP tables and the accounting
// module's file, cross-checked with traffic this test sends as the app uid
// over wlan0 to a far end in the peer namespace.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "ScopedFile.h"
#include "TrafficPeer.h"
#include "TrafficStats.h"

namespace {

using mqqoe::kNetworkTypeMobile;
using mqqoe::kNetworkTypeWifi;
using mqqoe::kProcTrafficStatsPaths;
using mqqoe::UdpNetworkStats;

constexpr uint16_t kUdpPort = 7001;
constexpr uint16_t kTcpPort = 7002;
constexpr uid_t kOtherUid = 10124;

UdpNetworkStats readStats(int uid, int networkType = kNetworkTypeWifi) {
    std::optional<UdpNetworkStats> stats = mqqoe::readUdpNetworkStats(kProcTrafficStatsPaths, uid, networkType);
    EXPECT_TRUE(stats.has_value());
    return stats.value_or(UdpNetworkStats{});
}

struct UdpCase {
    int family;
    int count;
    size_t size;
};

class UdpAccounting : public testing::TestWithParam<UdpCase> {};

TEST_P(UdpAccounting, EveryDatagramOfTheUidIsCountedOnWlan0AtItsIpSize) {
    const UdpCase& c = GetParam();
    ktest::Child echo = ktest::startUdpEcho(kUdpPort);
    UdpNetworkStats before = readStats(ktest::kAppUid);
    UdpNetworkStats otherBefore = readStats(kOtherUid);
    UdpNetworkStats mobileBefore = readStats(ktest::kAppUid, kNetworkTypeMobile);

    ktest::Exchange sent;
    ASSERT_TRUE(ktest::udpExchange(c.family, kUdpPort, c.count, c.size, &sent));
    ASSERT_EQ(static_cast<uint64_t>(c.count), sent.receivedPackets);

    UdpNetworkStats after = readStats(ktest::kAppUid);
    const uint64_t wire = ktest::udpWireBytes(c.family, c.size);
    EXPECT_EQ(sent.sentPackets, after.txUdpPackets - before.txUdpPackets);
    EXPECT_EQ(sent.sentPackets * wire, after.txUdpBytes - before.txUdpBytes);
    EXPECT_EQ(sent.receivedPackets, after.rxUdpPackets - before.rxUdpPackets);
    EXPECT_EQ(sent.receivedPackets * wire, after.rxUdpBytes - before.rxUdpBytes);
    EXPECT_EQ(sent.receivedPackets, after.sumRxPackets - before.sumRxPackets);
    EXPECT_EQ(before.txTcpPackets, after.txTcpPackets);
    // No other uid and no other interface saw it.
    UdpNetworkStats otherAfter = readStats(kOtherUid);
    EXPECT_EQ(otherBefore.rxUdpPackets, otherAfter.rxUdpPackets);
    EXPECT_EQ(otherBefore.txUdpPackets, otherAfter.txUdpPackets);
    UdpNetworkStats mobileAfter = readStats(ktest::kAppUid, kNetworkTypeMobile);
    EXPECT_EQ(mobileBefore.txUdpPackets, mobileAfter.txUdpPackets);
    std::printf("udp family %d: sent %llu x %zu B, module counted tx %llu pkts %llu B, rx %llu pkts %llu B\n",
                c.family, static_cast<unsigned long long>(sent.sentPackets), c.size,
                static_cast<unsigned long long>(after.txUdpPackets - before.txUdpPackets),
                static_cast<unsigned long long>(after.txUdpBytes - before.txUdpBytes),
                static_cast<unsigned long long>(after.rxUdpPackets - before.rxUdpPackets),
                static_cast<unsigned long long>(after.rxUdpBytes - before.rxUdpBytes));
}

INSTANTIATE_TEST_SUITE_P(Kernel, UdpAccounting,
                         testing::Values(UdpCase{AF_INET, 40, 1000}, UdpCase{AF_INET6, 25, 1200},
                                         UdpCase{AF_INET, 3, 1}));

TEST(TcpAccounting, AConnectionOfTheUidCountsAtLeastItsPayloadBothWays) {
    for (int family : {AF_INET, AF_INET6}) {
        SCOPED_TRACE(family);
        ktest::Child echo = ktest::startTcpEcho(kTcpPort);
        UdpNetworkStats before = readStats(ktest::kAppUid);
        ktest::Exchange sent;
        constexpr size_t kPayload = 200000;
        ASSERT_TRUE(ktest::tcpExchange(family, kTcpPort, kPayload, &sent));
        ASSERT_EQ(kPayload, sent.receivedBytes);
        UdpNetworkStats after = readStats(ktest::kAppUid);
        // Headers, the handshake and the acknowledgements come on top.
        EXPECT_GT(after.txTcpBytes - before.txTcpBytes, kPayload);
        EXPECT_GT(after.rxTcpBytes - before.rxTcpBytes, kPayload);
        EXPECT_GE(after.txTcpPackets - before.txTcpPackets, kPayload / 65536 + 3);
        EXPECT_GE(after.rxTcpPackets - before.rxTcpPackets, kPayload / 65536 + 2);
        EXPECT_EQ(before.txUdpPackets, after.txUdpPackets);
    }
}

TEST(UdpSockets, TheUidsOwnSocketsAreCountedInBothTables) {
    constexpr int kV4 = 3, kV6 = 2;
    int ready[2], release[2];
    ASSERT_EQ(0, pipe(ready));
    ASSERT_EQ(0, pipe(release));
    UdpNetworkStats before = readStats(ktest::kAppUid, 2);
    ktest::Child holder = ktest::spawn(
            [&] {
                close(release[1]);  // so that the parent's close is seen
                std::vector<int> sockets;
                for (int i = 0; i < kV4 + kV6; ++i) {
                    int fd = socket(i < kV4 ? AF_INET : AF_INET6, SOCK_DGRAM, 0);
                    sockaddr_storage any = {};
                    any.ss_family = static_cast<sa_family_t>(i < kV4 ? AF_INET : AF_INET6);
                    // Bound sockets show up in the tables.
                    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&any),
                                       i < kV4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6)) != 0) {
                        return 1;
                    }
                    sockets.push_back(fd);
                }
                char byte = 1;
                if (write(ready[1], &byte, 1) != 1) return 2;
                return read(release[0], &byte, 1) >= 0 ? 0 : 3;  // holds them until released
            },
            ktest::kAppUid);
    char byte;
    ASSERT_EQ(1, read(ready[0], &byte, 1));
    UdpNetworkStats held = readStats(ktest::kAppUid, 2);
    EXPECT_EQ(before.uidUdpSockets + kV4 + kV6, held.uidUdpSockets);
    EXPECT_GE(held.sumUdpSockets, held.uidUdpSockets);
    EXPECT_GE(held.sumUdpUids, 2);  // the first IPv6 line always counts as a change
    close(release[1]);
    EXPECT_EQ(0, holder.wait());
    EXPECT_EQ(before.uidUdpSockets, readStats(ktest::kAppUid, 2).uidUdpSockets);
    for (int fd : {ready[0], ready[1], release[0]}) close(fd);
}

TEST(AccountingFile, EveryLineButTheHeaderHasTheTwentyOneColumnsAndNoneIsBlank) {
    ktest::Child echo = ktest::startUdpEcho(kUdpPort);
    ktest::Exchange sent;
    ASSERT_TRUE(ktest::udpExchange(AF_INET, kUdpPort, 2, 100, &sent));
    mqqoe::ScopedFile file(std::fopen(kProcTrafficStatsPaths.accounting, "r"));
    ASSERT_NE(nullptr, file.get());
    char line[384];
    int lines = 0, appLines = 0;
    while (std::fgets(line, sizeof(line), file.get()) != nullptr) {
        mqqoe::AccountingLine parsed;
        int fields = mqqoe::scanAccountingLine(line, &parsed);
        if (lines++ == 0) {
            EXPECT_NE(21, fields) << "header: " << line;
            continue;
        }
        EXPECT_EQ(21, fields) << "line " << lines << ": " << line;
        if (fields == 21 && parsed.uid == static_cast<int>(ktest::kAppUid)) {
            ++appLines;
            EXPECT_STREQ("wlan0", parsed.interfaceName);
        }
    }
    EXPECT_GE(appLines, 1);
}

}  // namespace
