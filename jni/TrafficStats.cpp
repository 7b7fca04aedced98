// Traffic statistics readers: the per-uid accounting file, the UDP socket
// tables and the stall session's byte totals.

#include "TrafficStats.h"

#include <android/log.h>
#include <errno.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ScopedJni.h"
#include "ScopedResources.h"
#include "ZvQoE_jni.h"
#include "securec.h"

#define ALOGI(...) __android_log_print(ANDROID_LOG_INFO, mqqoe::kLogTag, __VA_ARGS__)

namespace mqqoe {
namespace {

constexpr size_t kLineSize = 384;
constexpr size_t kCanonicalPathSize = 4097;
constexpr int kScanInputFailure = -1;

constexpr const char* kAccountingFormat =
        " %u %31s 0x%lx %d %u %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu";
constexpr int kAccountingFields = 21;
constexpr size_t kInterfaceSize = 32;
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

// Fields of the result object, in the order their ids are looked up.
enum ResultField {
    kFieldRxUdpBytes, kFieldRxUdpPackets, kFieldTxUdpBytes, kFieldTxUdpPackets,
    kFieldUid, kFieldUidUdpSockets, kFieldSumUdpUids, kFieldSumUdpSockets,
    kFieldSumRxPackets, kFieldRxTcpBytes, kFieldRxTcpPackets, kFieldTxTcpBytes, kFieldTxTcpPackets,
    kResultFieldCount,
};

constexpr struct {
    const char* name;
    const char* signature;
} kResultFields[kResultFieldCount] = {
        {"mRxUdpBytes", "J"},    {"mRxUdpPackets", "J"},  {"mTxUdpBytes", "J"},    {"mTxUdpPackets", "J"},
        {"mUid", "I"},           {"mUidUdpSockets", "I"}, {"mSumUdpUids", "I"},    {"mSumUdpSockets", "I"},
        {"mSumRxPackets", "J"},  {"mRxTcpBytes", "J"},    {"mRxTcpPackets", "J"},  {"mTxTcpBytes", "J"},
        {"mTxTcpPackets", "J"},
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

// Sums the TCP/UDP columns of the matching accounting lines. False when the
// file cannot be used or a line is unreadable as a whole.
bool sumAccounting(const char* path, int uid, int networkType, UdpNetworkStats* stats) {
    Open opened;
    ScopedFile file(openCanonical(path, &opened));
    if (file.get() == nullptr) {
        if (opened == Open::kOpenFailed) ALOGI("fopen /proc/net/xt_qtaguid/stats fail!");
        return false;
    }
    char line[kLineSize];
    Line state;
    while ((state = nextLine(file.get(), line)) != Line::kEnd) {
        if (state == Line::kOverlong) continue;
        unsigned index;
        char interfaceName[kInterfaceSize];
        unsigned long tag;
        int lineUid;
        unsigned counterSet;
        unsigned long c[kCounterCount];
        int fields = sscanf_s(line, kAccountingFormat, &index, interfaceName, bufferSize(interfaceName), &tag,
                              &lineUid, &counterSet, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7],
                              &c[8], &c[9], &c[10], &c[11], &c[12], &c[13], &c[14], &c[15]);
        if (fields == kScanInputFailure) {
            (void)file.close();
            ALOGI("sscanf_s /proc/net/xt_qtaguid/stats fail!");
            return false;
        }
        if (fields != kAccountingFields) continue;
        if (!interfaceMatches(interfaceName, networkType)) continue;
        if (uid != 0 && lineUid != uid) continue;
        stats->rxTcpBytes += c[kRxTcpBytes];
        stats->rxTcpPackets += c[kRxTcpPackets];
        stats->txTcpBytes += c[kTxTcpBytes];
        stats->txTcpPackets += c[kTxTcpPackets];
        stats->rxUdpBytes += c[kRxUdpBytes];
        stats->rxUdpPackets += c[kRxUdpPackets];
        stats->txUdpBytes += c[kTxUdpBytes];
        stats->txUdpPackets += c[kTxUdpPackets];
        stats->sumRxPackets = stats->rxUdpPackets + stats->rxTcpPackets;
    }
    return file.close() == 0;
}

int scanUdp4(const char* line, int* uid) {
    char f[7][kShortField];
    return sscanf_s(line, kUdp4Format, f[0], bufferSize(f[0]), f[1], bufferSize(f[1]), f[2], bufferSize(f[2]),
                    f[3], bufferSize(f[3]), f[4], bufferSize(f[4]), f[5], bufferSize(f[5]), f[6],
                    bufferSize(f[6]), uid);
}

int scanUdp6(const char* line, int* uid) {
    char slot[kShortField], local[kLongField], remote[kLongField], state[kShortField];
    char queues[kLongField], timer[kLongField], retransmits[kLongField];
    return sscanf_s(line, kUdp6Format, slot, bufferSize(slot), local, bufferSize(local), remote,
                    bufferSize(remote), state, bufferSize(state), queues, bufferSize(queues), timer,
                    bufferSize(timer), retransmits, bufferSize(retransmits), uid);
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
            ALOGI("%s", failure);
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
            if (opened == Open::kOpenFailed) ALOGI("fopen /proc/net/udp fail!");
            return std::nullopt;
        }
        if (!countUdpSockets(udp.get(), scanUdp4, "sscanf_s /proc/net/udp fail!", uid, &stats)) {
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
    if (!countUdpSockets(udp6.get(), scanUdp6, "sscanf_s /proc/net/udp6 fail!", uid, &stats)) {
        return std::nullopt;
    }
    if (udp6.close() != 0) return std::nullopt;
    return stats;
}

jobject readUdpNetworkStatsDetail(JNIEnv* env, const TrafficStatsPaths& paths, int uid, int networkType) {
    std::optional<UdpNetworkStats> stats = readUdpNetworkStats(paths, uid, networkType);
    if (!stats) return nullptr;

    ScopedLocalRef<jclass> clazz(env, env->FindClass(kUdpNetworkInfoClass));
    if (clazz.get() == nullptr) return nullptr;
    jmethodID constructor = env->GetMethodID(clazz.get(), "<init>", "()V");
    if (constructor == nullptr) return nullptr;
    ScopedLocalRef<jobject> info(env, env->NewObject(clazz.get(), constructor));
    if (info.get() == nullptr) return nullptr;

    jfieldID ids[kResultFieldCount];
    for (size_t field = 0; field < kResultFieldCount; ++field) {
        ids[field] = env->GetFieldID(clazz.get(), kResultFields[field].name, kResultFields[field].signature);
        if (ids[field] == nullptr) return nullptr;  // NoSuchFieldError is pending
    }
    jobject object = info.get();
    env->SetIntField(object, ids[kFieldUid], stats->uid);
    env->SetIntField(object, ids[kFieldUidUdpSockets], stats->uidUdpSockets);
    env->SetIntField(object, ids[kFieldSumUdpUids], stats->sumUdpUids);
    env->SetIntField(object, ids[kFieldSumUdpSockets], stats->sumUdpSockets);
    // Java longs carry the unsigned totals bit for bit.
    auto setLong = [&](ResultField field, uint64_t value) {
        env->SetLongField(object, ids[field], static_cast<jlong>(value));
    };
    setLong(kFieldRxTcpBytes, stats->rxTcpBytes);
    setLong(kFieldRxTcpPackets, stats->rxTcpPackets);
    setLong(kFieldTxTcpBytes, stats->txTcpBytes);
    setLong(kFieldTxTcpPackets, stats->txTcpPackets);
    setLong(kFieldRxUdpBytes, stats->rxUdpBytes);
    setLong(kFieldRxUdpPackets, stats->rxUdpPackets);
    setLong(kFieldTxUdpBytes, stats->txUdpBytes);
    setLong(kFieldTxUdpPackets, stats->txUdpPackets);
    setLong(kFieldSumRxPackets, stats->sumRxPackets);
    return info.release();
}

std::array<uint64_t, 2> currTotalTraffic() {
    StateLock lock;
    return {gTotalTraffic[0], gTotalTraffic[1]};
}

}  // namespace mqqoe

// ---- JNI glue ----

jobject com_android_server_nativeReadUdpNetworkStatsDetail(JNIEnv* env, jclass, jint uid, jint networkType) {
    return mqqoe::readUdpNetworkStatsDetail(env, mqqoe::kProcTrafficStatsPaths, uid, networkType);
}

jlongArray getCurrTotalTraffic(JNIEnv* env, jobject) {
    if (env == nullptr) return nullptr;
    jlongArray totals = env->NewLongArray(2);
    if (totals == nullptr) return nullptr;
    jlong* elements = env->GetLongArrayElements(totals, nullptr);
    if (elements != nullptr) {
        std::array<uint64_t, 2> traffic = mqqoe::currTotalTraffic();
        elements[0] = static_cast<jlong>(traffic[0]);
        elements[1] = static_cast<jlong>(traffic[1]);
        env->ReleaseLongArrayElements(totals, elements, 0);
    }
    return totals;
}
