#pragma once
// Short-video detector: follows one video request at a time and, once a
// second, compares the playback time downloaded with the time passed since the
// request. Shortfalls of 1, 2, 3 or 6 seconds mark the request; marks over the
// last ten requests vote for a stall.

#include "AwemeReportPara.h"
#include "CatonDetection.h"

namespace mqqoe {

class AwemeCatonDetection : public CatonDetection {
public:
    static constexpr int32_t kInterval = 1000;
    static constexpr int32_t kRequests = 10;  // request ring and mark arrays
    static constexpr unsigned long kDefaultLength = 256000;
    static constexpr int32_t kDefaultStepMax = 6;

    AwemeCatonDetection();
    ~AwemeCatonDetection() override;

    using CatonDetection::inputSample;
    // The report's detect_state and update flag may be rewritten.
    int inputSample(AwemeReportPara* report, int* result, bool& reported) override;
    void setAwemeCatonPara(const AwemeCatonPara& para) override;
    const AwemeCatonPara& para() const { return mPara; }

    // The vote over the request ring: 1 stall, 0 not.
    int getDetectionResult();
    void decideCaton(AwemeReportPara* record, unsigned long defaultLength);
    bool decideCatonWithDefalutThreshold(AwemeReportPara* record, int* entryIndex, unsigned long loaded,
                                         unsigned long threshold);
    static bool IsStepMatch(int step);
    void printReport(const AwemeReportPara* record) const;

    AwemeReportPara mPrevReport{};
    int32_t mMarks1s[kRequests] = {};
    int32_t mMarks2s[kRequests] = {};
    int32_t mMarks3s[kRequests] = {};
    int32_t mMarks6s[kRequests] = {};
    int32_t mClock = 0;
    int32_t mStep = 0;
    int32_t mStepMax = kDefaultStepMax;
    int32_t mStallReported = 0;
    int32_t mRequestWrite = 0;
    int32_t mRequestCount = 0;
    int32_t mRequests[kRequests] = {};
    uint8_t mStarted = 0;

private:
    AwemeCatonPara mPara;
    // Marks entry `entry` for step `step`; true when detection of the video must stop.
    bool markStep(uint32_t entry, int step);
    // Ends detection of the current video, locally and (through the flag) in the kernel.
    static void stopVideo(AwemeReportPara* record);
};

}  // namespace mqqoe
