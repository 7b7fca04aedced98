#pragma once

#include <jni.h>

namespace wmpcore {

// Deletes a local reference when it goes out of scope, so reading a large
// array never fills the local reference table.
class ScopedLocalRef {
public:
    ScopedLocalRef(JNIEnv* env, jobject ref) : mEnv(env), mRef(ref) {}
    ~ScopedLocalRef() {
        if (mRef != nullptr) mEnv->DeleteLocalRef(mRef);
    }
    ScopedLocalRef(const ScopedLocalRef&) = delete;
    ScopedLocalRef& operator=(const ScopedLocalRef&) = delete;

    [[nodiscard]] jobject get() const { return mRef; }

private:
    JNIEnv* mEnv;
    jobject mRef;
};

// Modified UTF-8 characters of a Java string. They are given back with
// ReleaseStringChars, the release call the service's natives have always
// paired with GetStringUTFChars; the VM frees both kinds of buffer alike.
class ScopedUtfChars {
public:
    ScopedUtfChars(JNIEnv* env, jstring string)
        : mEnv(env), mString(string), mChars(string != nullptr ? env->GetStringUTFChars(string, nullptr) : nullptr) {}
    ~ScopedUtfChars() {
        if (mChars != nullptr) mEnv->ReleaseStringChars(mString, static_cast<const jchar*>(static_cast<const void*>(mChars)));
    }
    ScopedUtfChars(const ScopedUtfChars&) = delete;
    ScopedUtfChars& operator=(const ScopedUtfChars&) = delete;

    [[nodiscard]] const char* c_str() const { return mChars; }

private:
    JNIEnv* mEnv;
    jstring mString;
    const char* mChars;
};

}  // namespace wmpcore
