#pragma once
// Voice-call detector: the inbound packet counts of the last five seconds,
// classified by a 3G tree until the average rate shows 4G traffic, then by a
// 4G tree for the rest of the collection.

#include "CatonDetection.h"
#include "SampleRing.h"

namespace mqqoe {

class AudioCatonDetection : public CatonDetection {
public:
    static constexpr int32_t kInterval = 1000;
    static constexpr int32_t kHistoryMs = 5000;
    static constexpr int32_t kState3G = 0;
    static constexpr int32_t kState4G = 1;

    AudioCatonDetection();
    ~AudioCatonDetection() override;

    using CatonDetection::inputSample;
    int inputSample(int packets, int bytes, int* result) override;
    int setDetectionAlgoType(int type) override;
    int setInterval(int interval) override;
    void clearInternalState();

    // The trees over the three smallest packet counts f0 <= f1 <= f2; true = stall.
    bool predict3G(const float* f) const;
    bool predict4G(const float* f) const;

    bool ready() const { return mPackets.allocated(); }

private:
    SampleRing mPackets;
};

}  // namespace mqqoe
