#include <gtest/gtest.h>

#include <array>
#include <random>

#include "ClusterQuality.h"
#include "LogCapture.h"
#include "SyntheticBuilding.h"
#include "WmpPipelines.h"

namespace wmpcore {
namespace {

using Rows = std::vector<std::string>;

using Three = std::array<std::string, 3>;
const Rows kLoose = {"minDistinctValue=0", "minStdev=-1"};
const char* const kLevels[] = {"-50,-70", "-52,-72", "0,-40"};
const std::string kModelHeader = "batch,label,timestamp,link_speed,b1,b2,prelabel;";

// Batches b[0] and b[1] at one place, b[2] at another, five scans each; orginBatch is ten times batch.
Rows placeRows(const std::array<int, 3>& b) {
    Rows rows{"orginBatch,batch,label,timestamp,link_speed,b1,b2"};
    for (int i = 0; i < 15; ++i) {
        const std::string batch = std::to_string(b[i / 5]);
        rows.push_back(batch + "0," + batch + ",L,t" + std::to_string(i) + ",72," + kLevels[i / 5]);
    }
    return rows;
}

// `text` followed by one line "<lead>,L,t<i>,72,<levels><tail>;" per scan, lead and tail per batch.
std::string table(std::string text, const Three& lead, const Three& tail) {
    for (int i = 0; i < 15; ++i) text += lead[i / 5] + ",L,t" + std::to_string(i) + ",72," + kLevels[i / 5] + tail[i / 5] + ";";
    return text;
}

TEST(Pipelines, TextsOnAHandMadeTable) {
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(trainData(placeRows({1, 2, 3}), Param{}), table(kModelHeader, {"10", "20", "30"}, {",1", ",1", ",2"}));
    EXPECT_TRUE(log.contains(4, "WmpCore:", "trainData begin,rawFingers.size = 16"));
    // trainDataStr renumbers the batches and writes the old numbers.
    Rows rows = placeRows({4, 8, 15});
    EXPECT_EQ(trainDataStr(rows, getParamByArr(kLoose), {}), table(kModelHeader, {"4", "8", "15"}, {",1", ",1", ",2"}));
    // Two distinct levels per BSSID are too few for the default selection: nothing is clustered.
    EXPECT_EQ(trainDataStr(rows, Param{}, {}), table(kModelHeader, {"40", "80", "150"}, {",0", ",0", ",0"}));
    EXPECT_EQ(getCoreData(rows, Param{}, {}), "");
    rows.push_back("70,7,L,silent,72,0,0");  // dropped
    EXPECT_EQ(getCoreData(rows, getParamByArr(kLoose), {}),
              table("orginBatch,batch,label,timestamp,link_speed,b1,b2,;", {"4,1", "8,2", "15,3"}, {"", "", ""}));
}

fingerprints::ClusterReport score(const fingerprints::FingerprintSet& set, const std::string& text) {
    return fingerprints::scoreModel(text, set.placeOfBatch, set.scanCount());
}

TEST(ClusterProperties, OnePlaceGivesOneCluster) {
    fingerprints::BuildingSpec spec;
    spec.floors = 1;
    spec.placesPerFloor = 1;
    spec.batchesPerPlace = 6;
    const auto set = fingerprints::generateBuilding(spec);
    for (const auto& text : {trainData(set.rows, Param{}), trainDataStr(set.rows, Param{}, {})}) {
        const auto report = score(set, text);
        EXPECT_EQ(report.clusters, 1U);
        EXPECT_EQ(report.kept, set.scanCount());
    }
}

TEST(ClusterProperties, UnrelatedSingleScansAreAllNoise) {
    std::mt19937 rng(5);
    Rows rows{"batch,label,timestamp,link_speed,a,b,c,d,e,f"};
    for (int batch = 1; batch <= 40; ++batch) {
        std::string row = std::to_string(batch) + ",L,0,0";
        for (int k = 0; k < 6; ++k) row += "," + std::to_string(rng() % 2 ? -30 - static_cast<int>(rng() % 60) : 0);
        rows.push_back(row);
    }
    EXPECT_EQ(trainData(rows, Param{}), "batch,label,timestamp,link_speed,prelabel;");
}

TEST(ClusterProperties, AnOutlierBatchIsFilteredWithoutDisturbingThePlaces) {
    auto set = fingerprints::generateBuilding({});
    const int outlier = static_cast<int>(set.placeOfBatch.size()) + 1;
    set.placeOfBatch[outlier] = -1;
    std::string levels;
    for (size_t k = 0; k + 1 < set.rows[0].size() && k < 60; ++k) levels += k == 0 ? ",-30" : ",0";
    for (int i = 0; i < 2; ++i) set.rows.push_back(std::to_string(outlier) + "," + std::to_string(outlier) + ",X,0,0" + levels);
    const auto report = score(set, trainData(set.rows, Param{}));
    EXPECT_EQ(report.kept, set.scanCount() - 2);
    EXPECT_EQ(report.purity, 1.0);
    EXPECT_EQ(report.ari, 1.0);
}

}  // namespace
}  // namespace wmpcore
