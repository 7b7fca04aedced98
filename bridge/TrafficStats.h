#pragma once
// Per-uid TCP/UDP totals and UDP socket counts from the kernel's proc files.
// The files are streamed line by line through fixed stack buffers.

#include <cstddef>
#include <cstdint>
#include <optional>

namespace mqqoe {

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

// One line of each file as the readers scan it: the number of fields
// sscanf_s converted (-1 for an input failure before the first one).
struct AccountingLine {
    static constexpr size_t kInterfaceNameSize = 32;
    char interfaceName[kInterfaceNameSize];
    int uid;
    uint64_t rxTcpBytes, rxTcpPackets, rxUdpBytes, rxUdpPackets;
    uint64_t txTcpBytes, txTcpPackets, txUdpBytes, txUdpPackets;
};
[[nodiscard]] int scanAccountingLine(const char* line, AccountingLine* parsed);
[[nodiscard]] int scanUdpLine(const char* line, int* uid);
[[nodiscard]] int scanUdp6Line(const char* line, int* uid);

}  // namespace mqqoe
