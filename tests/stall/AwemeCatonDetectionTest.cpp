#include "AwemeCatonDetection.h"

#include <LogCapture.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace mqqoe;  // NOLINT: the engine under test

using mqqoe::testing::LogCapture;

namespace {

AwemeReportPara report(uint32_t index, uint32_t state, const StallInfoEntry& e = {}) {
    AwemeReportPara r{};
    r.detect_index = r.cur_index = index;
    r.detect_state = state;
    r.stall_info[index] = e;
    return r;
}

// Starts one request per index, newest last.
void startRequests(AwemeCatonDetection& d, const std::vector<uint32_t>& indexes) {
    bool reported = false;
    for (uint32_t index : indexes) {
        AwemeReportPara r = report(index, 1);
        ASSERT_EQ(0, d.inputSample(&r, nullptr, reported));
    }
}

}  // namespace

TEST(AwemeVote, DefaultCountsAndSixSecondMarksOnlyForUserType1) {
    LogCapture log;
    AwemeCatonDetection d;
    startRequests(d, {0, 1, 2});
    d.mMarks1s[2] = 1;
    EXPECT_EQ(0, d.getDetectionResult());  // one 1-second shortfall is not enough
    d.mMarks3s[2] = 1;
    EXPECT_EQ(1, d.getDetectionResult());
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "Korun", "detect stall(caton_result_3s=1 (con_caton_num=1, caton_num=1))"));
    EXPECT_EQ(0, d.mMarks1s[2]);  // a hit clears every mark
    d.mMarks2s[1] = d.mMarks2s[2] = 1;
    EXPECT_EQ(1, d.getDetectionResult());
    EXPECT_TRUE(log.contains("Korun", "detect stall(caton_result_2s=1 (con_caton_num=2, caton_num=2))"));
    d.mMarks1s[0] = d.mMarks1s[1] = d.mMarks1s[2] = 1;
    EXPECT_EQ(1, d.getDetectionResult());
    d.mMarks6s[2] = 1;
    EXPECT_EQ(0, d.getDetectionResult());
    d.setAwemeCatonPara({3, 4, 2, 3, 1, 1, 1, 1, 1});
    EXPECT_EQ(1, d.getDetectionResult());
    // Two 1-second marks with an unmarked request between are no run of two.
    d.setAwemeCatonPara({2, 9, 9, 9, 9, 9, 9, 9, 0});
    d.mMarks1s[2] = d.mMarks1s[0] = 1;
    EXPECT_EQ(0, d.getDetectionResult());
}

TEST(AwemeShortfall, StepMarksAndStoppedVideos) {
    LogCapture log;
    AwemeCatonDetection d;
    d.mStep = 3;
    AwemeReportPara r = report(0, 2, {{}, 150000, 1000000, {}, 0, 0, 1, 10});  // 100,000 B/s, 1.5 s loaded
    d.decideCaton(&r, 256000);
    EXPECT_EQ(1, d.mMarks2s[0]);
    EXPECT_EQ(0u, r.update_flag);
    EXPECT_TRUE(log.contains("Korun", "thinks it as stall because loaded=150000, stalltime = 2s, coderate = 100000"));
    r.stall_info[0].range_start = 850000;  // now fully loaded
    d.decideCaton(&r, 256000);
    EXPECT_EQ(0u, r.detect_state);
    EXPECT_EQ(1u, r.update_flag);
    EXPECT_TRUE(log.contains("Korun", "already loaded complete, stop detection(total=1000000, loaded=1000000)"));

    d.mStep = 2;
    r = report(3, 2, {{}, 100000, 0, {}, 0, 0, 0, 0});  // unknown length
    d.decideCaton(&r, 256000);
    EXPECT_EQ(1, d.mMarks2s[3]);
    EXPECT_TRUE(log.contains("Korun", "paser fail, loaded(100000) less than default length(256000), think as stall (2s)"));
    d.mStep = 6;
    r = report(3, 2);  // no response at all
    d.decideCaton(&r, 256000);
    EXPECT_EQ(1, d.mMarks6s[3]);
    EXPECT_EQ(1u, r.update_flag);

    d.mStep = 2;
    r = report(4, 2, {{}, 100000, 1000000, {}, 0, 0, 0, 0});  // a length but no duration
    d.decideCaton(&r, 256000);
    EXPECT_EQ(1, d.mMarks2s[4]);
    EXPECT_TRUE(log.contains("Korun", "have total and no duration, loaded=100000, threshold=256000, think it as stall (2s)"));
    r.stall_info[4].loaded_base = 1000000;
    d.decideCaton(&r, 256000);
    EXPECT_EQ(0u, r.detect_state);
    EXPECT_EQ(1u, r.update_flag);
    EXPECT_TRUE(log.contains("Korun", "already loaded complete(case 3), stop detection(total=1000000, loaded=1000000)"));

    // Bytes received while the loaded amount wraps to nothing: served from a cache from the third second on.
    r = report(5, 2, {{}, UINT64_MAX, 0, {}, 0, 1, 0, 0});
    d.decideCaton(&r, 256000);
    EXPECT_EQ(0u, r.update_flag);
    d.mStep = 3;
    d.decideCaton(&r, 256000);
    EXPECT_EQ(1u, r.update_flag);
    EXPECT_TRUE(log.contains("Korun", "think as cached, skip it"));
}

// Detection of a video ends once its steps reach its length.
TEST(AwemeShortfall, DetectionEndsWithTheVideo) {
    LogCapture log;
    AwemeCatonDetection d;
    const StallInfoEntry twoSeconds = {{}, 0, 1000000, {}, 0, 600000, 1, 2};
    std::vector<uint32_t> flags;
    for (uint32_t state : {1u, 2u, 2u}) {
        AwemeReportPara r = report(0, state, twoSeconds);
        bool reported = false;
        ASSERT_EQ(0, d.inputSample(&r, nullptr, reported));
        flags.push_back(r.update_flag);
    }
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 1}), flags);
    EXPECT_TRUE(log.contains("Korun", "stop detect current video: mStep=3, update flag=0")) << log.dump();
}

TEST(AwemeDetection, SilentDownloadIsAStallAtTheThirdSecond) {
    LogCapture log;
    AwemeCatonDetection d;
    std::vector<std::pair<int, bool>> seen;  // result, reported
    for (uint32_t state : {0u, 1u, 2u, 2u, 2u, 2u}) {
        AwemeReportPara r = report(0, state);
        int result = -1;
        bool reported = false;
        ASSERT_EQ(0, d.inputSample(&r, &result, reported));
        seen.emplace_back(result, reported);
    }
    EXPECT_EQ((std::vector<std::pair<int, bool>>{{0, false}, {0, true}, {0, false}, {0, false}, {1, false}, {0, false}}),
              seen);
    EXPECT_EQ(1u, log.count("Korun", "no response, think it as stall (3s)"));
    EXPECT_EQ(1u, log.count("Korun", "DouyYin detect stall"));
    EXPECT_EQ(4, d.mStep);  // frozen after the stall
}
