#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <random>
#include <sstream>

#include "LogCapture.h"
#include "WmpParam.h"
#include "WmpText.h"

namespace wmpcore {
namespace {

using Tokens = std::vector<std::string>;

// What a classic-locale stream writes and the first word read back out.
template <typename T>
std::string streamWord(T value) {
    std::stringstream ss;
    ss.imbue(std::locale::classic());
    ss << value;
    std::string word;
    ss >> word;
    return word;
}

TEST(Split2, SeparatorRunsCollapseAndNoTokenIsEmpty) {
    const struct { const char* text; const char* separators; Tokens tokens; } cases[] = {
        {"a==b", "=", {"a", "b"}},    {"key=", "=", {"key"}},  {"=5", "=", {"5"}}, {"a=b=c", "=", {"a", "b", "c"}},
        {",,x,;y,", ",;", {"x", "y"}}, {"whole", "", {"whole"}}, {"", ",", {}},      {",,,", ",", {}}};
    for (const auto& c : cases) EXPECT_EQ(split2(c.text, c.separators), c.tokens) << c.text;
}

TEST(NumberText, FloatTextMatchesTheClassicStreamForAnyBitPattern) {
    const struct { float value; const char* text; } cases[] = {
        {0.3f, "0.3"},        {100.0f, "100"},       {1234567.0f, "1.23457e+06"}, {-61.5f, "-61.5"},
        {-0.0f, "-0"},        {999999.0f, "999999"}, {-999999.0f, "-999999"},     {1e6f, "1e+06"},
        {123456.5f, "123456"}, {1e-4f, "0.0001"},    {1e-5f, "1e-05"},            {1e-45f, "1.4013e-45"},
        {INFINITY, "inf"},    {-INFINITY, "-inf"},   {NAN, "nan"},                {-NAN, "-nan"}};
    for (const auto& c : cases) {
        EXPECT_EQ(floatTostr(c.value), c.text);
        EXPECT_EQ(streamWord(c.value), c.text);
    }
    std::mt19937 rng(7);
    for (int i = 0; i < 200000; ++i) {
        const uint32_t bits = rng();
        float f = 0;
        std::memcpy(&f, &bits, sizeof(f));
        ASSERT_EQ(floatTostr(f), streamWord(f)) << bits;
        const auto n = static_cast<int>(bits);
        // Whole numbers on both sides of the six-digit limit.
        const auto whole = static_cast<float>(n % 2000000);
        ASSERT_EQ(floatTostr(whole), streamWord(whole)) << n;
        ASSERT_EQ(int2str(n), streamWord(n));
        ASSERT_EQ(IntToStr(n), streamWord(n));
    }
}

TEST(NumberText, ParsingAndOutOfRangeValuesStayDefined) {
    EXPECT_EQ(char2str('x'), "x");
    EXPECT_EQ(char2str(' ') + char2str('\n'), "");
    EXPECT_FLOAT_EQ(strToFloat("3.5abc"), 3.5f);
    EXPECT_FLOAT_EQ(strToFloat("  -2.25"), -2.25f);
    EXPECT_EQ(strToFloat("abc") + strToFloat(""), 0.0f);
    EXPECT_EQ(truncToInt(-61.7f), -61);
    EXPECT_EQ(truncToInt(1e30f), INT32_MAX);
    EXPECT_EQ(truncToInt(2147483648.0f), INT32_MAX);
    EXPECT_EQ(truncToInt(-1e30f), INT32_MIN);
    EXPECT_EQ(truncToInt(std::nanf("")), 0);
    EXPECT_EQ(parseInt("12abc"), 12);
    EXPECT_EQ(parseInt("x"), 0);
    // atof narrowed to float, to the bit, whatever the shape of the text.
    for (const char* text : {"-67", "0", "-0", "123456789012345", "-1234567890123456789", "16777217", "12abc", "",
                             "-", "-61.7", " -50", "+7", "0x10", "1e40", "-nan"}) {
        const auto expected = static_cast<float>(std::strtod(text, nullptr));
        const float actual = parseFloat(text);
        EXPECT_EQ(std::memcmp(&expected, &actual, sizeof(float)), 0) << text;
    }
}

TEST(ParamParsing, DocumentedEntries) {
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(getParamByArr({}).maxDist, 100);
    EXPECT_TRUE(log.contains(4, "WmpCore:getParamByArr:", "vecParams size = 0"));
    EXPECT_EQ(getParamByArr({"nClusters=12"}).nClusters, 12);
    EXPECT_EQ(getParamByArr({"nClusters = 12"}).nClusters, 7);
    EXPECT_TRUE(getParamByArr({"isMainAp=2"}).isMainAp);
    EXPECT_FALSE(getParamByArr({"isMainAp=2", "isMainAp=abc"}).isMainAp);
    EXPECT_EQ(getParamByArr({"maxDist==150"}).maxDist, 150);
    EXPECT_EQ(getParamByArr({"weightParam=0.5x"}).weightParam, 0.5f);
    EXPECT_EQ(getParamByArr({"maxZeroRatio=0.9"}).maxZeroRatio, 0.2f);
    EXPECT_EQ(getParamByArr({"minFreq=3", "minFreq=9"}).minFreq, 9);
    EXPECT_EQ(getParamByArr({"threshold=abc"}).threshold, 0);
    EXPECT_EQ(getParamByArr({"minFreq=2=ignored"}).minFreq, 2);
    EXPECT_EQ(getParamByArr({"MinFreq=2", "minFreq", "=2", ""}).minFreq, 5);

    // Every key reaches its own field.
    const Param p = getParamByArr({"batchID=11", "labelID=12", "timestampID=13", "linkSpeedID=14", "bssidStart=15",
                                   "cellIDStart=16", "deleteFlag=17", "nClusters=18", "maxDist=19", "minRange=20",
                                   "minBssidCount=21", "threshold=22", "minMeanRssi=23", "lowerBound=24",
                                   "reprMinOcc=25", "codeType=26", "minFreq=27", "maxBssidNum=28",
                                   "minSampleRatio=1.5", "weightParam=2.5", "shareRatioParam=3.5",
                                   "minDistinctValue=4.5", "minStdev=5.5", "connectedStrength=6.5", "isMainAp=1"});
    EXPECT_EQ((std::vector<int>{11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28}),
              (std::vector<int>{p.batchID, p.labelID, p.timestampID, p.linkSpeedID, p.bssidStart, p.cellIDStart,
                                p.deleteFlag, p.nClusters, p.maxDist, p.minRange, p.minBssidCount, p.threshold,
                                p.minMeanRssi, p.lowerBound, p.reprMinOcc, p.codeType, p.minFreq, p.maxBssidNum}));
    EXPECT_EQ((std::vector<float>{1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f}),
              (std::vector<float>{p.minSampleRatio, p.weightParam, p.shareRatioParam, p.minDistinctValue, p.minStdev,
                                  p.connectedStrength}));
    EXPECT_TRUE(p.isMainAp);
}

}  // namespace
}  // namespace wmpcore
