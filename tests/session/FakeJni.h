#pragma once
// A Java VM just large enough for the stall session: global and local
// references as counted tokens, the adapter's class, the static callback and
// thread attach/detach. One instance per process (the JNI tables carry no
// user pointer).

#include <jni.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "StallSession.h"

namespace mqqoe::testing {

class FakeJni {
public:
    FakeJni();
    ~FakeJni();
    FakeJni(const FakeJni&) = delete;
    FakeJni& operator=(const FakeJni&) = delete;

    JNIEnv* env() { return &mEnv; }
    JavaVM* vm() { return &mVm; }
    // Any non-null object stands for the adapter.
    jobject adapter() { return reinterpret_cast<jobject>(&mAdapterToken); }

    void setCallbackMissing(bool missing) {
        std::lock_guard<std::mutex> guard(mLock);
        mCallbackMissing = missing;
    }
    void setAttachFails(bool fails) {
        std::lock_guard<std::mutex> guard(mLock);
        mAttachFails = fails;
    }

    // Callbacks received, oldest first.
    std::vector<StallReport> callbacks() const { return locked(mCallbacks); }
    bool waitCallbacks(size_t count, std::chrono::milliseconds timeout) const;
    int liveGlobalRefs() const { return locked(mGlobalRefs); }
    int liveLocalRefs() const { return locked(mLocalRefs); }
    int attachedThreads() const { return locked(mAttached); }

private:
    static FakeJni& self();
    // A copy of a member, taken under the lock.
    template <typename T>
    T locked(const T& member) const {
        std::lock_guard<std::mutex> guard(mLock);
        return member;
    }

    JNINativeInterface_ mFunctions{};
    JNIInvokeInterface_ mInvoke{};
    JNIEnv mEnv{};
    JavaVM mVm{};
    int mAdapterToken = 0;
    int mClassToken = 0;
    int mMethodToken = 0;

    mutable std::mutex mLock;
    mutable std::condition_variable mChanged;
    std::vector<StallReport> mCallbacks;
    int mGlobalRefs = 0;
    int mLocalRefs = 0;
    int mAttached = 0;
    bool mCallbackMissing = false;
    bool mAttachFails = false;
};

}  // namespace mqqoe::testing
