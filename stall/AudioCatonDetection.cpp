#include "AudioCatonDetection.h"

#include "StallLog.h"

#include <memory>
#include <new>
#include <utility>

namespace mqqoe {

namespace {

constexpr int kNormal = 0;
constexpr int kStall = 1;
constexpr int32_t kFeatures = 3;  // the three smallest packet counts

// Brings the smallest values to the front in ascending order, one selection
// pass per feature position.
void selectSmallest(float* values, int32_t count) {
    for (int32_t p = 0; p < kFeatures && p + 2 <= count; ++p) {
        for (int32_t j = p + 1; j < count; ++j) {
            if (values[j] < values[p]) std::swap(values[j], values[p]);
        }
    }
}

}  // namespace

AudioCatonDetection::AudioCatonDetection() : CatonDetection(kInterval, kState3G, 0.0f) {}

AudioCatonDetection::~AudioCatonDetection() = default;

void AudioCatonDetection::clearInternalState() {
    mInterval = 0;
    mPackets.clear();
}

int AudioCatonDetection::setInterval(int interval) {
    clearInternalState();
    if (interval != kInterval) {
        KLOGE("The invalid interval:%d", interval);
        return -1;
    }
    mInterval = interval;
    if (!mPackets.allocate(kHistoryMs / interval)) {
        KLOGE("There are no enough memory for input output stats");
        return -1;
    }
    return 0;
}

int AudioCatonDetection::setDetectionAlgoType(int type) {
    KLOGD("set Detection Algo Type = %d is only reserve now", type);
    mAlgoType = kState3G;
    return setInterval(kInterval);
}

bool AudioCatonDetection::predict3G(const float* f) const {
    if (f[0] <= 9.5f) {
        if (f[0] <= 7.5f) return true;
        return f[2] <= 20.5f;
    }
    return f[0] > 10.5f && f[1] <= 15.5f;
}

bool AudioCatonDetection::predict4G(const float* f) const {
    if (f[0] <= 32.5f) {
        if (f[0] <= 19.5f) return true;
        return f[2] <= 53.5f;
    }
    return f[0] > 44.0f && f[1] <= 45.5f;
}

int AudioCatonDetection::inputSample(int packets, int, int* result) {
    if (result == nullptr) {
        KLOGE("iscaton is null");
        return -1;
    }
    if (!ready()) {
        KLOGE("The detector has no sample rings, interval:%d", mInterval);
        return -1;
    }
    mPackets.push(packets);
    const int32_t filled = mPackets.filled();
    const int32_t capacity = mPackets.capacity();
    if (filled < capacity) {
        KLOGD("wait for enough feature:%d", filled);
        *result = kNormal;
        return 0;
    }

    int average = static_cast<int>(mPackets.sumNewest(filled) / filled);
    if (mAlgoType == kState3G && average > mSwitchThreshold) {
        KLOGD("3G Average:%d, Threshold:%d, switch to 4G", average, mSwitchThreshold);
        mAlgoType = kState4G;  // for good: only setDetectionAlgoType goes back
    }

    std::unique_ptr<float[]> features(capacity >= 1 ? new (std::nothrow) float[capacity] : nullptr);
    if (!features) {
        KLOGE("There are no enough memory");
        return -1;
    }
    // In slot order: the selection below decides ties the way it always has.
    for (int32_t i = 0; i < filled; ++i) features[i] = static_cast<float>(mPackets.at(i));
    selectSmallest(features.get(), filled);

    bool stall;
    if (mAlgoType == kState3G) {
        stall = predict3G(features.get());
    } else if (mAlgoType == kState4G) {
        stall = predict4G(features.get());
    } else {
        KLOGE("Invalid algo type: %d", mAlgoType);
        if (*result == kStall) KLOGD("Audio detection stall");
        return -1;
    }
    *result = stall ? kStall : kNormal;
    if (stall) KLOGD("Audio detection stall");
    return 0;
}

}  // namespace mqqoe
