#include "FrameDetection.h"

#include <system_error>
#include <thread>

#include "BridgeLog.h"

namespace {

// getCurFrameDetectResult reports the detected time in units of 60.
constexpr long kDetectedTimeUnitsPerResult = 60;

}  // namespace

int VeltroFrameDetectListener::result = -1;

VeltroFrameDetectListener::~VeltroFrameDetectListener() = default;

void VeltroFrameDetectListener::NotifyToQesta(Veltro::FrameDetectInfo info) { mSession.setFrameResult(info.result); }

namespace mqqoe {

bool FrameDetection::registerListenerOnce() {
    std::lock_guard<std::mutex> lock(mLock);
    if (mListener != nullptr) return false;
    mListener = new VeltroFrameDetectListener(mSession);
    android::sp<Veltro::VeltroListener> listener = mListener;
    try {
        std::thread([listener] { Veltro::VeltroManager::RegisterListener(listener); }).detach();
    } catch (const std::system_error& e) {
        // Unwinding into the VM would end the system server: the listener is
        // dropped instead, and the next start tries again.
        QLOGE("startFrameDetect: %s", e.what());
        mListener.clear();
    }
    return true;
}

int FrameDetection::start(int appScene) {
    QLOGI("startFrameDetect enter, appScene = %d", appScene);
    QLOGI("veltro startFrameDetect!!!!");
    if (!registerListenerOnce()) QLOGI("veltro has registerListener!!!!!");
    Veltro::VeltroManager::StartFrameDetect(0);
    mSession.clearFrameResult();
    return 1;
}

int FrameDetection::stop() {
    QLOGI("stopFrameDetect");
    Veltro::VeltroManager::StopFrameDetect(0);
    mSession.clearFrameResult();
    return 1;
}

int FrameDetection::currentResult() {
    long detectedTime = 0;
    Veltro::VeltroManager::GetDetectedTime(detectedTime);
    QLOGI("getCurFrameDetectResult: result= %d", static_cast<int>(detectedTime));
    return static_cast<int>(detectedTime / kDetectedTimeUnitsPerResult);
}

}  // namespace mqqoe
