// Lines per second of the traffic reader on generated proc files: an
// accounting file of 100,000 lines and UDP tables of 10,000 sockets each.
// The baseline reads the same files the same way with the C library's sscanf.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "TrafficStats.h"

namespace {

constexpr int kAccountingLines = 100000;
constexpr int kSocketsPerTable = 10000;
constexpr int64_t kLinesPerPass = kAccountingLines + 2 * kSocketsPerTable + 3;  // with the headers

struct Files {
    std::string dir, accounting, udp, udp6;

    Files() {
        char pattern[] = "/tmp/qoe-bench-XXXXXX";
        if (mkdtemp(pattern) == nullptr) std::abort();
        dir = pattern;
        accounting = dir + "/stats";
        udp = dir + "/udp";
        udp6 = dir + "/udp6";
        std::mt19937_64 random(42);
        const char* ifaces[] = {"rmnet0", "wlan0", "rmnet_data0", "lo"};
        std::ofstream a(accounting);
        a << "idx iface acct_tag_hex uid_tag_int cnt_set rx_bytes rx_packets tx_bytes tx_packets rx_tcp_bytes "
             "rx_tcp_packets rx_udp_bytes rx_udp_packets rx_other_bytes rx_other_packets tx_tcp_bytes "
             "tx_tcp_packets tx_udp_bytes tx_udp_packets tx_other_bytes tx_other_packets\n";
        for (int i = 0; i < kAccountingLines; ++i) {
            a << i + 2 << ' ' << ifaces[random() % 4] << " 0x" << std::hex << (random() % 0x100000) << std::dec
              << "00000000 " << 10000 + random() % 200 << ' ' << random() % 2;
            for (int c = 0; c < 16; ++c) a << ' ' << random() % 100000000000ULL;
            a << '\n';
        }
        const char* header =
                "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
                "inode ref pointer drops\n";
        std::ofstream u(udp), u6(udp6);
        u << header;
        u6 << header;
        for (int i = 0; i < kSocketsPerTable; ++i) {
            int uid = 10000 + static_cast<int>(random() % 50);
            u << "  " << i << ": 0100007F:" << std::hex << 1024 + i << std::dec
              << " 00000000:0000 07 00000000:00000000 00:00000000 00000000 " << uid << "        0 " << 30000 + i
              << " 2 0000000000000000 0\n";
            u6 << "  " << i << ": 0000000000000000FFFF00000100007F:" << std::hex << 1024 + i << std::dec
               << " 00000000000000000000000000000000:0000 07 00000000:00000000 00:00000000 00000000 " << uid
               << "        0 " << 50000 + i << " 2 0000000000000000 0\n";
        }
    }
    ~Files() { (void)std::system(("rm -rf " + dir).c_str()); }
};

const Files& files() {
    static const Files generated;
    return generated;
}

void BM_ReadUdpNetworkStats(benchmark::State& state) {
    const Files& f = files();
    const mqqoe::TrafficStatsPaths paths = {f.accounting.c_str(), f.udp.c_str(), f.udp6.c_str()};
    for (auto _ : state) {
        auto stats = mqqoe::readUdpNetworkStats(paths, 0, 2);
        if (!stats || stats->sumUdpSockets != 2 * kSocketsPerTable) state.SkipWithError("unexpected result");
        benchmark::DoNotOptimize(stats);
    }
    state.SetItemsProcessed(state.iterations() * kLinesPerPass);
}
BENCHMARK(BM_ReadUdpNetworkStats)->Unit(benchmark::kMillisecond);

// The same work with the C library's sscanf: canonical path, 384-byte lines,
// the same formats without the buffer sizes.
struct Baseline {
    uint64_t rxTcpPackets = 0, rxUdpPackets = 0;
    int sockets = 0, changes = 0, own = 0;
};

bool plainAccounting(const char* path, int uid, Baseline* b) {
    char canonical[4097];
    if (realpath(path, canonical) == nullptr) return false;
    FILE* file = fopen(canonical, "re");
    if (file == nullptr) return false;
    char line[384];
    while (fgets(line, sizeof(line), file) != nullptr) {
        unsigned index, set;
        char iface[32];
        unsigned long tag, c[16];
        int lineUid;
        int n = sscanf(line, " %u %31s 0x%lx %d %u %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu",
                       &index, iface, &tag, &lineUid, &set, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7],
                       &c[8], &c[9], &c[10], &c[11], &c[12], &c[13], &c[14], &c[15]);
        if (n == -1) break;
        if (n != 21 || (uid != 0 && lineUid != uid)) continue;
        b->rxTcpPackets += c[5];
        b->rxUdpPackets += c[7];
    }
    fclose(file);
    return true;
}

bool plainUdp(const char* path, bool v6, int uid, Baseline* b) {
    char canonical[4097];
    if (realpath(path, canonical) == nullptr) return false;
    FILE* file = fopen(canonical, "re");
    if (file == nullptr) return false;
    char line[384];
    int previous = -1;
    while (fgets(line, sizeof(line), file) != nullptr) {
        char s[7][64];
        int lineUid;
        int n = v6 ? sscanf(line, "%31s%63s%63s%31s%63s%63s%63s %d", s[0], s[1], s[2], s[3], s[4], s[5], s[6],
                            &lineUid)
                   : sscanf(line, "%31s%31s%31s%31s%31s%31s%31s %d", s[0], s[1], s[2], s[3], s[4], s[5], s[6],
                            &lineUid);
        if (n == -1) break;
        if (n != 8) continue;
        ++b->sockets;
        if (previous != lineUid) ++b->changes;
        previous = lineUid;
        b->own += lineUid == uid;
    }
    fclose(file);
    return true;
}

void BM_PlainSscanfBaseline(benchmark::State& state) {
    const Files& f = files();
    for (auto _ : state) {
        Baseline b;
        bool ok = plainAccounting(f.accounting.c_str(), 0, &b) && plainUdp(f.udp.c_str(), false, 0, &b) &&
                  plainUdp(f.udp6.c_str(), true, 0, &b);
        if (!ok || b.sockets != 2 * kSocketsPerTable) state.SkipWithError("unexpected result");
        benchmark::DoNotOptimize(b);
    }
    state.SetItemsProcessed(state.iterations() * kLinesPerPass);
}
BENCHMARK(BM_PlainSscanfBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
