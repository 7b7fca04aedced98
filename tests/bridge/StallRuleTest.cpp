// The per-scene reporting rules, pass by pass, without a worker.

#include <gtest/gtest.h>

#include <iterator>
#include <utility>
#include <vector>

#include "AppScene.h"
#include "StallReportRule.h"

namespace mqqoe {
namespace {

// The frame-detection result as the session keeps it: reading clears it.
struct Frames : FrameResultSource {
    int takeFrameResult() override { return std::exchange(value, 0); }
    int value = 0;
} gFrames;

struct Outcome {
    bool reported;
    StallReport report;
};

Outcome pass(StallReportRule& rule, int out, int in, int result, bool flag = false) {
    Outcome o{false, {}};
    o.reported = rule.onResult(out, in, result, flag, &o.report);
    return o;
}

// For every run length k of silent passes, the reports start at pass N and
// repeat on every further silent pass; traffic ends them.
TEST(NoTrafficRule, ReportsFromTheNthSilentPassOnUntilTrafficReturns) {
    for (int code : {scene::kVoiceCall, scene::kVideoCall}) {
        StallReportRule rule(code, 1000, gFrames);
        const int n = rule.threshold();
        for (int k = 1; k <= n + 3; ++k) {
            for (int i = 1; i <= k; ++i) {
                Outcome o = pass(rule, 0, 0, 0, i % 2 == 0);
                ASSERT_EQ(i >= n, o.reported) << "scene " << code << " run " << k << " pass " << i;
                if (o.reported) {
                    EXPECT_EQ(1, o.report.value);
                    EXPECT_EQ(code, o.report.scene);
                    EXPECT_EQ(kReportKindStall, o.report.kind);
                    EXPECT_EQ(i % 2 == 0, o.report.flag);
                }
            }
            EXPECT_FALSE(pass(rule, 1, 0, 0).reported);  // traffic restarts the count
        }
    }
}

TEST(GenericRule, OneReportPerNPassesOnAnAbnormalPass) {
    StallReportRule rule(scene::kShortVideoPicture, 1000, gFrames);
    // Normal results keep the counter at N without reporting.
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(pass(rule, 0, 0, 0).reported);
    Outcome o = pass(rule, 0, 0, 1, true);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(0, o.report.value);
    EXPECT_EQ(scene::kShortVideoPicture, o.report.scene);
    EXPECT_EQ(kReportKindStall, o.report.kind);
    EXPECT_TRUE(o.report.flag);
    // After a report the next one needs N more passes; a voice call with traffic counts the same way.
    StallReportRule voice(scene::kVoiceCall, 1000, gFrames);
    std::vector<int> reportedAt, voiceReportedAt;
    for (int i = 1; i <= 13; ++i) {
        if (pass(rule, 0, 0, 1).reported) reportedAt.push_back(i);
        if (pass(voice, 100, 100, 1).reported) voiceReportedAt.push_back(i);
    }
    EXPECT_EQ((std::vector<int>{6, 12}), reportedAt);
    EXPECT_EQ((std::vector<int>{5, 10}), voiceReportedAt);
}

TEST(GenericRule, ZeroThresholdReportsEveryAbnormalAndEverySilentPass) {
    StallReportRule generic(scene::kShortVideoKey, 7000, gFrames);
    ASSERT_EQ(0, generic.threshold());
    for (int result : {1, 0, 2, 1, 0}) EXPECT_EQ(result != 0, pass(generic, 0, 0, result).reported);
    StallReportRule voice(scene::kVoiceCall, 7000, gFrames);
    for (int traffic : {0, 10, 0, 99}) {
        Outcome o = pass(voice, traffic, 0, 0);
        ASSERT_TRUE(o.reported);
        EXPECT_EQ(1, o.report.value);
    }
}

TEST(ShortVideoFlag, ReportsTheResultWithTheFlagOnScene100501Only) {
    StallReportRule rule(scene::kShortVideo, 1000, gFrames);
    Outcome o = pass(rule, 0, 0, 1, true);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(1, o.report.value);
    EXPECT_TRUE(o.report.flag);
    // Without the flag the generic counter applies (one pass counted so far).
    EXPECT_FALSE(pass(rule, 0, 0, 1).reported);
    StallReportRule other(scene::kShortVideoKey, 1000, gFrames);
    EXPECT_FALSE(pass(other, 0, 0, 1, true).reported);
}

// Heavy traffic holds the result back for six passes after a normal one; a
// stall in between ends the hold, so heavy traffic right after passes it on.
TEST(FrameRule, AStallBetweenHeavyPassesEndsTheHold) {
    StallReportRule rule{scene::kVideoCall, 1000, gFrames};
    const struct {
        int result;
        bool passedOn;
    } passes[] = {{0, false}, {2, false}, {2, false}, {1, true}, {2, true}, {0, false}, {2, false}};
    for (size_t i = 0; i < std::size(passes); ++i) {
        gFrames.value = 7;
        EXPECT_EQ(passes[i].passedOn, pass(rule, 9, 9, passes[i].result).reported) << "pass " << i;
    }
}

TEST(FrameRule, HeavyTrafficAtTheStartPassesOnNormalPassesClearAndSilenceWins) {
    StallReportRule rule{scene::kVideoCall, 2000, gFrames};
    gFrames.value = 4;
    Outcome o = pass(rule, 5, 5, 2, true);  // no normal pass yet: not held
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(4, o.report.value);
    EXPECT_EQ(kReportKindFrame, o.report.kind);
    EXPECT_TRUE(o.report.flag);
    gFrames.value = 9;
    EXPECT_FALSE(pass(rule, 5, 5, 0).reported);
    EXPECT_EQ(0, gFrames.value);  // read and cleared
    // N = 3 at 2000 ms: the third silent pass is a no-traffic report, the frame result untouched.
    EXPECT_FALSE(pass(rule, 0, 0, 0).reported);
    EXPECT_FALSE(pass(rule, 0, 0, 0).reported);
    gFrames.value = 9;
    o = pass(rule, 0, 0, 1);
    ASSERT_TRUE(o.reported);
    EXPECT_EQ(kReportKindStall, o.report.kind);
    EXPECT_EQ(9, gFrames.value);
    gFrames.value = 0;
}

}  // namespace
}  // namespace mqqoe
