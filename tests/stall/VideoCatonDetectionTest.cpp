#include "VideoCatonDetection.h"
#include "VideoForest.h"

#include <LogCapture.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <utility>

using namespace mqqoe;  // NOLINT: the engine under test

using mqqoe::testing::LogCapture;

namespace {

int classify(int packets, int bytes) {
    if (packets >= 100 && packets <= 120 && bytes < 30000) return 0;
    return packets >= 121 ? 2 : 1;
}

int feed(VideoCatonDetection& d, int packets, int bytes) {
    int result = -7;
    EXPECT_EQ(0, d.inputSample(packets, bytes, &result));
    return result;
}

}  // namespace

TEST(VideoTwoSecondRule, CoarseIntervalDecidesEveryReport) {
    LogCapture log;
    const struct { int packets, bytes, result; } cases[] = {
        {110, 20000, 0}, {110, 30000, 1}, {121, 0, 2}, {99, 0, 1}, {100, 29999, 0}, {120, 29999, 0}};
    for (const auto& c : cases) {
        VideoCatonDetection d;
        ASSERT_EQ(0, d.setDetectionAlgoType(0));
        EXPECT_EQ(c.result, feed(d, c.packets, c.bytes)) << c.packets << " " << c.bytes;
    }
    VideoCatonDetection d;
    EXPECT_EQ(-1, d.setInterval(1000));
    EXPECT_FALSE(d.ready());
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Korun", "The invalid interval:1000"));
    ASSERT_EQ(0, d.setInterval(2000));
    EXPECT_EQ(-1, d.inputSample(1, 1, nullptr));
    EXPECT_TRUE(log.contains("Korun", "iscaton is null"));
}

// Whatever the history, the verdict is the rule applied to the newest 20 samples.
TEST(VideoTwoSecondRule, WindowCoversNewestSamplesAcrossWrapAround) {
    VideoCatonDetection d;
    ASSERT_EQ(0, d.setInterval(100));
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> packets(0, 12), bytes(0, 3000);
    std::deque<std::pair<int, int>> window;
    for (int i = 0; i < 400; ++i) {
        int p = packets(rng), b = bytes(rng);
        window.emplace_back(p, b);
        if (window.size() > 20) window.pop_front();
        int sumP = 0, sumB = 0;
        for (auto [wp, wb] : window) sumP += wp, sumB += wb;
        ASSERT_EQ(window.size() < 20 ? 0 : classify(sumP, sumB), feed(d, p, b)) << "report " << i;
    }
}

TEST(VideoForest, LastTreeWithATableDecidesAndMalformedTablesAreRefused) {
    resetForest();
    VideoCatonDetection d;
    const float strong[6] = {1669.0f, 7907.0f, 0, 0, 8856.0f, 0};  // tree 10: (1, 191)
    const float weak[6] = {1668.0f, 0, 0, 0, 8800.0f, 15382.0f};   // tree 10: (5, 21), 0.81
    EXPECT_TRUE(d.predict2S(strong));
    EXPECT_FALSE(d.predict2S(weak));
    d.setAlgoThreshold(0.8f);
    EXPECT_TRUE(d.predict2S(weak));

    static const ForestNode negative[] = {forestLeaf(9, 1)};
    ASSERT_TRUE(setForestTree(24, negative, 1));
    EXPECT_FALSE(d.predict2S(strong));
    resetForest();
    EXPECT_FALSE(hasForestTree(24));
    EXPECT_TRUE(d.predict2S(strong));

    static const ForestNode backwards[] = {forestInner(0, 1.0, 1, 2), forestInner(1, 1.0, 0, 2), forestLeaf(1, 1)};
    static const ForestNode badFeature[] = {forestInner(6, 1.0, 1, 2), forestLeaf(1, 1), forestLeaf(1, 1)};
    static const ForestNode outside[] = {forestInner(0, 1.0, 1, 3), forestLeaf(1, 1), forestLeaf(1, 1)};
    for (const ForestNode* bad : {backwards, badFeature, outside}) EXPECT_FALSE(setForestTree(3, bad, 3));
    EXPECT_FALSE(setForestTree(25, outside, 1));
    EXPECT_FALSE(hasForestTree(3));
}
