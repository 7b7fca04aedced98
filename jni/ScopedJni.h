#pragma once
// RAII holders for JNI local references and string characters, and the one
// way the glue reports and clears a pending Java exception.

#include <jni.h>

#include <string>

template <typename T>
class ScopedLocalRef {
public:
    ScopedLocalRef(JNIEnv* env, T ref) : mEnv(env), mRef(ref) {}
    ~ScopedLocalRef() { reset(); }
    ScopedLocalRef(const ScopedLocalRef&) = delete;
    ScopedLocalRef& operator=(const ScopedLocalRef&) = delete;

    T get() const { return mRef; }
    void reset(T ref = nullptr) {
        if (mRef != nullptr) mEnv->DeleteLocalRef(mRef);
        mRef = ref;
    }
    [[nodiscard]] T release() {
        T ref = mRef;
        mRef = nullptr;
        return ref;
    }

private:
    JNIEnv* mEnv;
    T mRef;
};

// Modified UTF-8 characters of a Java string, released on scope exit; null
// when the string is null or the VM could not give them (an exception is
// then pending).
class ScopedUtfChars {
public:
    ScopedUtfChars(JNIEnv* env, jstring text)
        : mEnv(env), mText(text), mChars(text != nullptr ? env->GetStringUTFChars(text, nullptr) : nullptr) {}
    ~ScopedUtfChars() {
        if (mChars != nullptr) mEnv->ReleaseStringUTFChars(mText, mChars);
    }
    ScopedUtfChars(const ScopedUtfChars&) = delete;
    ScopedUtfChars& operator=(const ScopedUtfChars&) = delete;

    const char* c_str() const { return mChars; }

private:
    JNIEnv* mEnv;
    jstring mText;
    const char* mChars;
};

// "<class name>: <message>" of the pending exception, which is cleared, with
// the usual fallbacks when either cannot be had.
std::string describePendingException(JNIEnv* env);
