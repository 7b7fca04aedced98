#include "StallSession.h"

#include <pthread.h>

#include <array>

#include "AppScene.h"
#include "BridgeLog.h"

namespace mqqoe {
namespace {

static_assert(sizeof(unsigned long) == sizeof(uint64_t), "the engine's byte totals are 64-bit");

}  // namespace

StallSession::~StallSession() {
    std::unique_lock<std::mutex> lock(mLock);
    mWorkerEnded.wait(lock, [this] { return !mWorkerRunning; });
}

int StallSession::start(const SessionValues& values, const CallbackFactory& makeCallback) {
    QLOGI("start stall detect: uid [%d], appScene [%d], algoType [%d], userType [%d]", values.uid, values.appScene,
          values.algoType, values.userType);
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mCallback == nullptr) mCallback = makeCallback();
    }
    std::lock_guard<std::mutex> lock(mLock);
    // Stored even when the start is refused below.
    mValues = values;
    if (mStatus != kDetectStopped) {
        QLOGI("last monotor is not stopped,detectStatus = %d", mStatus);
        return -1;
    }
    pthread_attr_t attr;
    pthread_t thread;
    int err = pthread_attr_init(&attr);
    if (err == 0) {
        pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
        err = pthread_create(&thread, &attr, StallDetectThread, this);
        pthread_attr_destroy(&attr);
    }
    if (err != 0) {
        QLOGI("pthread_create fail");
        return -1;
    }
    // The worker reads the values under this lock, after it is released.
    mStatus = kDetectRunning;
    mWorkerRunning = true;
    return 0;
}

int StallSession::stop(const SessionValues& values) {
    QLOGI("stop stall detect: uid [%d], appScene [%d]", values.uid, values.appScene);
    std::shared_ptr<StallCallback> dropped;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mStatus != kDetectStopped) mStatus = kDetectStopRequested;
        dropped = std::move(mCallback);
        mCallback = nullptr;
    }
    // A worker inside a report keeps its own reference until it returns.
    return dropped != nullptr ? 0 : -1;
}

int StallSession::stopAlgo(const SessionValues& values) {
    QLOGI("stop AI algo: uid [%d], appScene [%d]", values.uid, values.appScene);
    std::lock_guard<std::mutex> lock(mLock);
    if (mStatus != kDetectRunning) return -1;
    mStatus = kDetectStopAlgo;
    return 0;
}

void StallSession::setFrameResult(int result) {
    std::lock_guard<std::mutex> lock(mLock);
    mFrameResult = result;
    QLOGD("orsin notify back result=%d", result);
}

void StallSession::clearFrameResult() {
    std::lock_guard<std::mutex> lock(mLock);
    mFrameResult = 0;
}

int StallSession::takeFrameResult() {
    std::lock_guard<std::mutex> lock(mLock);
    const int result = mFrameResult;
    mFrameResult = 0;
    return result;
}

SessionSnapshot StallSession::snapshot() const {
    std::lock_guard<std::mutex> lock(mLock);
    return {mStatus, mValues, mTotalOut, mTotalIn, mFrameResult};
}

bool StallSession::waitIdle(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mLock);
    return mWorkerEnded.wait_for(lock, timeout, [this] { return !mWorkerRunning; });
}

void* StallSession::StallDetectThread(void* session) {
    static_cast<StallSession*>(session)->run();
    return nullptr;
}

void StallSession::run() {
    StallWorkerVm& vm = mVm;
    const bool attached = vm.attach();
    SessionValues values;
    {
        std::lock_guard<std::mutex> lock(mLock);
        values = mValues;
    }
    bool loopRan = false;
    if (setUp(values) == 0) {
        if (attached) {
            reportLoop(values);
            loopRan = true;
        } else {
            // Nothing could be reported: collection is stopped and the socket
            // closed, so that the next start finds the engine free.
            (void)mHandler.stopCollecting();
            (void)mHandler.stop();
        }
    }
    {
        std::lock_guard<std::mutex> lock(mLock);
        mStatus = kDetectStopped;
    }
    if (attached) vm.detach(loopRan);
    std::lock_guard<std::mutex> lock(mLock);
    mWorkerRunning = false;
    mWorkerEnded.notify_all();
}

// Start, uid, detection type, short-video parameters, algorithm, collection:
// in this order, stopping the engine again after a failure.
int StallSession::setUp(const SessionValues& values) {
    if (mHandler.start() < 0) {
        QLOGI("Get NetlinkHandler Instance or start failed");
        return -1;
    }
    mHandler.setUid(values.uid);
    if (mHandler.setDetectionType(values.appScene) < 0) {
        QLOGI("Setup the detection type failed");
        (void)mHandler.stop();
        return -1;
    }
    int algo = 0;
    if (scene::isShortVideo(values.appScene)) {
        algo = mHandler.setAwemeCatonPara(AwemeCatonPara::unpack(values.algoType, values.userType));
    }
    if (algo >= 0) algo = mHandler.setDetectionAlgo(values.algoType);
    if (algo < 0) {
        QLOGI("Setup the detection algo or algo switch threshold failed");
        (void)mHandler.stop();
        return -1;
    }
    if (mHandler.startCollecting() < 0) {
        QLOGI("start collecting failed");
        (void)mHandler.stop();
        return -1;
    }
    return 0;
}

void StallSession::reportLoop(const SessionValues& values) {
    const CatonDetection* detector = mHandler.detector();
    StallReportRule rule(values.appScene, detector != nullptr ? detector->interval() : 0, *this);
    int outBytes = 0;
    int inBytes = 0;
    int result = 0;
    bool flag = false;
    while (nextPass()) {
        if (mHandler.getDetectionResult(&outBytes, &inBytes, &result, flag) < 0) break;
        StallReport report{};
        if (rule.onResult(outBytes, inBytes, result, flag, &report) && handleReportStallEvent(report) < 0) break;
    }
    QLOGI("StopMonitor enter");
    (void)mHandler.stopCollecting();
    (void)mHandler.stop();
}

// The status as the worker reads it at the top of a pass: running passes read
// the totals, a stop of the AI algorithm pauses the detector, anything else
// ends the loop.
bool StallSession::nextPass() {
    std::lock_guard<std::mutex> lock(mLock);
    if (mStatus == kDetectRunning) {
        (void)mHandler.getThroughputStats(&mTotalOut, &mTotalIn);
        return true;
    }
    if (mStatus == kDetectStopAlgo) {
        mHandler.pauseDetect();
        mStatus = kDetectRunning;
        return true;
    }
    return false;
}

int StallSession::handleReportStallEvent(const StallReport& report) {
    QLOGI("handleReportStallEvent enter");
    std::shared_ptr<StallCallback> callback;
    {
        std::lock_guard<std::mutex> lock(mLock);
        callback = mCallback;
    }
    if (callback == nullptr) {
        QLOGI("handleReportStallEvent call stop,exit");
        return -1;
    }
    return callback->call(report);
}

}  // namespace mqqoe
