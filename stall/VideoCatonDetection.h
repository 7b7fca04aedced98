#pragma once
// Video-call detector: rings of per-interval inbound packets and bytes and a
// rule over the last two seconds of traffic.

#include "CatonDetection.h"
#include "SampleRing.h"

namespace mqqoe {

class VideoCatonDetection : public CatonDetection {
public:
    static constexpr int32_t kDefaultInterval = 1000;
    static constexpr float kDefaultAlgoThreshold = 0.87f;
    static constexpr int32_t kHistoryMs = 12000;  // ring capacity: twelve seconds
    static constexpr int32_t kWindowMs = 2000;    // decision window: two seconds

    // Result codes.
    static constexpr int kNormal = 0;
    static constexpr int kStall = 1;
    static constexpr int kHeavyTraffic = 2;

    VideoCatonDetection();
    ~VideoCatonDetection() override;

    using CatonDetection::inputSample;
    int inputSample(int packets, int bytes, int* result) override;
    int setDetectionAlgoType(int type) override;
    int setInterval(int interval) override;
    void clearInternalState();

    // The 24-tree forest over six features; true for the positive class.
    bool predict2S(const float* features) const;

    // Both rings are there (setInterval or setDetectionAlgoType succeeded).
    bool ready() const { return mBytes.allocated() && mPackets.allocated(); }
    int32_t windowLength() const { return mWindowLength; }

private:
    int32_t mWindowLength = 0;  // informational: the window in milliseconds
    // Written together, so that both hold the same intervals.
    SampleRing mBytes;
    SampleRing mPackets;
};

}  // namespace mqqoe
