// JNI steering of the test doubles for the JVM tests and the host simulator:
// liblog capture, the kernel emulator and the platform stand-ins.

#include <jni.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "KernelEmulator.h"
#include "LogCapture.h"
#include "NetdClientStandIn.h"
#include "VeltroStandIn.h"

namespace {

// The C++ suites' capture, installed once for the life of the VM.
mqqoe::testing::LogCapture* gLog = nullptr;

jintArray intArray(JNIEnv* env, std::initializer_list<jint> values) {
    jintArray array = env->NewIntArray(static_cast<jsize>(values.size()));
    if (array != nullptr) env->SetIntArrayRegion(array, 0, static_cast<jsize>(values.size()), values.begin());
    return array;
}

}  // namespace

#define TESTING(cls, name) Java_com_android_server_qesta_testing_##cls##_##name

extern "C" {

JNIEXPORT void JNICALL TESTING(LogCapture, install)(JNIEnv*, jclass) {
    if (gLog == nullptr) gLog = new mqqoe::testing::LogCapture();
}

JNIEXPORT void JNICALL TESTING(LogCapture, clear)(JNIEnv*, jclass) { gLog->clear(); }

JNIEXPORT jobjectArray JNICALL TESTING(LogCapture, lines)(JNIEnv* env, jclass) {
    const std::vector<mqqoe::testing::LogLine> lines = gLog->lines();
    jobjectArray array = env->NewObjectArray(static_cast<jsize>(lines.size()), env->FindClass("java/lang/String"),
                                             nullptr);
    for (size_t i = 0; i < lines.size(); ++i) {
        jstring text = env->NewStringUTF(mqqoe::testing::format(lines[i]).c_str());
        env->SetObjectArrayElement(array, static_cast<jsize>(i), text);
        env->DeleteLocalRef(text);
    }
    return array;
}

JNIEXPORT void JNICALL TESTING(KernelEmulator, reset)(JNIEnv*, jclass) { kemu::reset(); }

JNIEXPORT jobjectArray JNICALL TESTING(KernelEmulator, sent)(JNIEnv* env, jclass, jint protocol) {
    auto messages = kemu::sent(protocol);
    jclass byteArray = env->FindClass("[B");
    jobjectArray array = env->NewObjectArray(static_cast<jsize>(messages.size()), byteArray, nullptr);
    for (size_t i = 0; i < messages.size(); ++i) {
        jbyteArray bytes = env->NewByteArray(static_cast<jsize>(messages[i].size()));
        env->SetByteArrayRegion(bytes, 0, static_cast<jsize>(messages[i].size()),
                                reinterpret_cast<const jbyte*>(messages[i].data()));
        env->SetObjectArrayElement(array, static_cast<jsize>(i), bytes);
        env->DeleteLocalRef(bytes);
    }
    return array;
}

JNIEXPORT jboolean JNICALL TESTING(KernelEmulator, waitForSent)(JNIEnv*, jclass, jint protocol, jint count,
                                                               jint timeoutMs) {
    return kemu::waitForSent(protocol, static_cast<size_t>(count), std::chrono::milliseconds(timeoutMs));
}

JNIEXPORT jint JNICALL TESTING(KernelEmulator, openSockets)(JNIEnv*, jclass, jint protocol) {
    return static_cast<jint>(kemu::openSockets(protocol));
}

JNIEXPORT jint JNICALL TESTING(KernelEmulator, socketsOpened)(JNIEnv*, jclass, jint protocol) {
    return static_cast<jint>(kemu::socketsOpened(protocol));
}

JNIEXPORT void JNICALL TESTING(KernelEmulator, failSends)(JNIEnv*, jclass, jint protocol, jint count, jint err) {
    kemu::failSends(protocol, count, err);
}

JNIEXPORT void JNICALL TESTING(KernelEmulator, setMonitorReply)(JNIEnv* env, jclass, jboolean answer,
                                                               jintArray words) {
    uint32_t values[10] = {};
    if (words != nullptr && env->GetArrayLength(words) >= 10) {
        env->GetIntArrayRegion(words, 0, 10, reinterpret_cast<jint*>(values));
    }
    kemu::setMonitorReply(answer, values);
}

JNIEXPORT void JNICALL TESTING(PlatformStandIns, netdReset)(JNIEnv*, jclass) { netdStandInReset(); }
JNIEXPORT void JNICALL TESTING(PlatformStandIns, netdSetResult)(JNIEnv*, jclass, jint result) {
    netdStandInSetResult(result);
}
JNIEXPORT jintArray JNICALL TESTING(PlatformStandIns, netdCalls)(JNIEnv* env, jclass) {
    return intArray(env, {netdStandInCallCount(), static_cast<jint>(netdStandInLastNetId()),
                          static_cast<jint>(netdStandInLastUid())});
}
JNIEXPORT void JNICALL TESTING(PlatformStandIns, veltroReset)(JNIEnv*, jclass) { veltroStandInReset(); }
JNIEXPORT void JNICALL TESTING(PlatformStandIns, veltroSetDetectedTime)(JNIEnv*, jclass, jlong time) {
    veltroStandInSetDetectedTime(static_cast<long>(time));
}
JNIEXPORT void JNICALL TESTING(PlatformStandIns, veltroNotify)(JNIEnv*, jclass, jint result) {
    veltroStandInNotify(result);
}
JNIEXPORT jintArray JNICALL TESTING(PlatformStandIns, veltroCalls)(JNIEnv* env, jclass) {
    return intArray(env, {veltroStandInRegisterCount(), veltroStandInStartCount(), veltroStandInStopCount(),
                          veltroStandInLastType()});
}
JNIEXPORT jboolean JNICALL TESTING(PlatformStandIns, veltroWaitRegistrations)(JNIEnv*, jclass, jint count,
                                                                             jint timeoutMs) {
    return veltroStandInWaitRegistrations(count, timeoutMs) != 0;
}

}  // extern "C"
