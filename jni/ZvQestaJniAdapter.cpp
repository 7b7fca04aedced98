// Natives of com.android.server.qesta.ZvQestaJniAdapter: the twelve
// registered by JNI_OnLoad, and the three clustering entry points found by
// their exported names. Each converts its arguments and results; the work is
// done by the plain C++ below jni/.

#include <optional>
#include <string>

#include "BridgeLog.h"
#include "MonitorCommand.h"
#include "ScopedJni.h"
#include "StallSessionGlue.h"
#include "TrafficStats.h"
#include "WmpCoreGlue.h"
#include "ZvQoE_jni.h"
#include "ZvQoeUdpNetworkInfo.h"

using namespace mqqoe;

namespace {

constexpr char kHelpTag[] = "JNIHelp";

static_assert(sizeof(jint) == sizeof(int32_t) && sizeof(jlong) == sizeof(int64_t), "Java int and long widths");

jobject com_android_server_nativeReadUdpNetworkStatsDetail(JNIEnv* env, jclass, jint uid, jint networkType) {
    std::optional<UdpNetworkStats> stats = readUdpNetworkStats(kProcTrafficStatsPaths, uid, networkType);
    return stats ? newUdpNetworkInfo(env, *stats) : nullptr;
}

jintArray sendQoeCmd(JNIEnv* env, jobject, jint command, jint argument) {
    std::optional<QoeReply> reply = sendQoeCommand(command, argument);
    if (!reply) return nullptr;
    jintArray array = env->NewIntArray(static_cast<jsize>(reply->size()));
    if (array == nullptr) return nullptr;
    env->SetIntArrayRegion(array, 0, static_cast<jsize>(reply->size()), reply->data());
    return array;
}

jint setDpiMarkRule(JNIEnv*, jobject, jint first, jint second, jint enable) {
    return policyChannel().setDpiMarkRule(first, second, enable);
}

jint resetProcessSockets(JNIEnv*, jobject, jint uid) { return policyChannel().resetProcessSockets(uid); }

jint closeProcessSockets(JNIEnv*, jobject, jint first, jint second) {
    return policyChannel().closeProcessSockets(first, second);
}

jint bindUidProcessToNetwork(JNIEnv*, jobject, jint netId, jint uid) {
    return policyChannel().bindUidProcessToNetwork(netId, uid);
}

jint handleSocketStrategy(JNIEnv*, jobject, jint strategy, jint uid) {
    QLOGI("handleSocketStrategy uid of %d , strategy of %d \n", uid, strategy);
    return 0;
}

jint sendQoeStallDetectCmd(JNIEnv* env, jobject thiz, jint command, jint uid, jint appScene, jint algoType,
                           jint userType) {
    QLOGI("sendQoeStallDetectCmd. begin");
    if (env == nullptr) return -1;
    const SessionValues values{uid, appScene, algoType, userType};
    switch (command) {
        case kStallCmdStopAlgo:
            return stallSession().stopAlgo(values);
        case kStallCmdStop:
            return stallSession().stop(values);
        case kStallCmdStart:
            return stallSession().start(values, [env, thiz] { return newJavaStallCallback(env, thiz); });
        default:
            return -1;
    }
}

jlongArray getCurrTotalTraffic(JNIEnv* env, jobject) {
    if (env == nullptr) return nullptr;
    jlongArray totals = env->NewLongArray(2);
    if (totals == nullptr) return nullptr;
    jlong* elements = env->GetLongArrayElements(totals, nullptr);
    if (elements != nullptr) {
        const SessionSnapshot session = stallSession().snapshot();
        elements[0] = static_cast<jlong>(session.totalOut);
        elements[1] = static_cast<jlong>(session.totalIn);
        env->ReleaseLongArrayElements(totals, elements, 0);
    }
    return totals;
}

jint startFrameDetect(JNIEnv*, jobject, jint appScene) { return frameDetection().start(appScene); }

jint stopFrameDetect(JNIEnv*, jobject) { return frameDetection().stop(); }

jint getCurFrameDetectResult(JNIEnv*, jobject) { return frameDetection().currentResult(); }

// The JDK's JNINativeMethod takes non-const strings; the table never changes them.
constexpr JNINativeMethod method(const char* name, const char* signature, void* fn) {
    return {const_cast<char*>(name), const_cast<char*>(signature), fn};
}

const JNINativeMethod gMethods[] = {
    method("nativeReadUdpNetworkStatsDetail", "(II)Lcom/android/server/qesta/ZvQoeUdpNetworkInfo;", reinterpret_cast<void*>(com_android_server_nativeReadUdpNetworkStatsDetail)),
    method("nativeSendQoeCmd", "(II)[I", reinterpret_cast<void*>(sendQoeCmd)),
    method("nativeSetDpiMarkRule", "(III)I", reinterpret_cast<void*>(setDpiMarkRule)),
    method("nativeResetProcessSockets", "(I)I", reinterpret_cast<void*>(resetProcessSockets)),
    method("nativeCloseProcessSockets", "(II)I", reinterpret_cast<void*>(closeProcessSockets)),
    method("nativeBindUidProcessToNetwork", "(II)I", reinterpret_cast<void*>(bindUidProcessToNetwork)),
    method("nativeHandleSocketStrategy", "(II)I", reinterpret_cast<void*>(handleSocketStrategy)),
    method("nativeSendQoeStallDetectCmd", "(IIIII)I", reinterpret_cast<void*>(sendQoeStallDetectCmd)),
    method("nativeGetCurrTotalTraffic", "()[J", reinterpret_cast<void*>(getCurrTotalTraffic)),
    method("nativeStartFrameDetect", "(I)I", reinterpret_cast<void*>(startFrameDetect)),
    method("nativeStopFrameDetect", "()I", reinterpret_cast<void*>(stopFrameDetect)),
    method("nativeGetCurFrameDetectResult", "()I", reinterpret_cast<void*>(getCurFrameDetectResult)),
};

}  // namespace

int register_jni_method(JNIEnv* env) {
    ScopedLocalRef<jclass> clazz(env, env->FindClass(kAdapterClass));
    if (clazz.get() == nullptr) {
        __android_log_assert("clazz == NULL", kHelpTag, "Native registration unable to find class '%s'; aborting...",
                             kAdapterClass);
    }
    int result = env->RegisterNatives(clazz.get(), gMethods, sizeof(gMethods) / sizeof(gMethods[0]));
    clazz.reset();
    if (result == JNI_OK) return 0;
    if (env->ExceptionCheck()) {
        const std::string summary = describePendingException(env);
        __android_log_print(ANDROID_LOG_FATAL, kHelpTag, "%s", summary.c_str());
    }
    __android_log_print(ANDROID_LOG_FATAL, kHelpTag, "RegisterNatives failed for '%s'; aborting...", kAdapterClass);
    return result;
}

extern "C" JNIEXPORT jstring JNICALL Java_com_android_server_qesta_ZvQestaJniAdapter_nativeWmpCoreClusterData(
        JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runWmpPipeline(env, rawFingers, params, WmpPipeline::kTrainDataStr);
}

extern "C" JNIEXPORT jstring JNICALL Java_com_android_server_qesta_ZvQestaJniAdapter_nativeGetWmpCoreTrainData(
        JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runWmpPipeline(env, rawFingers, params, WmpPipeline::kGetCoreData);
}

extern "C" JNIEXPORT jstring JNICALL Java_com_android_server_qesta_ZvQestaJniAdapter_nativeWmpCoreTrainData(
        JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runWmpPipeline(env, rawFingers, params, WmpPipeline::kTrainData);
}
