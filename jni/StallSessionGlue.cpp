#include "StallSessionGlue.h"

#include "BridgeLog.h"
#include "ScopedJni.h"
#include "ZvQoE_jni.h"

namespace mqqoe {
namespace {

constexpr char kCallbackName[] = "handleReportStallInfo";
constexpr char kCallbackSignature[] = "(IIIZ)V";

// The calling thread's environment; every thread that uses the callback
// (a service thread or the attached worker) has one.
JNIEnv* currentEnv() {
    JNIEnv* env = nullptr;
    if (gJavaVm == nullptr || gJavaVm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK) {
        return nullptr;
    }
    return env;
}

class JavaStallCallback : public StallCallback {
public:
    JavaStallCallback(JNIEnv* env, jobject adapter) : mAdapter(env->NewGlobalRef(adapter)) {}
    ~JavaStallCallback() override {
        JNIEnv* env = currentEnv();
        if (env != nullptr && mAdapter != nullptr) env->DeleteGlobalRef(mAdapter);
    }
    JavaStallCallback(const JavaStallCallback&) = delete;
    JavaStallCallback& operator=(const JavaStallCallback&) = delete;

    int call(const StallReport& report) override {
        JNIEnv* env = currentEnv();
        if (env == nullptr) return -1;
        ScopedLocalRef<jclass> clazz(env, env->GetObjectClass(mAdapter));
        if (clazz.get() == nullptr) {
            QLOGI("java_ZvQoEWeChatScene is NULL");
            return -1;
        }
        // Looked up on every report: the adapter's class may change between sessions.
        jmethodID callback = env->GetStaticMethodID(clazz.get(), kCallbackName, kCallbackSignature);
        if (callback == nullptr) {
            env->ExceptionClear();  // NoSuchMethodError
            QLOGI("ReportStallInfo is NULL");
            return -1;
        }
        env->CallStaticVoidMethod(clazz.get(), callback, report.value, report.scene, report.kind,
                                  static_cast<jboolean>(report.flag));
        // Nothing more may be asked of the VM with an exception pending: it is
        // logged once and cleared, and the session goes on.
        if (env->ExceptionCheck()) {
            const std::string thrown = describePendingException(env);
            QLOGI("handleReportStallInfo threw %s", thrown.c_str());
        }
        return 0;
    }

private:
    jobject mAdapter;
};

}  // namespace

bool JavaWorkerVm::attach() {
    if (gJavaVm == nullptr) return false;
    JNIEnv* env = nullptr;
    if (gJavaVm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) != JNI_OK || env == nullptr) {
        QLOGI("AttachCurrentThread fail");
        return false;
    }
    return true;
}

void JavaWorkerVm::detach(bool logFailure) {
    if ((gJavaVm == nullptr || gJavaVm->DetachCurrentThread() != JNI_OK) && logFailure) {
        QLOGI("DetachCurrentThread fail");
    }
}

std::shared_ptr<StallCallback> newJavaStallCallback(JNIEnv* env, jobject adapter) {
    return std::make_shared<JavaStallCallback>(env, adapter);
}

}  // namespace mqqoe
