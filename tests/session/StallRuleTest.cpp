// The per-scene reporting rules, pass by pass, without a worker.

#include <gtest/gtest.h>

#include <vector>

#include "StallSession.h"
#include "ZvQoE_jni.h"

namespace mqqoe {
namespace {

struct Outcome {
    bool reported;
    StallReport report;
};

Outcome pass(StallReportRule& rule, int out, int in, int result, bool flag = false) {
    Outcome o{false, {}};
    o.reported = rule.onResult(out, in, result, flag, &o.report);
    return o;
}

void setFrameResult(int value) {
    StateLock lock;
    gCurFrameDetectResult = value;
}

int frameResult() {
    StateLock lock;
    return gCurFrameDetectResult;
}

TEST(ReportingThreshold, IsTheSceneSpanOverTheDetectorInterval) {
    EXPECT_EQ(5, reportingThreshold(kSceneVoiceCall, 1000));
    EXPECT_EQ(6, reportingThreshold(kSceneVideoCall, 1000));
    EXPECT_EQ(2, reportingThreshold(kSceneVoiceCall, 2000));
    EXPECT_EQ(3, reportingThreshold(kSceneVideoCall, 2000));
    EXPECT_EQ(50, reportingThreshold(kSceneVoiceCall, 100));
    EXPECT_EQ(60, reportingThreshold(kSceneShortVideo, 100));
}

TEST(ReportingThreshold, NonPositiveIntervalCountsAsOneSecondAndALongOneGivesZero) {
    EXPECT_EQ(5, reportingThreshold(kSceneVoiceCall, 0));
    EXPECT_EQ(6, reportingThreshold(kSceneVideoCall, -2000));
    EXPECT_EQ(0, reportingThreshold(kSceneVoiceCall, 5001));
    EXPECT_EQ(1, reportingThreshold(kSceneVideoCall, 6000));
}

TEST(AwemeParams, EightNibblesLowestFirst) {
    EXPECT_EQ((std::array<int, 8>{1, 2, 3, 4, 5, 6, 7, 8}), unpackAwemeParams(static_cast<int32_t>(0x87654321u)));
    EXPECT_EQ((std::array<int, 8>{15, 15, 15, 15, 15, 15, 15, 15}), unpackAwemeParams(-1));
    EXPECT_EQ((std::array<int, 8>{3, 4, 2, 3, 1, 1, 1, 1}), unpackAwemeParams(0x11113243));
}

// For every run length k of silent passes, the reports start at pass N and
// repeat on every further silent pass; traffic ends them.
TEST(NoTrafficRule, ReportsFromTheNthSilentPassOnUntilTrafficReturns) {
    for (int scene : {kSceneVoiceCall, kSceneVideoCall}) {
        StallReportRule rule(scene, 1000);
        const int n = rule.threshold();
        for (int k = 1; k <= n + 3; ++k) {
            for (int i = 1; i <= k; ++i) {
                Outcome o = pass(rule, 0, 0, 0, i % 2 == 0);
                ASSERT_EQ(i >= n, o.reported) << "scene " << scene << " run " << k << " pass " << i;
                if (o.reported) {
                    EXPECT_EQ(1, o.report.value);
                    EXPECT_EQ(scene, o.report.scene);
                    EXPECT_EQ(kReportKindStall, o.report.kind);
                    EXPECT_EQ(i % 2 == 0, o.report.flag);
                }
            }
            EXPECT_FALSE(pass(rule, 1, 0, 0).reported);  // traffic restarts the count
        }
    }
}

TEST(GenericRule, OneReportPerNPassesOnAnAbnormalPass) {
    StallReportRule rule(kSceneShortVideoPicture, 1000);
    ASSERT_EQ(6, rule.threshold());
    // Normal results keep the counter at N without reporting.
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(pass(rule, 0, 0, 0).reported);
    Outcome o = pass(rule, 0, 0, 1, true);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(0, o.report.value);
    EXPECT_EQ(kSceneShortVideoPicture, o.report.scene);
    EXPECT_EQ(kReportKindStall, o.report.kind);
    EXPECT_TRUE(o.report.flag);
    // After a report the next one needs N more passes.
    std::vector<int> reportedAt;
    for (int i = 1; i <= 13; ++i) {
        if (pass(rule, 0, 0, 1).reported) reportedAt.push_back(i);
    }
    EXPECT_EQ((std::vector<int>{6, 12}), reportedAt);
}

TEST(GenericRule, VoiceCallWithTrafficUsesIt) {
    StallReportRule rule(kSceneVoiceCall, 1000);
    std::vector<int> reportedAt;
    for (int i = 1; i <= 10; ++i) {
        Outcome o = pass(rule, 100, 100, 1);
        if (o.reported) {
            reportedAt.push_back(i);
            EXPECT_EQ(0, o.report.value);
        }
    }
    EXPECT_EQ((std::vector<int>{5, 10}), reportedAt);
}

TEST(ZeroThreshold, EveryAbnormalPassAndEverySilentPassReports) {
    StallReportRule generic(kSceneShortVideoKey, 7000);
    ASSERT_EQ(0, generic.threshold());
    for (int result : {1, 0, 2, 1, 0}) EXPECT_EQ(result != 0, pass(generic, 0, 0, result).reported);
    StallReportRule voice(kSceneVoiceCall, 7000);
    for (int traffic : {0, 10, 0, 99}) {
        Outcome o = pass(voice, traffic, 0, 0);
        ASSERT_TRUE(o.reported);
        EXPECT_EQ(1, o.report.value);
    }
}

TEST(ShortVideoFlag, ReportsTheResultWithTheFlagOnScene100501Only) {
    StallReportRule rule(kSceneShortVideo, 1000);
    Outcome o = pass(rule, 0, 0, 1, true);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(1, o.report.value);
    EXPECT_EQ(kSceneShortVideo, o.report.scene);
    EXPECT_TRUE(o.report.flag);
    // Without the flag the generic counter applies (one pass counted so far).
    EXPECT_FALSE(pass(rule, 0, 0, 1).reported);
    StallReportRule other(kSceneShortVideoKey, 1000);
    EXPECT_FALSE(pass(other, 0, 0, 1, true).reported);
}

class FrameRule : public ::testing::Test {
protected:
    void TearDown() override { setFrameResult(0); }
    StallReportRule rule{kSceneVideoCall, 2000};
};

TEST_F(FrameRule, StallPassesTheFrameResultOnAndClearsIt) {
    setFrameResult(7);
    Outcome o = pass(rule, 5, 5, 1, true);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(7, o.report.value);
    EXPECT_EQ(kSceneVideoCall, o.report.scene);
    EXPECT_EQ(kReportKindFrame, o.report.kind);
    EXPECT_TRUE(o.report.flag);
    EXPECT_EQ(0, frameResult());
    EXPECT_FALSE(pass(rule, 5, 5, 1).reported);  // nothing new from the service
}

TEST_F(FrameRule, HeavyTrafficAfterANormalPassHoldsSixPasses) {
    EXPECT_FALSE(pass(rule, 5, 5, 0).reported);
    for (int i = 0; i < 6; ++i) {
        setFrameResult(3);
        EXPECT_FALSE(pass(rule, 5, 5, 2).reported) << "held pass " << i;
        EXPECT_EQ(0, frameResult());  // read and cleared even when held
    }
    setFrameResult(3);
    Outcome o = pass(rule, 5, 5, 2);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(3, o.report.value);
}

TEST_F(FrameRule, HeavyTrafficAtSessionStartIsNotHeld) {
    setFrameResult(4);
    EXPECT_TRUE(pass(rule, 5, 5, 2).reported);
}

TEST_F(FrameRule, NormalPassesNeverReportAndSilenceWinsOverFrames) {
    setFrameResult(9);
    EXPECT_FALSE(pass(rule, 5, 5, 0).reported);
    EXPECT_EQ(0, frameResult());
    // N = 3 at 2000 ms: the third silent pass is a no-traffic report, frame result untouched.
    setFrameResult(9);
    EXPECT_FALSE(pass(rule, 0, 0, 0).reported);
    EXPECT_FALSE(pass(rule, 0, 0, 0).reported);
    setFrameResult(9);
    Outcome o = pass(rule, 0, 0, 1);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(kReportKindStall, o.report.kind);
    EXPECT_EQ(9, frameResult());
}

}  // namespace
}  // namespace mqqoe
