#include "ScopedJni.h"

namespace {

// Text of a Java string, or `fallback` when it cannot be had.
std::string javaString(JNIEnv* env, jstring text, const char* fallback) {
    if (text == nullptr) return fallback;
    ScopedUtfChars chars(env, text);
    if (chars.c_str() == nullptr) {
        env->ExceptionClear();
        return fallback;
    }
    return chars.c_str();
}

}  // namespace

std::string describePendingException(JNIEnv* env) {
    ScopedLocalRef<jthrowable> exception(env, env->ExceptionOccurred());
    env->ExceptionClear();
    if (exception.get() == nullptr) return "<error getting class name>: <error getting message>";
    ScopedLocalRef<jclass> exceptionClass(env, env->GetObjectClass(exception.get()));
    ScopedLocalRef<jclass> classClass(env, env->FindClass("java/lang/Class"));
    std::string summary = "<error getting class name>";
    jmethodID getName = classClass.get() != nullptr
                                ? env->GetMethodID(classClass.get(), "getName", "()Ljava/lang/String;")
                                : nullptr;
    if (getName != nullptr) {
        ScopedLocalRef<jstring> name(env, static_cast<jstring>(env->CallObjectMethod(exceptionClass.get(), getName)));
        if (env->ExceptionCheck()) env->ExceptionClear();
        if (name.get() != nullptr) summary = javaString(env, name.get(), "<error getting class name UTF-8>");
    }
    env->ExceptionClear();
    std::string message = "<error getting message>";
    jmethodID getMessage = env->GetMethodID(exceptionClass.get(), "getMessage", "()Ljava/lang/String;");
    if (getMessage != nullptr) {
        ScopedLocalRef<jstring> text(env, static_cast<jstring>(env->CallObjectMethod(exception.get(), getMessage)));
        if (env->ExceptionCheck()) env->ExceptionClear();
        message = javaString(env, text.get(), "<error getting message>");
    }
    env->ExceptionClear();
    return summary + ": " + message;
}
