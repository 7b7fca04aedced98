#pragma once
// Process-wide state of the JNI bridge and the natives of the adapter class.

#include <jni.h>
#include <pthread.h>

#include <cstdint>  // before StrongPointer.h, which needs uintptr_t

#include <utils/StrongPointer.h>

class VeltroFrameDetectListener;

namespace mqqoe {

constexpr const char* kLogTag = "ZvQoEJNI";
constexpr const char* kAdapterClass = "com/android/server/qesta/ZvQestaJniAdapter";

// Stall session status values.
constexpr int32_t kDetectRunning = 0;
constexpr int32_t kDetectStopAlgo = 1;
constexpr int32_t kDetectStopRequested = 2;
constexpr int32_t kDetectStopped = 3;

static_assert(sizeof(unsigned long) == 8, "traffic totals are 64-bit on every supported ABI");

}  // namespace mqqoe

// Cached by JNI_OnLoad for threads that attach later.
extern JavaVM* gJavaVm;
// Guards the session status and values, the adapter reference, the traffic
// totals and the frame detection result. Never held across a kernel read or
// a call into Java.
extern pthread_mutex_t gStateMutex;
// Policy channel (netlink protocol 25), opened lazily; -1 when closed.
extern int gKernelSocket;
extern int32_t gStallUid;
extern int32_t gStallAppScene;
extern int32_t gStallAlgoType;
extern int32_t gStallUserType;
extern int32_t gDetectStatus;
extern jobject gAdapterRef;
// Outbound then inbound byte totals of the running stall session.
extern unsigned long gTotalTraffic[2];
extern int32_t gCurFrameDetectResult;
extern android::sp<VeltroFrameDetectListener> gFrameDetectListener;

// Holds the state mutex for one scope.
class StateLock {
public:
    StateLock() { pthread_mutex_lock(&gStateMutex); }
    ~StateLock() { pthread_mutex_unlock(&gStateMutex); }
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;
};

int register_jni_method(JNIEnv* env);

// The twelve natives of the adapter class, in table order.
jobject com_android_server_nativeReadUdpNetworkStatsDetail(JNIEnv* env, jclass clazz, jint uid, jint networkType);
jintArray sendQoeCmd(JNIEnv* env, jobject thiz, jint command, jint argument);
jint setDpiMarkRule(JNIEnv* env, jobject thiz, jint first, jint second, jint enable);
jint resetProcessSockets(JNIEnv* env, jobject thiz, jint uid);
jint closeProcessSockets(JNIEnv* env, jobject thiz, jint first, jint second);
jint bindUidProcessToNetwork(JNIEnv* env, jobject thiz, jint netId, jint uid);
jint handleSocketStrategy(JNIEnv* env, jobject thiz, jint strategy, jint uid);
jint sendQoeStallDetectCmd(JNIEnv* env, jobject thiz, jint command, jint uid, jint appScene, jint algoType,
                           jint userType);
jlongArray getCurrTotalTraffic(JNIEnv* env, jobject thiz);
jint startFrameDetect(JNIEnv* env, jobject thiz, jint appScene);
jint stopFrameDetect(JNIEnv* env, jobject thiz);
jint getCurFrameDetectResult(JNIEnv* env, jobject thiz);
