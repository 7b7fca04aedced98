// Frame detection: the listener the platform service calls back, and the
// natives that start and stop the detection and read its detected time.

#include "FrameDetectListener.h"

#include <android/log.h>
#include <pthread.h>

#include <mutex>
#include <system_error>

#include "ZvQoE_jni.h"

using mqqoe::kLogTag;

int VeltroFrameDetectListener::result = -1;

void VeltroFrameDetectListener::NotifyToQesta(Veltro::FrameDetectInfo info) {
    StateLock lock;
    gCurFrameDetectResult = info.result;
    __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "orsin notify back result=%d", info.result);
}

VeltroFrameDetectListener::~VeltroFrameDetectListener() = default;

namespace {

// Serialises the one-time creation against concurrent first starts; the
// registration thread reads the pointer under it too.
std::mutex gListenerMutex;

// RegisterListener may block in the service, so it runs off the caller's thread.
void* registerListenerThread(void* /*unused*/) {
    android::sp<Veltro::VeltroListener> listener;
    {
        std::lock_guard<std::mutex> guard(gListenerMutex);
        listener = gFrameDetectListener;
    }
    Veltro::VeltroManager::RegisterListener(listener);
    return nullptr;
}

void startDetachedThread(void* (*entry)(void*)) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int err = pthread_create(&thread, &attr, entry, nullptr);
    pthread_attr_destroy(&attr);
    if (err != 0) throw std::system_error(err, std::generic_category(), "thread constructor failed");
}

}  // namespace

namespace mqqoe {

bool ensureFrameDetectListener() {
    std::lock_guard<std::mutex> guard(gListenerMutex);
    if (gFrameDetectListener != nullptr) return false;
    gFrameDetectListener = new VeltroFrameDetectListener();
    startDetachedThread(registerListenerThread);
    return true;
}

}  // namespace mqqoe

jint startFrameDetect(JNIEnv* /*env*/, jobject /*thiz*/, jint appScene) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "startFrameDetect enter, appScene = %d", appScene);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "veltro startFrameDetect!!!!");
    if (!mqqoe::ensureFrameDetectListener()) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "veltro has registerListener!!!!!");
    }
    Veltro::VeltroManager::StartFrameDetect(0);
    StateLock lock;
    gCurFrameDetectResult = 0;
    return 1;
}

jint stopFrameDetect(JNIEnv* /*env*/, jobject /*thiz*/) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "stopFrameDetect");
    Veltro::VeltroManager::StopFrameDetect(0);
    StateLock lock;
    gCurFrameDetectResult = 0;
    return 1;
}

jint getCurFrameDetectResult(JNIEnv* /*env*/, jobject /*thiz*/) {
    long detectedTime = 0;
    Veltro::VeltroManager::GetDetectedTime(detectedTime);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "getCurFrameDetectResult: result= %d",
                        static_cast<int>(detectedTime));
    return static_cast<jint>(detectedTime / mqqoe::kDetectedTimeUnitsPerResult);
}
