#pragma once
// The worker's session steps, generic over the handler so tests can script it.

#include <android/log.h>

#include "StallSession.h"
#include "ZvQoE_jni.h"

namespace mqqoe {
namespace session_detail {

// Default interval of a detector that reports none.
constexpr int32_t kDefaultIntervalMs = 1000;

template <typename Handler>
int32_t detectorInterval(const Handler& handler) {
    int32_t interval = handler.mCatoner ? handler.mCatoner->mInterval : 0;
    return interval > 0 ? interval : kDefaultIntervalMs;
}

// Instance, start, uid, detection type, short-video parameters, algorithm,
// collection: in this order, stopping the handler again after a failure.
template <typename Handler>
int setUpHandler(Handler* handler, const SessionValues& values) {
    if (handler == nullptr || handler->start() < 0) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "Get NetlinkHandler Instance or start failed");
        return -1;
    }
    handler->mUid = values.uid;
    if (handler->setDetectionType(values.appScene) < 0) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "Setup the detection type failed");
        handler->stop();
        return -1;
    }
    int algo = 0;
    if (isShortVideoScene(values.appScene)) {
        std::array<int, 8> p = unpackAwemeParams(values.algoType);
        algo = handler->setAwemeCatonPara(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], values.userType);
    }
    if (algo >= 0) algo = handler->setDetectionAlgo(values.algoType);
    if (algo < 0) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "Setup the detection algo or algo switch threshold failed");
        handler->stop();
        return -1;
    }
    if (handler->startCollecting() < 0) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "start collecting failed");
        handler->stop();
        return -1;
    }
    return 0;
}

// The status as the worker reads it at the top of a pass: running passes read
// the totals, a stop of the AI algorithm pauses the detector, anything else
// ends the loop.
template <typename Handler>
bool continuePass(Handler* handler) {
    StateLock lock;
    if (gDetectStatus == kDetectRunning) {
        handler->getThroughputStats(&gTotalTraffic[0], &gTotalTraffic[1]);
        return true;
    }
    if (gDetectStatus == kDetectStopAlgo) {
        handler->mPauseDetect = 1;
        gDetectStatus = kDetectRunning;
        return true;
    }
    return false;
}

}  // namespace session_detail

template <typename Handler>
SessionEnd runStallSession(Handler* handler, StallReporter* reporter) {
    const SessionValues values = takeSessionValues();
    int outBytes = 0;
    int inBytes = 0;
    int result = 0;
    bool flag = false;

    if (session_detail::setUpHandler(handler, values) < 0 || reporter == nullptr) {
        // Without Java nothing could be reported; collection is left as it is.
        markSessionStopped();
        return SessionEnd::kSetupFailed;
    }

    StallReportRule rule(values.appScene, session_detail::detectorInterval(*handler));
    while (session_detail::continuePass(handler)) {
        if (handler->getDetectionResult(&outBytes, &inBytes, &result, flag) < 0) break;
        StallReport report{};
        if (rule.onResult(outBytes, inBytes, result, flag, &report) && reporter->report(report) < 0) break;
    }

    __android_log_print(ANDROID_LOG_INFO, kLogTag, "StopMonitor enter");
    handler->stopCollecting();
    handler->stop();
    markSessionStopped();
    return SessionEnd::kLoopEnded;
}

}  // namespace mqqoe
