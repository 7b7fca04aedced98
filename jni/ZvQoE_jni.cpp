// Library entry: the JNI version check, native registration and the
// process-wide objects.

#include "ZvQoE_jni.h"

#include "BridgeLog.h"
#include "StallSessionGlue.h"

JavaVM* gJavaVm = nullptr;

mqqoe::StallSession& stallSession() {
    static mqqoe::JavaWorkerVm* vm = new mqqoe::JavaWorkerVm();
    static mqqoe::StallSession* session = new mqqoe::StallSession(*vm);
    return *session;
}

mqqoe::FrameDetection& frameDetection() {
    static mqqoe::FrameDetection detection(stallSession());
    return detection;
}

mqqoe::PolicyChannel& policyChannel() {
    static mqqoe::PolicyChannel* channel = new mqqoe::PolicyChannel();
    return *channel;
}

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) {
    JNIEnv* env = nullptr;
    if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK) {
        QLOGE("JNI version mismatch error");
        return -1;
    }
    int status = register_jni_method(env);
    if (status < 0) {
        QLOGE("jni registration failure, status: %d", status);
        return -1;
    }
    gJavaVm = vm;
    return JNI_VERSION_1_6;
}
