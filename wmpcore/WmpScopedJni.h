#pragma once

#include <jni.h>

#include "ScopedJni.h"  // ScopedLocalRef

namespace wmpcore {

// Modified UTF-8 characters of a Java string. They are given back with
// ReleaseStringChars, the release call the service's natives have always
// paired with GetStringUTFChars; the VM frees both kinds of buffer alike.
class ScopedLegacyUtfChars {
public:
    ScopedLegacyUtfChars(JNIEnv* env, jstring string)
        : mEnv(env), mString(string), mChars(string != nullptr ? env->GetStringUTFChars(string, nullptr) : nullptr) {}
    ~ScopedLegacyUtfChars() {
        if (mChars != nullptr) mEnv->ReleaseStringChars(mString, static_cast<const jchar*>(static_cast<const void*>(mChars)));
    }
    ScopedLegacyUtfChars(const ScopedLegacyUtfChars&) = delete;
    ScopedLegacyUtfChars& operator=(const ScopedLegacyUtfChars&) = delete;

    [[nodiscard]] const char* c_str() const { return mChars; }

private:
    JNIEnv* mEnv;
    jstring mString;
    const char* mChars;
};

}  // namespace wmpcore
