#pragma once
// Base of the stall detectors NetlinkHandler feeds with kernel reports.

#include <cstdint>
#include <cstdlib>
#include <memory>

// Sample rings come from malloc and go back with free.
struct FreeDeleter {
    void operator()(int32_t* p) const { std::free(p); }
};
using SampleRing = std::unique_ptr<int32_t[], FreeDeleter>;

// A zeroed ring of `count` int32 entries, or null if it cannot be allocated.
SampleRing allocateRing(int32_t count);

class CatonDetection {
public:
    static constexpr int32_t kDefaultSwitchThreshold = 30;

    virtual ~CatonDetection();
    CatonDetection(const CatonDetection&) = delete;
    CatonDetection& operator=(const CatonDetection&) = delete;

    // One throughput report (inbound packets and bytes of one interval).
    virtual int inputSample(int packets, int bytes, int* result);
    // One structured report (AwemeReportPara for the short-video detector).
    virtual int inputSample(void* report, int* result, bool& reported);
    virtual int setDetectionAlgoType(int type);
    virtual void setAwemeCatonPara(int m1s, int mR1s, int m2s, int mR2s, int m3s, int mR3s, int m6s,
                                   int mR6s, int userType);
    virtual int setInterval(int interval);

    // Common fields; NetlinkHandler reads and writes them directly.
    int32_t mInterval;  // milliseconds per report
    SampleRing mBuffer;
    int32_t mFilled = 0;
    int32_t mWriteIndex = 0;
    int32_t mAlgoType;
    float mAlgoThreshold;
    int32_t mSwitchThreshold = kDefaultSwitchThreshold;
    int32_t mEnable = 1;

protected:
    CatonDetection(int32_t interval, int32_t algoType, float algoThreshold);
};
