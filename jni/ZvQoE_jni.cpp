// Library entry: JNI version check, native registration and the process-wide state.

#include "ZvQoE_jni.h"

#include <android/log.h>

#include <string>

#include "FrameDetectListener.h"
#include "ScopedJni.h"

using mqqoe::kLogTag;

JavaVM* gJavaVm = nullptr;
pthread_mutex_t gStateMutex = PTHREAD_MUTEX_INITIALIZER;
int gKernelSocket = -1;
int32_t gStallUid = -1;
int32_t gStallAppScene = -1;
int32_t gStallAlgoType = -1;
int32_t gStallUserType = -1;
int32_t gDetectStatus = mqqoe::kDetectStopped;
jobject gAdapterRef = nullptr;
unsigned long gTotalTraffic[2] = {0, 0};
int32_t gCurFrameDetectResult = 0;
// Starts null; its destructor runs at process exit.
android::sp<VeltroFrameDetectListener> gFrameDetectListener;

namespace {

constexpr const char* kHelpTag = "JNIHelp";

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

// Text of a Java string, or `fallback` when it cannot be had.
std::string javaString(JNIEnv* env, jstring text, const char* fallback) {
    if (text == nullptr) return fallback;
    ScopedUtfChars chars(env, text);
    return chars.c_str() != nullptr ? chars.c_str() : fallback;
}

// "<class name>: <message>" of the pending exception, which is cleared.
std::string describePendingException(JNIEnv* env) {
    ScopedLocalRef<jthrowable> exception(env, env->ExceptionOccurred());
    env->ExceptionClear();
    ScopedLocalRef<jclass> exceptionClass(env, env->GetObjectClass(exception.get()));
    ScopedLocalRef<jclass> classClass(env, env->FindClass("java/lang/Class"));
    std::string summary = "<error getting class name>";
    jmethodID getName = classClass.get() != nullptr
                                ? env->GetMethodID(classClass.get(), "getName", "()Ljava/lang/String;")
                                : nullptr;
    if (getName != nullptr) {
        ScopedLocalRef<jstring> name(env,
                                     static_cast<jstring>(env->CallObjectMethod(exceptionClass.get(), getName)));
        if (name.get() != nullptr) summary = javaString(env, name.get(), "<error getting class name UTF-8>");
    }
    env->ExceptionClear();
    std::string message = "<error getting message>";
    jmethodID getMessage = env->GetMethodID(exceptionClass.get(), "getMessage", "()Ljava/lang/String;");
    if (getMessage != nullptr) {
        ScopedLocalRef<jstring> text(env, static_cast<jstring>(env->CallObjectMethod(exception.get(), getMessage)));
        message = javaString(env, text.get(), "<error getting message>");
    }
    env->ExceptionClear();
    return summary + ": " + message;
}

}  // namespace

int register_jni_method(JNIEnv* env) {
    ScopedLocalRef<jclass> clazz(env, env->FindClass(mqqoe::kAdapterClass));
    if (clazz.get() == nullptr) {
        __android_log_assert("clazz == NULL", kHelpTag, "Native registration unable to find class '%s'; aborting...",
                             mqqoe::kAdapterClass);
    }
    int result = env->RegisterNatives(clazz.get(), gMethods, sizeof(gMethods) / sizeof(gMethods[0]));
    clazz.reset();
    if (result == JNI_OK) return 0;
    if (env->ExceptionCheck()) {
        std::string summary = describePendingException(env);
        __android_log_print(ANDROID_LOG_FATAL, kHelpTag, "%s", summary.c_str());
    }
    __android_log_print(ANDROID_LOG_FATAL, kHelpTag, "RegisterNatives failed for '%s'; aborting...",
                        mqqoe::kAdapterClass);
    return result;
}
