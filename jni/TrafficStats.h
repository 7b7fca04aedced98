#pragma once
// Per-uid TCP/UDP totals and UDP socket counts from the kernel's proc files,
// and the running byte totals of the stall session.

#include <jni.h>

#include <array>
#include <cstdint>
#include <optional>

namespace mqqoe {

constexpr const char* kUdpNetworkInfoClass = "com/android/server/qesta/ZvQoeUdpNetworkInfo";

// Network types of the interface filter; any other type accepts every interface.
constexpr int kNetworkTypeMobile = 0;
constexpr int kNetworkTypeWifi = 1;

struct TrafficStatsPaths {
    const char* accounting;
    const char* udp;
    const char* udp6;
};

constexpr TrafficStatsPaths kProcTrafficStatsPaths = {"/proc/net/xt_qtaguid/stats", "/proc/net/udp",
                                                      "/proc/net/udp6"};

struct UdpNetworkStats {
    int32_t uid = 0;
    int32_t uidUdpSockets = 0;
    int32_t sumUdpUids = 0;
    int32_t sumUdpSockets = 0;
    uint64_t rxTcpBytes = 0;
    uint64_t rxTcpPackets = 0;
    uint64_t txTcpBytes = 0;
    uint64_t txTcpPackets = 0;
    uint64_t rxUdpBytes = 0;
    uint64_t rxUdpPackets = 0;
    uint64_t txUdpBytes = 0;
    uint64_t txUdpPackets = 0;
    uint64_t sumRxPackets = 0;
};

// Reads the accounting file and the two UDP tables; nothing when the uid is
// negative or a file cannot be used (a missing IPv6 table is tolerated).
[[nodiscard]] std::optional<UdpNetworkStats> readUdpNetworkStats(const TrafficStatsPaths& paths, int uid,
                                                                 int networkType);

// The Java result object for the files at `paths`, or null.
jobject readUdpNetworkStatsDetail(JNIEnv* env, const TrafficStatsPaths& paths, int uid, int networkType);

// Outbound then inbound byte totals of the stall session.
[[nodiscard]] std::array<uint64_t, 2> currTotalTraffic();

}  // namespace mqqoe
