// Traffic statistics readers: the per-uid accounting file and the UDP socket
// tables.

#include "TrafficStats.h"

#include <errno.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "BridgeLog.h"
#include "ScopedFile.h"
#include "securec.h"

// The scan formats convert %lu into 64-bit counters.
static_assert(sizeof(unsigned long) == sizeof(uint64_t), "the proc counters are read as 64-bit unsigned long");

namespace mqqoe {
namespace {

constexpr size_t kLineSize = 384;
constexpr size_t kCanonicalPathSize = 4097;
constexpr int kScanInputFailure = -1;

constexpr const char* kAccountingFormat =
        " %u %31s 0x%lx %d %u %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu";
constexpr int kAccountingFields = 21;
constexpr const char* kUdp4Format = "%31s%31s%31s%31s%31s%31s%31s %d";
constexpr const char* kUdp6Format = "%31s%63s%63s%31s%63s%63s%63s %d";
constexpr int kUdpFields = 8;
constexpr size_t kShortField = 32;
constexpr size_t kLongField = 64;

// sscanf_s takes each buffer size as an unsigned int.
template <size_t kSize>
constexpr unsigned bufferSize(const char (&)[kSize]) {
    static_assert(kSize <= UINT_MAX, "a scan buffer size must fit an unsigned int");
    return static_cast<unsigned>(kSize);
}

constexpr const char* kMobileInterface = "rmnet0";
constexpr const char* kWifiInterface = "wlan0";

// Columns after index, interface, tag, uid and counter set.
enum Counter {
    kRxBytes, kRxPackets, kTxBytes, kTxPackets,
    kRxTcpBytes, kRxTcpPackets, kRxUdpBytes, kRxUdpPackets, kRxOtherBytes, kRxOtherPackets,
    kTxTcpBytes, kTxTcpPackets, kTxUdpBytes, kTxUdpPackets, kTxOtherBytes, kTxOtherPackets,
    kCounterCount,
};

enum class Line { kRead, kOverlong, kEnd };

// One line into `line`. A line longer than the buffer is consumed to its end
// and reported as overlong, so its tail is never read as a line of its own.
Line nextLine(FILE* file, char (&line)[kLineSize]) {
    if (fgets(line, sizeof(line), file) == nullptr) return Line::kEnd;
    size_t length = strlen(line);
    if (length + 1 < sizeof(line) || line[length - 1] == '\n') return Line::kRead;
    int c = getc(file);
    if (c == EOF || c == '\n') return Line::kRead;  // the text itself fitted
    while (c != EOF && c != '\n') c = getc(file);
    return Line::kOverlong;
}

enum class Open { kOk, kMissing, kBadPath, kOpenFailed };

// Canonicalises and opens `path`; `result` tells why it could not be.
FILE* openCanonical(const char* path, Open* result) {
    char canonical[kCanonicalPathSize];
    if (realpath(path, canonical) == nullptr) {
        *result = errno == ENOENT ? Open::kMissing : Open::kBadPath;
        return nullptr;
    }
    FILE* file = fopen(canonical, "r");
    *result = file != nullptr ? Open::kOk : Open::kOpenFailed;
    return file;
}

bool interfaceMatches(const char* name, int networkType) {
    switch (networkType) {
        case kNetworkTypeMobile: return strcmp(name, kMobileInterface) == 0;
        case kNetworkTypeWifi: return strcmp(name, kWifiInterface) == 0;
        default: return true;
    }
}

}  // namespace

int scanUdpLine(const char* line, int* uid) {
    char f[7][kShortField];
    return sscanf_s(line, kUdp4Format, f[0], bufferSize(f[0]), f[1], bufferSize(f[1]), f[2], bufferSize(f[2]),
                    f[3], bufferSize(f[3]), f[4], bufferSize(f[4]), f[5], bufferSize(f[5]), f[6],
                    bufferSize(f[6]), uid);
}

int scanUdp6Line(const char* line, int* uid) {
    char slot[kShortField], local[kLongField], remote[kLongField], state[kShortField];
    char queues[kLongField], timer[kLongField], retransmits[kLongField];
    return sscanf_s(line, kUdp6Format, slot, bufferSize(slot), local, bufferSize(local), remote,
                    bufferSize(remote), state, bufferSize(state), queues, bufferSize(queues), timer,
                    bufferSize(timer), retransmits, bufferSize(retransmits), uid);
}

int scanAccountingLine(const char* line, AccountingLine* parsed) {
    unsigned index;
    unsigned long tag;
    unsigned counterSet;
    unsigned long c[kCounterCount];
    int fields = sscanf_s(line, kAccountingFormat, &index, parsed->interfaceName,
                          bufferSize(parsed->interfaceName), &tag, &parsed->uid, &counterSet, &c[0], &c[1], &c[2],
                          &c[3], &c[4], &c[5], &c[6], &c[7], &c[8], &c[9], &c[10], &c[11], &c[12], &c[13], &c[14],
                          &c[15]);
    if (fields == kAccountingFields) {
        parsed->rxTcpBytes = c[kRxTcpBytes];
        parsed->rxTcpPackets = c[kRxTcpPackets];
        parsed->rxUdpBytes = c[kRxUdpBytes];
        parsed->rxUdpPackets = c[kRxUdpPackets];
        parsed->txTcpBytes = c[kTxTcpBytes];
        parsed->txTcpPackets = c[kTxTcpPackets];
        parsed->txUdpBytes = c[kTxUdpBytes];
        parsed->txUdpPackets = c[kTxUdpPackets];
    }
    return fields;
}

namespace {

// Sums the TCP/UDP columns of the matching accounting lines. False when the
// file cannot be used or a line is unreadable as a whole.
bool sumAccounting(const char* path, int uid, int networkType, UdpNetworkStats* stats) {
    Open opened;
    ScopedFile file(openCanonical(path, &opened));
    if (file.get() == nullptr) {
        if (opened == Open::kOpenFailed) QLOGI("fopen /proc/net/xt_qtaguid/stats fail!");
        return false;
    }
    char line[kLineSize];
    Line state;
    while ((state = nextLine(file.get(), line)) != Line::kEnd) {
        if (state == Line::kOverlong) continue;
        AccountingLine parsed;
        int fields = scanAccountingLine(line, &parsed);
        if (fields == kScanInputFailure) {
            (void)file.close();
            QLOGI("sscanf_s /proc/net/xt_qtaguid/stats fail!");
            return false;
        }
        if (fields != kAccountingFields) continue;
        if (!interfaceMatches(parsed.interfaceName, networkType)) continue;
        if (uid != 0 && parsed.uid != uid) continue;
        stats->rxTcpBytes += parsed.rxTcpBytes;
        stats->rxTcpPackets += parsed.rxTcpPackets;
        stats->txTcpBytes += parsed.txTcpBytes;
        stats->txTcpPackets += parsed.txTcpPackets;
        stats->rxUdpBytes += parsed.rxUdpBytes;
        stats->rxUdpPackets += parsed.rxUdpPackets;
        stats->txUdpBytes += parsed.txUdpBytes;
        stats->txUdpPackets += parsed.txUdpPackets;
        stats->sumRxPackets = stats->rxUdpPackets + stats->rxTcpPackets;
    }
    return file.close() == 0;
}

// Counts the sockets of one UDP table into `stats`. Counts carry over from
// table to table; the previous uid starts afresh in each.
bool countUdpSockets(FILE* file, int (*scan)(const char*, int*), const char* failure, int uid,
                     UdpNetworkStats* stats) {
    int previousUid = -1;
    char line[kLineSize];
    Line state;
    while ((state = nextLine(file, line)) != Line::kEnd) {
        if (state == Line::kOverlong) continue;
        int lineUid = 0;
        int fields = scan(line, &lineUid);
        if (fields == kScanInputFailure) {
            QLOGI("%s", failure);
            return false;
        }
        if (fields != kUdpFields) continue;
        ++stats->sumUdpSockets;
        // Changes of uid between neighbouring lines, not distinct uids.
        if (previousUid == -1 || previousUid != lineUid) {
            ++stats->sumUdpUids;
            previousUid = lineUid;
        }
        if (lineUid == uid) ++stats->uidUdpSockets;
    }
    return true;
}

}  // namespace

std::optional<UdpNetworkStats> readUdpNetworkStats(const TrafficStatsPaths& paths, int uid, int networkType) {
    if (uid < 0) return std::nullopt;
    UdpNetworkStats stats;
    stats.uid = uid;
    if (!sumAccounting(paths.accounting, uid, networkType, &stats)) return std::nullopt;

    Open opened;
    {
        ScopedFile udp(openCanonical(paths.udp, &opened));
        if (udp.get() == nullptr) {
            if (opened == Open::kOpenFailed) QLOGI("fopen /proc/net/udp fail!");
            return std::nullopt;
        }
        if (!countUdpSockets(udp.get(), scanUdpLine, "sscanf_s /proc/net/udp fail!", uid, &stats)) {
            return std::nullopt;
        }
        if (udp.close() != 0) return std::nullopt;
    }
    // A kernel without IPv6 has no table: the IPv4 figures stand alone.
    ScopedFile udp6(openCanonical(paths.udp6, &opened));
    if (udp6.get() == nullptr) {
        if (opened == Open::kBadPath) return std::nullopt;
        return stats;
    }
    if (!countUdpSockets(udp6.get(), scanUdp6Line, "sscanf_s /proc/net/udp6 fail!", uid, &stats)) {
        return std::nullopt;
    }
    if (udp6.close() != 0) return std::nullopt;
    return stats;
}

}  // namespace mqqoe
