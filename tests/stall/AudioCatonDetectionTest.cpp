#include "AudioCatonDetection.h"

#include <LogCapture.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <vector>

using namespace mqqoe;  // NOLINT: the engine under test

using mqqoe::testing::LogCapture;

namespace {

// Feeds `packets`; the last result.
int run(AudioCatonDetection& d, const std::vector<int>& packets) {
    int result = -7;
    for (int p : packets) EXPECT_EQ(0, d.inputSample(p, 0, &result));
    return result;
}

// Only a corrupted detector holds a state other than 3G or 4G.
struct CorruptibleAudio : AudioCatonDetection {
    void corruptState(int32_t state) { mAlgoType = state; }
};

}  // namespace

TEST(AudioDetection, TreeBoundaries) {
    AudioCatonDetection d;
    const struct { bool is4G; float f[3]; bool stall; } cases[] = {
        {false, {7.5f, 100, 100}, true},  {false, {9.5f, 9.5f, 20.5f}, true}, {false, {9.5f, 9.5f, 21.0f}, false},
        {false, {10.5f, 11, 11}, false},  {false, {11, 15.5f, 100}, true},    {false, {11, 16, 16}, false},
        {true, {19.5f, 100, 100}, true},  {true, {32.5f, 40, 53.5f}, true},   {true, {32.5f, 40, 54}, false},
        {true, {44.0f, 44, 44}, false},   {true, {45, 45.5f, 50}, true},      {true, {45, 46, 46}, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.stall, c.is4G ? d.predict4G(c.f) : d.predict3G(c.f)) << c.is4G << " " << c.f[0] << " " << c.f[2];
    }
}

TEST(AudioDetection, DecidesFromTheFifthReportAndSwitchesTo4GForGood) {
    LogCapture log;
    CorruptibleAudio steady, busy, spike;
    for (auto* d : {&steady, &busy, &spike}) ASSERT_EQ(0, d->setDetectionAlgoType(0));
    EXPECT_EQ(0, run(steady, {1, 1, 1, 1}));
    EXPECT_EQ(1u, log.count("Korun", "wait for enough feature:4"));
    EXPECT_EQ(1, run(steady, {1}));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "Korun", "Audio detection stall"));
    EXPECT_EQ(0, run(steady, {30, 30, 30, 30, 30}));  // average 30 is not above 30
    EXPECT_EQ(AudioCatonDetection::kState3G, steady.algoType());
    EXPECT_EQ(0, run(busy, {40, 40, 40, 40, 40}));
    EXPECT_EQ(AudioCatonDetection::kState4G, busy.algoType());
    EXPECT_EQ(1, run(spike, {5, 50, 50, 50, 50}));  // switches, then f0 = 5 is a 4G stall
    EXPECT_TRUE(log.contains("Korun", "3G Average:41, Threshold:30, switch to 4G"));
    // One way: ten packets a second would pass the 3G tree but stall the 4G one.
    EXPECT_EQ(1, run(busy, {10, 10, 10, 10, 10}));
    EXPECT_EQ(AudioCatonDetection::kState4G, busy.algoType());

    EXPECT_EQ(-1, steady.setInterval(2000));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Korun", "The invalid interval:2000"));
    busy.corruptState(5);
    int result = 1;
    EXPECT_EQ(-1, busy.inputSample(1, 0, &result));
    EXPECT_EQ(1, result);  // left as it was
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Korun", "Invalid algo type: 5"));
}
