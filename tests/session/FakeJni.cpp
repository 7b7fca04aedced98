#include "FakeJni.h"

#include <cstdarg>
#include <cstring>

namespace mqqoe::testing {
namespace {
FakeJni* gInstance = nullptr;
}  // namespace

FakeJni& FakeJni::self() { return *gInstance; }

// The JNI entries below are captureless lambdas; they reach the one instance through self().
FakeJni::FakeJni() {
    mFunctions.NewGlobalRef = [](JNIEnv*, jobject ref) {
        std::lock_guard<std::mutex> guard(self().mLock);
        ++self().mGlobalRefs;
        return ref;
    };
    mFunctions.DeleteGlobalRef = [](JNIEnv*, jobject) {
        std::lock_guard<std::mutex> guard(self().mLock);
        --self().mGlobalRefs;
    };
    mFunctions.DeleteLocalRef = [](JNIEnv*, jobject) {
        std::lock_guard<std::mutex> guard(self().mLock);
        --self().mLocalRefs;
    };
    mFunctions.GetObjectClass = [](JNIEnv*, jobject) {
        std::lock_guard<std::mutex> guard(self().mLock);
        ++self().mLocalRefs;
        return reinterpret_cast<jclass>(&self().mClassToken);
    };
    mFunctions.GetStaticMethodID = [](JNIEnv*, jclass, const char* name, const char* signature) {
        std::lock_guard<std::mutex> guard(self().mLock);
        bool wanted = std::strcmp(name, "handleReportStallInfo") == 0 && std::strcmp(signature, "(IIIZ)V") == 0;
        return wanted && !self().mCallbackMissing ? reinterpret_cast<jmethodID>(&self().mMethodToken) : nullptr;
    };
    mFunctions.CallStaticVoidMethodV = [](JNIEnv*, jclass, jmethodID, va_list args) {
        StallReport report{};
        report.value = va_arg(args, jint);
        report.scene = va_arg(args, jint);
        report.kind = va_arg(args, jint);
        report.flag = va_arg(args, int) != 0;  // jboolean arrives promoted
        std::lock_guard<std::mutex> guard(self().mLock);
        self().mCallbacks.push_back(report);
        self().mChanged.notify_all();
    };
    mEnv.functions = &mFunctions;
    mInvoke.AttachCurrentThread = [](JavaVM*, void** env, void*) -> jint {
        std::lock_guard<std::mutex> guard(self().mLock);
        if (self().mAttachFails) return JNI_ERR;
        ++self().mAttached;
        *env = &self().mEnv;
        return JNI_OK;
    };
    mInvoke.DetachCurrentThread = [](JavaVM*) -> jint {
        std::lock_guard<std::mutex> guard(self().mLock);
        --self().mAttached;
        return JNI_OK;
    };
    mVm.functions = &mInvoke;
    gInstance = this;
}

FakeJni::~FakeJni() { gInstance = nullptr; }

bool FakeJni::waitCallbacks(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mLock);
    return mChanged.wait_for(lock, timeout, [&] { return mCallbacks.size() >= count; });
}

}  // namespace mqqoe::testing
