#include "FakeJni.h"

#include <cstdarg>
#include <cstring>

namespace mqqoe::testing {
namespace {
FakeJni* gInstance = nullptr;
}  // namespace

FakeJni::FakeJni() {
    mFunctions.NewGlobalRef = newGlobalRef;
    mFunctions.DeleteGlobalRef = deleteGlobalRef;
    mFunctions.DeleteLocalRef = deleteLocalRef;
    mFunctions.GetObjectClass = getObjectClass;
    mFunctions.GetStaticMethodID = getStaticMethodId;
    mFunctions.CallStaticVoidMethodV = callStaticVoidMethodV;
    mEnv.functions = &mFunctions;
    mInvoke.AttachCurrentThread = attach;
    mInvoke.DetachCurrentThread = detach;
    mVm.functions = &mInvoke;
    gInstance = this;
}

FakeJni::~FakeJni() { gInstance = nullptr; }

FakeJni& FakeJni::self() { return *gInstance; }

void FakeJni::setCallbackMissing(bool missing) {
    std::lock_guard<std::mutex> guard(mLock);
    mCallbackMissing = missing;
}

void FakeJni::setAttachFails(bool fails) {
    std::lock_guard<std::mutex> guard(mLock);
    mAttachFails = fails;
}

std::vector<StallReport> FakeJni::callbacks() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mCallbacks;
}

bool FakeJni::waitCallbacks(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mLock);
    return mChanged.wait_for(lock, timeout, [&] { return mCallbacks.size() >= count; });
}

int FakeJni::liveGlobalRefs() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mGlobalRefs;
}

int FakeJni::liveLocalRefs() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mLocalRefs;
}

int FakeJni::attachedThreads() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mAttached;
}

jobject FakeJni::newGlobalRef(JNIEnv*, jobject ref) {
    std::lock_guard<std::mutex> guard(self().mLock);
    ++self().mGlobalRefs;
    return ref;
}

void FakeJni::deleteGlobalRef(JNIEnv*, jobject) {
    std::lock_guard<std::mutex> guard(self().mLock);
    --self().mGlobalRefs;
}

void FakeJni::deleteLocalRef(JNIEnv*, jobject) {
    std::lock_guard<std::mutex> guard(self().mLock);
    --self().mLocalRefs;
}

jclass FakeJni::getObjectClass(JNIEnv*, jobject) {
    std::lock_guard<std::mutex> guard(self().mLock);
    ++self().mLocalRefs;
    return reinterpret_cast<jclass>(&self().mClassToken);
}

jmethodID FakeJni::getStaticMethodId(JNIEnv*, jclass, const char* name, const char* signature) {
    std::lock_guard<std::mutex> guard(self().mLock);
    bool wanted = std::strcmp(name, "handleReportStallInfo") == 0 && std::strcmp(signature, "(IIIZ)V") == 0;
    return wanted && !self().mCallbackMissing ? reinterpret_cast<jmethodID>(&self().mMethodToken) : nullptr;
}

void FakeJni::callStaticVoidMethodV(JNIEnv*, jclass, jmethodID, va_list args) {
    StallReport report{};
    report.value = va_arg(args, jint);
    report.scene = va_arg(args, jint);
    report.kind = va_arg(args, jint);
    report.flag = va_arg(args, int) != 0;  // jboolean arrives promoted
    {
        std::lock_guard<std::mutex> guard(self().mLock);
        self().mCallbacks.push_back(report);
    }
    self().mChanged.notify_all();
}

jint FakeJni::attach(JavaVM*, void** env, void*) {
    std::lock_guard<std::mutex> guard(self().mLock);
    if (self().mAttachFails) return JNI_ERR;
    ++self().mAttached;
    *env = &self().mEnv;
    return JNI_OK;
}

jint FakeJni::detach(JavaVM*) {
    std::lock_guard<std::mutex> guard(self().mLock);
    --self().mAttached;
    return JNI_OK;
}

}  // namespace mqqoe::testing
