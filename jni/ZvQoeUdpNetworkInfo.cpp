#include "ZvQoeUdpNetworkInfo.h"

#include "ScopedJni.h"

namespace mqqoe {
namespace {

constexpr char kUdpNetworkInfoClass[] = "com/android/server/qesta/ZvQoeUdpNetworkInfo";

// Fields of the result object, in the order their ids are looked up.
enum Field {
    kRxUdpBytes, kRxUdpPackets, kTxUdpBytes, kTxUdpPackets,
    kUid, kUidUdpSockets, kSumUdpUids, kSumUdpSockets,
    kSumRxPackets, kRxTcpBytes, kRxTcpPackets, kTxTcpBytes, kTxTcpPackets,
    kFieldCount,
};

constexpr struct {
    const char* name;
    const char* signature;
} kFields[kFieldCount] = {
        {"mRxUdpBytes", "J"},    {"mRxUdpPackets", "J"},  {"mTxUdpBytes", "J"},    {"mTxUdpPackets", "J"},
        {"mUid", "I"},           {"mUidUdpSockets", "I"}, {"mSumUdpUids", "I"},    {"mSumUdpSockets", "I"},
        {"mSumRxPackets", "J"},  {"mRxTcpBytes", "J"},    {"mRxTcpPackets", "J"},  {"mTxTcpBytes", "J"},
        {"mTxTcpPackets", "J"},
};

}  // namespace

jobject newUdpNetworkInfo(JNIEnv* env, const UdpNetworkStats& stats) {
    ScopedLocalRef<jclass> clazz(env, env->FindClass(kUdpNetworkInfoClass));
    if (clazz.get() == nullptr) return nullptr;
    jmethodID constructor = env->GetMethodID(clazz.get(), "<init>", "()V");
    if (constructor == nullptr) return nullptr;
    ScopedLocalRef<jobject> info(env, env->NewObject(clazz.get(), constructor));
    if (info.get() == nullptr) return nullptr;

    jfieldID ids[kFieldCount];
    for (size_t field = 0; field < kFieldCount; ++field) {
        ids[field] = env->GetFieldID(clazz.get(), kFields[field].name, kFields[field].signature);
        if (ids[field] == nullptr) return nullptr;  // NoSuchFieldError is pending
    }
    jobject object = info.get();
    env->SetIntField(object, ids[kUid], stats.uid);
    env->SetIntField(object, ids[kUidUdpSockets], stats.uidUdpSockets);
    env->SetIntField(object, ids[kSumUdpUids], stats.sumUdpUids);
    env->SetIntField(object, ids[kSumUdpSockets], stats.sumUdpSockets);
    // Java longs carry the unsigned totals bit for bit.
    const struct {
        Field field;
        uint64_t value;
    } longs[] = {
            {kRxTcpBytes, stats.rxTcpBytes}, {kRxTcpPackets, stats.rxTcpPackets}, {kTxTcpBytes, stats.txTcpBytes},
            {kTxTcpPackets, stats.txTcpPackets}, {kRxUdpBytes, stats.rxUdpBytes}, {kRxUdpPackets, stats.rxUdpPackets},
            {kTxUdpBytes, stats.txUdpBytes}, {kTxUdpPackets, stats.txUdpPackets}, {kSumRxPackets, stats.sumRxPackets},
    };
    for (const auto& l : longs) env->SetLongField(object, ids[l.field], static_cast<jlong>(l.value));
    return info.release();
}

}  // namespace mqqoe
