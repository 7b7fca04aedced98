// The stall detection session: the start/stop commands and their status
// machine, the per-scene reporting rules, the worker thread and the report to
// Java.

#include "StallSession.h"

#include <android/log.h>
#include <pthread.h>

#include <climits>
#include <cstdint>

#include "NetlinkHandler.h"
#include "ZvQoE_jni.h"

namespace mqqoe {
namespace {

constexpr int kVoiceCallSpanMs = 5000;
constexpr int kDefaultSpanMs = 6000;
constexpr int kAwemeParamBits = 4;
constexpr uint32_t kAwemeParamMask = 0xF;

constexpr const char* kCallbackName = "handleReportStallInfo";
constexpr const char* kCallbackSignature = "(IIIZ)V";

void logInfo(const char* message) { __android_log_print(ANDROID_LOG_INFO, kLogTag, "%s", message); }

int stopAlgo(const SessionValues& values) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "stop AI algo: uid [%d], appScene [%d]", values.uid,
                        values.appScene);
    StateLock lock;
    if (gDetectStatus != kDetectRunning) return -1;
    gDetectStatus = kDetectStopAlgo;
    return 0;
}

// Does not wait for the worker: it sees the status at its next pass, or the
// missing adapter reference at its next report.
int stopSession(JNIEnv* env, const SessionValues& values) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "stop stall detect: uid [%d], appScene [%d]", values.uid,
                        values.appScene);
    StateLock lock;
    if (gDetectStatus != kDetectStopped) gDetectStatus = kDetectStopRequested;
    if (gAdapterRef == nullptr) return -1;
    env->DeleteGlobalRef(gAdapterRef);
    gAdapterRef = nullptr;
    return 0;
}

[[nodiscard]] bool startDetached(WorkerEntry worker) {
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) return false;
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int err = pthread_create(&thread, &attr, worker, nullptr);
    pthread_attr_destroy(&attr);
    return err == 0;
}

int startSession(JNIEnv* env, jobject adapter, const SessionValues& values, WorkerEntry worker) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag,
                        "start stall detect: uid [%d], appScene [%d], algoType [%d], userType [%d]", values.uid,
                        values.appScene, values.algoType, values.userType);
    {
        StateLock lock;
        if (gAdapterRef == nullptr) gAdapterRef = env->NewGlobalRef(adapter);
    }
    StateLock lock;
    // Stored even when the start is refused below.
    gStallUid = values.uid;
    gStallAppScene = values.appScene;
    gStallAlgoType = values.algoType;
    gStallUserType = values.userType;
    if (gDetectStatus != kDetectStopped) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "last monotor is not stopped,detectStatus = %d", gDetectStatus);
        return -1;
    }
    // The worker's first step waits for this lock, so it sees the running status.
    if (!startDetached(worker)) {
        logInfo("pthread_create fail");
        return -1;
    }
    gDetectStatus = kDetectRunning;
    return 0;
}

// The production reporter: the Java callback on the worker's environment.
class JniStallReporter : public StallReporter {
public:
    explicit JniStallReporter(JNIEnv* env) : mEnv(env) {}
    int report(const StallReport& r) override {
        return HandleReportStallEvent(mEnv, r.value, r.scene, r.kind, r.flag);
    }

private:
    JNIEnv* mEnv;
};

// The adapter object's class, read under the state mutex; `stopped` tells
// that no adapter is held because the session was stopped.
jclass adapterClass(JNIEnv* env, bool* stopped) {
    StateLock lock;
    *stopped = gAdapterRef == nullptr;
    return *stopped ? nullptr : env->GetObjectClass(gAdapterRef);
}

}  // namespace

int stallDetectCommand(JNIEnv* env, jobject adapter, int command, const SessionValues& values, WorkerEntry worker) {
    switch (command) {
        case kStallCmdStopAlgo:
            return stopAlgo(values);
        case kStallCmdStop:
            return stopSession(env, values);
        case kStallCmdStart:
            return startSession(env, adapter, values, worker);
        default:
            return -1;
    }
}

bool isShortVideoScene(int scene) {
    return scene == kSceneShortVideo || scene == kSceneShortVideoPicture || scene == kSceneShortVideoKey;
}

std::array<int, 8> unpackAwemeParams(int32_t algoType) {
    const auto bits = static_cast<uint32_t>(algoType);
    std::array<int, 8> params{};
    for (size_t i = 0; i < params.size(); ++i) {
        params[i] = static_cast<int>((bits >> (kAwemeParamBits * i)) & kAwemeParamMask);
    }
    return params;
}

int reportingThreshold(int scene, int32_t intervalMs) {
    const int span = scene == kSceneVoiceCall ? kVoiceCallSpanMs : kDefaultSpanMs;
    const int interval = intervalMs > 0 ? intervalMs : session_detail::kDefaultIntervalMs;
    return span / interval;
}

int takeCurFrameDetectResult() {
    StateLock lock;
    int result = gCurFrameDetectResult;
    gCurFrameDetectResult = 0;
    return result;
}

SessionValues takeSessionValues() {
    StateLock lock;
    return {gStallUid, gStallAppScene, gStallAlgoType, gStallUserType};
}

void markSessionStopped() {
    StateLock lock;
    gDetectStatus = kDetectStopped;
}

StallReportRule::StallReportRule(int scene, int32_t intervalMs)
    : mScene(scene), mThreshold(reportingThreshold(scene, intervalMs)) {}

bool StallReportRule::onResult(int outBytes, int inBytes, int result, bool flag, StallReport* report) {
    if (mScene == kSceneVoiceCall || mScene == kSceneVideoCall) {
        if (noTrafficRule(outBytes, inBytes, flag, report)) return true;
        return mScene == kSceneVideoCall ? frameRule(result, flag, report) : genericRule(result, flag, report);
    }
    if (mScene == kSceneShortVideo && flag) {
        *report = {result, mScene, kReportKindStall, true};
        return true;
    }
    return genericRule(result, flag, report);
}

// Every pass from the N-th without traffic on reports, until traffic returns.
bool StallReportRule::noTrafficRule(int outBytes, int inBytes, bool flag, StallReport* report) {
    if (static_cast<int64_t>(outBytes) + inBytes == 0) {
        if (mNoTrafficCount < INT_MAX) ++mNoTrafficCount;
    } else {
        mNoTrafficCount = 0;
    }
    if (mNoTrafficCount < mThreshold) return false;
    *report = {1, mScene, kReportKindStall, flag};
    return true;
}

// Heavy traffic (2) holds the frame result back for a few passes after a
// normal one (0); a stall, or heavy traffic that lasts, passes it on.
bool StallReportRule::frameRule(int result, bool flag, StallReport* report) {
    const int frameResult = takeCurFrameDetectResult();
    int value = 0;
    if (result == 0) {
        mFrameHoldCount = 0;
    } else if (result == 2 && mFrameHoldCount < kFrameHoldLimit) {
        ++mFrameHoldCount;
    } else {
        if (result != 2) mFrameHoldCount = kFrameHoldLimit;
        value = frameResult;
    }
    if (value == 0) return false;
    *report = {value, mScene, kReportKindFrame, flag};
    return true;
}

// At most one report per N passes, on a pass whose result is not normal.
bool StallReportRule::genericRule(int result, bool flag, StallReport* report) {
    if (mGenericCount < mThreshold) ++mGenericCount;
    if (result == 0 || mGenericCount != mThreshold) return false;
    *report = {0, mScene, kReportKindStall, flag};
    mGenericCount = 0;
    return true;
}

}  // namespace mqqoe

using mqqoe::kLogTag;

void* StallDetectThread(void* /*unused*/) {
    JavaVM* vm = gJavaVm;
    JNIEnv* env = nullptr;
    if (vm != nullptr && (vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) != JNI_OK ||
                          env == nullptr)) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "AttachCurrentThread fail");
        env = nullptr;
    }
    mqqoe::JniStallReporter reporter(env);
    mqqoe::SessionEnd end =
            mqqoe::runStallSession(NetlinkHandler::Instance(), env != nullptr ? &reporter : nullptr);
    if (end == mqqoe::SessionEnd::kLoopEnded) {
        if (vm == nullptr || vm->DetachCurrentThread() != JNI_OK) {
            __android_log_print(ANDROID_LOG_INFO, kLogTag, "DetachCurrentThread fail");
        }
    } else if (env != nullptr) {
        vm->DetachCurrentThread();
    }
    return nullptr;
}

int HandleReportStallEvent(JNIEnv* env, int value, int scene, int kind, bool flag) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "handleReportStallEvent enter");
    bool stopped = false;
    jclass clazz = mqqoe::adapterClass(env, &stopped);
    if (stopped) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "handleReportStallEvent call stop,exit");
        return -1;
    }
    if (clazz == nullptr) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "java_ZvQoEWeChatScene is NULL");
        return -1;
    }
    // Looked up on every report: the adapter's class may change between sessions.
    jmethodID callback = env->GetStaticMethodID(clazz, mqqoe::kCallbackName, mqqoe::kCallbackSignature);
    if (callback == nullptr) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "ReportStallInfo is NULL");
        return -1;
    }
    // An exception thrown by the callback stays pending; the service's
    // handler is not expected to throw.
    env->CallStaticVoidMethod(clazz, callback, value, scene, kind, static_cast<jboolean>(flag));
    env->DeleteLocalRef(clazz);
    return 0;
}

jint sendQoeStallDetectCmd(JNIEnv* env, jobject thiz, jint command, jint uid, jint appScene, jint algoType,
                           jint userType) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "sendQoeStallDetectCmd. begin");
    if (env == nullptr) return -1;
    return mqqoe::stallDetectCommand(env, thiz, command, {uid, appScene, algoType, userType}, StallDetectThread);
}
