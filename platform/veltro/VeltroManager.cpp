// Host stand-in of the platform frame-detection service library.

#include "VeltroManager.h"
#include "VeltroStandIn.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace {

std::mutex gLock;
std::condition_variable gRegistered;
std::vector<android::sp<Veltro::VeltroListener>> gListeners;
long gDetectedTime = 0;
int gRegisterCount = 0;
int gStartCount = 0;
int gStopCount = 0;
int gLastType = -1;

}  // namespace

namespace Veltro {

int VeltroManager::StartFrameDetect(int type) {
    std::lock_guard<std::mutex> guard(gLock);
    ++gStartCount;
    gLastType = type;
    return 0;
}

int VeltroManager::StopFrameDetect(int type) {
    std::lock_guard<std::mutex> guard(gLock);
    ++gStopCount;
    gLastType = type;
    return 0;
}

int VeltroManager::RegisterListener(const android::sp<VeltroListener>& listener) {
    std::lock_guard<std::mutex> guard(gLock);
    if (listener != nullptr) gListeners.push_back(listener);
    ++gRegisterCount;
    gRegistered.notify_all();
    return 0;
}

int VeltroManager::GetDetectedTime(long& detectedTime) {
    std::lock_guard<std::mutex> guard(gLock);
    detectedTime = gDetectedTime;
    return 0;
}

}  // namespace Veltro

extern "C" {

void veltroStandInSetDetectedTime(long detectedTime) {
    std::lock_guard<std::mutex> guard(gLock);
    gDetectedTime = detectedTime;
}

void veltroStandInNotify(int32_t result) {
    std::vector<android::sp<Veltro::VeltroListener>> listeners;
    {
        std::lock_guard<std::mutex> guard(gLock);
        listeners = gListeners;
    }
    // The real service calls back on a binder thread of its own.
    std::thread service([&listeners, result] {
        Veltro::FrameDetectInfo info{result, 60, 0};
        for (const auto& listener : listeners) listener->NotifyToQesta(info);
    });
    service.join();
}

int veltroStandInRegisterCount(void) {
    std::lock_guard<std::mutex> guard(gLock);
    return gRegisterCount;
}

int veltroStandInStartCount(void) {
    std::lock_guard<std::mutex> guard(gLock);
    return gStartCount;
}

int veltroStandInStopCount(void) {
    std::lock_guard<std::mutex> guard(gLock);
    return gStopCount;
}

int veltroStandInLastType(void) {
    std::lock_guard<std::mutex> guard(gLock);
    return gLastType;
}

int veltroStandInWaitRegistrations(int count, int timeoutMs) {
    std::unique_lock<std::mutex> lock(gLock);
    return gRegistered.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                [count] { return gRegisterCount >= count; })
                   ? 1
                   : 0;
}

void veltroStandInReset(void) {
    std::lock_guard<std::mutex> guard(gLock);
    gListeners.clear();
    gDetectedTime = 0;
    gRegisterCount = 0;
    gStartCount = 0;
    gStopCount = 0;
    gLastType = -1;
}

}  // extern "C"
