#pragma once
// Base of the stall detectors NetlinkHandler feeds with kernel reports.

#include "AwemeCatonPara.h"
#include "AwemeReportPara.h"

#include <cstdint>

namespace mqqoe {

class CatonDetection {
public:
    static constexpr int32_t kDefaultSwitchThreshold = 30;

    virtual ~CatonDetection();
    CatonDetection(const CatonDetection&) = delete;
    CatonDetection& operator=(const CatonDetection&) = delete;

    // One throughput report (inbound packets and bytes of one interval).
    virtual int inputSample(int packets, int bytes, int* result);
    // One short-video report; the detector may rewrite its detect_state and
    // update flag.
    virtual int inputSample(AwemeReportPara* report, int* result, bool& reported);
    virtual int setDetectionAlgoType(int type);
    virtual void setAwemeCatonPara(const AwemeCatonPara& para);
    virtual int setInterval(int interval);

    // Milliseconds per report; the collection asks the kernel for this.
    int32_t interval() const { return mInterval; }
    int32_t algoType() const { return mAlgoType; }
    float algoThreshold() const { return mAlgoThreshold; }
    void setAlgoThreshold(float value) { mAlgoThreshold = value; }
    int32_t switchThreshold() const { return mSwitchThreshold; }
    void setSwitchThreshold(int32_t value) { mSwitchThreshold = value; }

protected:
    CatonDetection(int32_t interval, int32_t algoType, float algoThreshold);

    int32_t mInterval;
    int32_t mAlgoType;
    float mAlgoThreshold;
    int32_t mSwitchThreshold = kDefaultSwitchThreshold;
};

}  // namespace mqqoe
