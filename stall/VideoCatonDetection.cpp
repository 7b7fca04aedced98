#include "VideoCatonDetection.h"

#include "StallLog.h"
#include "VideoForest.h"

namespace mqqoe {

namespace {

constexpr int32_t kIntervalFine = 100;
constexpr int32_t kIntervalCoarse = 2000;
constexpr int32_t kWindowFine = 1000;
constexpr int32_t kWindowCoarse = 2000;

// Two seconds of a 4G voice-band call: this many packets and fewer bytes.
constexpr int32_t kVoicePacketsMin = 100;
constexpr int32_t kVoicePacketsMax = 120;
constexpr int32_t kVoiceBytesBelow = 30000;

}  // namespace

VideoCatonDetection::VideoCatonDetection() : CatonDetection(kDefaultInterval, -1, kDefaultAlgoThreshold) {}

VideoCatonDetection::~VideoCatonDetection() = default;

void VideoCatonDetection::clearInternalState() {
    mWindowLength = 0;
    mInterval = 0;
    mBytes.clear();
    mPackets.clear();
}

int VideoCatonDetection::setInterval(int interval) {
    clearInternalState();
    if (interval != kIntervalFine && interval != kIntervalCoarse) {
        KLOGE("The invalid interval:%d", interval);
        return -1;
    }
    mInterval = interval;
    mWindowLength = interval == kIntervalFine ? kWindowFine : kWindowCoarse;
    int32_t capacity = kHistoryMs / interval;
    if (!mBytes.allocate(capacity) || !mPackets.allocate(capacity)) {
        KLOGE("There are no enough memory for input output stats");
        return -1;
    }
    return 0;
}

int VideoCatonDetection::setDetectionAlgoType(int type) {
    mAlgoType = type;
    KLOGD("set the video algo para:%d", type);
    return setInterval(kIntervalCoarse);
}

int VideoCatonDetection::inputSample(int packets, int bytes, int* result) {
    if (result == nullptr) {
        KLOGE("iscaton is null");
        return -1;
    }
    if (!ready()) {
        KLOGE("The detector has no sample rings, interval:%d", mInterval);
        return -1;
    }
    mBytes.push(bytes);
    mPackets.push(packets);

    int32_t window = mInterval != 0 ? kWindowMs / mInterval : 0;
    if (mPackets.filled() < window) {
        KLOGD("wait for enough feature:%d", mPackets.filled());
        *result = kNormal;
        return 0;
    }

    const int64_t packetSum = mPackets.sumNewest(window);
    const int64_t byteSum = mBytes.sumNewest(window);
    int P = static_cast<int>(packetSum);
    int B = static_cast<int>(byteSum);
    if (packetSum >= kVoicePacketsMin && packetSum <= kVoicePacketsMax && byteSum < kVoiceBytesBelow) {
        *result = kNormal;
        KLOGD("TP satisfy 4G voice: 2s packets:%d, 2s total bytes: %d", P, B);
    } else if (packetSum > kVoicePacketsMax) {
        *result = kHeavyTraffic;
    } else {
        *result = kStall;
        KLOGD("TP is not enough: 2s packets:%d, 2s total bytes: %d", P, B);
    }
    return 0;
}

bool VideoCatonDetection::predict2S(const float* features) const { return runForest(features, mAlgoThreshold); }

}  // namespace mqqoe
