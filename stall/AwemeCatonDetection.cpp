#include "AwemeCatonDetection.h"

#include "StallLog.h"
#include "securec.h"

#include <cstring>

namespace mqqoe {

static_assert(sizeof(unsigned long) == 8, "byte counts are 64-bit");

namespace {

constexpr int32_t kStepMs = 1000;
constexpr int32_t kStepSlack = 5;  // steps allowed past the video length
constexpr uint32_t kNoIndex = UINT32_MAX;

// The threshold field is unused here; it starts with every bit set.
float allBitsSet() {
    uint32_t bits = UINT32_MAX;
    float value;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

// Counters run for the life of a collection; wrap instead of overflowing.
int32_t wrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

unsigned long loadedOf(const StallInfoEntry& e) {
    return static_cast<unsigned long>(e.loaded_base) + e.range_start + e.l_inbytes;
}

}  // namespace

AwemeCatonDetection::AwemeCatonDetection() : CatonDetection(kInterval, -1, allBitsSet()) {
    mPrevReport.detect_index = kNoIndex;
}

AwemeCatonDetection::~AwemeCatonDetection() = default;

void AwemeCatonDetection::setAwemeCatonPara(const AwemeCatonPara& p) {
    mPara = p;
    KLOGI("Aweme para: m1s=%d, mR1s=%d, m2s=%d, mR2s=%d, m3s=%d, mR3s=%d, m6s=%d, mR6s=%d, userType=%d", p.m1s, p.mR1s,
          p.m2s, p.mR2s, p.m3s, p.mR3s, p.m6s, p.mR6s, p.userType);
}

bool AwemeCatonDetection::IsStepMatch(int step) { return step == 1 || step == 2 || step == 3 || step == 6; }

bool AwemeCatonDetection::markStep(uint32_t entry, int step) {
    switch (step) {
        case 1:
            mMarks1s[entry] = 1;
            return false;
        case 2:
            mMarks2s[entry] = 1;
            return false;
        case 3:
            mMarks3s[entry] = 1;
            return mPara.userType == 2;
        case 6:
            mMarks6s[entry] = 1;
            return true;
        default:
            return false;
    }
}

void AwemeCatonDetection::stopVideo(AwemeReportPara* record) {
    record->detect_state = KORUN_DETECT_STOPPED;
    record->update_flag = 1;
}

bool AwemeCatonDetection::decideCatonWithDefalutThreshold(AwemeReportPara*, int* entryIndex, unsigned long loaded,
                                                          unsigned long threshold) {
    if (loaded >= threshold) return false;
    if (entryIndex == nullptr || *entryIndex < 0 || *entryIndex >= kRequests) return false;
    return markStep(static_cast<uint32_t>(*entryIndex), mStep);
}

void AwemeCatonDetection::decideCaton(AwemeReportPara* record, unsigned long defaultLength) {
    uint32_t index = record->detect_index;
    if (index >= korun::kStallInfoEntries) return;
    const StallInfoEntry& e = record->stall_info[index];
    unsigned long loaded = loadedOf(e);
    unsigned long total = e.total;

    if (total != 0 && e.dur >= 1 && e.timescale >= 1) {
        if (loaded >= total) {
            KLOGD("already loaded complete, stop detection(total=%lu, loaded=%lu)", total, loaded);
            stopVideo(record);
            return;
        }
        unsigned long seconds = static_cast<unsigned long>(e.dur) / static_cast<unsigned long>(e.timescale);
        unsigned long coderate = seconds != 0 ? total / seconds : 0;
        unsigned long playable = coderate != 0 ? loaded / coderate : 0;
        // A negative shortfall (ahead of playback) is no stall.
        int64_t stalltime = playable > INT32_MAX ? -1 : static_cast<int64_t>(mStep) - static_cast<int64_t>(playable);
        if (stalltime < 1 || stalltime > 6 || !IsStepMatch(static_cast<int>(stalltime))) return;
        bool stop = markStep(index, static_cast<int>(stalltime));
        KLOGD("thinks it as stall because loaded=%lu, stalltime = %ds, coderate = %lu", loaded,
              static_cast<int>(stalltime), coderate);
        if (stop) stopVideo(record);
        return;
    }
    if (total != 0) {
        if (loaded >= total) {
            KLOGD("already loaded complete(case 3), stop detection(total=%lu, loaded=%lu)", total, loaded);
            stopVideo(record);
            return;
        }
        if (loaded >= defaultLength) return;
        bool stop = markStep(index, mStep);
        if (IsStepMatch(mStep)) {
            KLOGI("have total and no duration, loaded=%lu, threshold=%lu, think it as stall (%ds)", loaded,
                  defaultLength, mStep);
        }
        if (stop) stopVideo(record);
        return;
    }
    if (loaded != 0) {
        if (loaded >= defaultLength) return;
        bool stop = markStep(index, mStep);
        if (IsStepMatch(mStep)) {
            KLOGI("paser fail, loaded(%lu) less than default length(%lu), think as stall (%ds)", loaded, defaultLength,
                  mStep);
        }
        if (stop) stopVideo(record);
        return;
    }
    if (e.l_inbytes != 0) {
        if (mStep >= 3) {
            KLOGD("think as cached, skip it");
            stopVideo(record);
        }
        return;
    }
    bool stop = markStep(index, mStep);
    if (IsStepMatch(mStep)) KLOGI("no response, think it as stall (%ds)", mStep);
    if (stop) stopVideo(record);
}

int AwemeCatonDetection::getDetectionResult() {
    if (mRequestCount < 1) return 0;
    struct Kind {
        const int32_t* marks;
        int32_t consecutiveLimit;
        int32_t totalLimit;
        int32_t consecutive;
        int32_t total;
    };
    Kind kinds[] = {
        {mMarks1s, mPara.m1s, mPara.mR1s, 0, 0},
        {mMarks2s, mPara.m2s, mPara.mR2s, 0, 0},
        {mMarks3s, mPara.m3s, mPara.mR3s, 0, 0},
        {mMarks6s, mPara.m6s, mPara.mR6s, 0, 0},
    };
    // The 6-second marks vote only for userType 1.
    const size_t voting = mPara.userType == 1 ? 4 : 3;
    int32_t slot = mRequestWrite;
    for (int32_t i = 0; i < mRequestCount && i < kRequests; ++i) {
        slot = slot == 0 ? kRequests - 1 : slot - 1;
        int32_t entry = mRequests[slot];
        if (entry < 0 || entry >= kRequests) continue;
        for (Kind& kind : kinds) {
            if (kind.marks[entry] != 0) {
                ++kind.consecutive;
                ++kind.total;
            } else {
                kind.consecutive = 0;
            }
        }
        for (size_t k = 0; k < voting; ++k) {
            const Kind& kind = kinds[k];
            if (kind.consecutive < kind.consecutiveLimit && kind.total < kind.totalLimit) continue;
            switch (k) {
                case 0:
                    KLOGI("detect stall(caton_result=%d (con_caton_num=%d, caton_num=%d))", 1, kind.consecutive,
                          kind.total);
                    break;
                case 1:
                    KLOGI("detect stall(caton_result_2s=%d (con_caton_num=%d, caton_num=%d))", 1, kind.consecutive,
                          kind.total);
                    break;
                case 2:
                    KLOGI("detect stall(caton_result_3s=%d (con_caton_num=%d, caton_num=%d))", 1, kind.consecutive,
                          kind.total);
                    break;
                default:
                    KLOGI("detect stall(caton_result_6s=%d (con_caton_num=%d, caton_num=%d))", 1, kind.consecutive,
                          kind.total);
                    break;
            }
            memset_s(mMarks1s, sizeof(mMarks1s), 0, sizeof(mMarks1s));
            memset_s(mMarks2s, sizeof(mMarks2s), 0, sizeof(mMarks2s));
            memset_s(mMarks3s, sizeof(mMarks3s), 0, sizeof(mMarks3s));
            memset_s(mMarks6s, sizeof(mMarks6s), 0, sizeof(mMarks6s));
            return 1;
        }
    }
    return 0;
}

void AwemeCatonDetection::printReport(const AwemeReportPara* record) const {
    uint32_t index = record->detect_index;
    if (index >= korun::kStallInfoEntries) return;
    const StallInfoEntry& e = record->stall_info[index];
    // The key comes from the kernel: terminate it here rather than trust it.
    char video[sizeof(e.video) + 1] = {};
    memcpy_s(video, sizeof(video), e.video, sizeof(e.video));
    KLOGI("detect_index=%d, valid_num=%d, l_inbytes=%u, total=%lu, video=%s, dur=%d, timescale=%d",
          static_cast<int>(index), static_cast<int>(record->valid_num), e.l_inbytes,
          static_cast<unsigned long>(e.total), video, e.dur, e.timescale);
}

int AwemeCatonDetection::inputSample(AwemeReportPara* record, int* result, bool& reported) {
    mClock = wrapAdd(mClock, mInterval);
    if (record == nullptr) return -1;
    if (record->detect_index >= korun::kStallInfoEntries || record->cur_index >= korun::kStallInfoEntries) {
        KLOGI("Invalid index:detect_index=%d, cur_index=%d", static_cast<int>(record->detect_index),
              static_cast<int>(record->cur_index));
        return -1;
    }
    record->update_flag = 0;

    if (record->detect_state != KORUN_DETECT_STOPPED) {
        uint32_t index = record->detect_index;
        const StallInfoEntry& e = record->stall_info[index];
        bool sameRequest = index == mPrevReport.detect_index &&
                           (mPrevReport.detect_state != KORUN_DETECT_STOPPED || record->detect_state != KORUN_DETECT_NEW);
        if (sameRequest) {
            if (e.dur >= 1 && e.timescale >= 1) mStepMax = e.dur / e.timescale;
            if (mClock >= kStepMs && mStallReported == 0) {
                if (static_cast<int64_t>(mStep) <= static_cast<int64_t>(mStepMax) + kStepSlack) {
                    record->update_flag = 0;
                    KLOGD("mStep=%d, mStepMax=%d, mClock=%d", mStep, mStepMax, mClock);
                    printReport(record);
                    decideCaton(record, kDefaultLength);
                }
                mClock = 0;
                int32_t previousStep = mStep;
                mStep = wrapAdd(mStep, 1);
                if (previousStep >= mStepMax || record->update_flag != 0) {
                    KLOGI("stop detect current video: mStep=%d, update flag=%d", mStep,
                          static_cast<int>(record->update_flag));
                    stopVideo(record);
                    mStep = wrapAdd(mStepMax, 1);
                }
            }
        } else {
            if (index != mPrevReport.detect_index) {
                mRequests[mRequestWrite] = static_cast<int32_t>(index);
                mRequestWrite = (mRequestWrite + 1) % kRequests;
                if (mRequestCount < kRequests) ++mRequestCount;
            }
            mClock = 0;
            mStep = 1;
            mStepMax = kDefaultStepMax;
            mStallReported = 0;
            mMarks1s[index] = 0;
            mMarks2s[index] = 0;
            mMarks3s[index] = 0;
            mMarks6s[index] = 0;
            KLOGI("Detect a local request(mStep=%d, mClock=%d)", mStep, mClock);
            printReport(record);
        }
        mPrevReport = *record;
        reported = mStarted == 0;
        mStarted = 1;
    }

    if (result == nullptr) return 0;
    *result = getDetectionResult();
    if (*result != 0) {
        mStallReported = *result;
        KLOGI("DouyYin detect stall");
    }
    return 0;
}

}  // namespace mqqoe
