// The library's load hook: checks the JNI version, registers the natives and
// keeps the VM for the threads that attach later.

#include <android/log.h>

#include "ZvQoE_jni.h"

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) {
    JNIEnv* env = nullptr;
    if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK) {
        __android_log_print(ANDROID_LOG_ERROR, mqqoe::kLogTag, "JNI version mismatch error");
        return -1;
    }
    int status = register_jni_method(env);
    if (status < 0) {
        __android_log_print(ANDROID_LOG_ERROR, mqqoe::kLogTag, "jni registration failure, status: %d", status);
        return -1;
    }
    gJavaVm = vm;
    return JNI_VERSION_1_6;
}
