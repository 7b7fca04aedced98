#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <random>

#include "ClusterQuality.h"
#include "LogCapture.h"
#include "SyntheticBuilding.h"
#include "UjiIndoorLoc.h"
#include "WmpPipelines.h"

namespace wmpcore {
namespace {

using Rows = std::vector<std::string>;
const Rows kLoose = {"minDistinctValue=0", "minStdev=-1"};

// Two batches at one place (b1 about -50, b2 about -70) and one at another
// place (b1 silent, b2 -40), five scans each; orginBatch is ten times batch.
struct Scene {
    Rows rows{"orginBatch,batch,label,timestamp,link_speed,b1,b2"};
    std::vector<std::string> levels;  // "b1,b2" text of every data row
    std::vector<int> batches;
};

Scene placeTable(int first, int second, int third) {
    Scene s;
    const std::pair<int, const char*> batches[] = {{first, "-50,-70"}, {second, "-52,-72"}, {third, "0,-40"}};
    int t = 0;
    for (const auto& [batch, levels] : batches) {
        for (int i = 0; i < 5; ++i, ++t) {
            s.rows.push_back(std::to_string(10 * batch) + "," + std::to_string(batch) + ",L,t" + std::to_string(t) +
                             ",72," + levels);
            s.levels.emplace_back(levels);
            s.batches.push_back(batch);
        }
    }
    return s;
}

// Model lines "<first column>,L,t<i>,72,<levels>,<label>;".
std::string model(const Scene& s, const std::vector<int>& firstColumn, const std::vector<int>& labels) {
    std::string text = "batch,label,timestamp,link_speed,b1,b2,prelabel;";
    for (size_t i = 0; i < s.levels.size(); ++i) {
        text += std::to_string(firstColumn[i]) + ",L,t" + std::to_string(i) + ",72," + s.levels[i] + "," +
                std::to_string(labels[i]) + ";";
    }
    return text;
}

// Stage timings are whole seconds, so only the text before the figure is fixed.
bool loggedWithPrefix(const mqqoe::testing::LogCapture& log, const std::string& prefix) {
    for (const auto& line : log.lines()) {
        if (line.priority == 4 && line.tag == "WmpCore:" && line.message.rfind(prefix, 0) == 0) return true;
    }
    return false;
}

std::vector<int> perBatch(const Scene& s, std::map<int, int> value) {
    std::vector<int> out;
    for (int b : s.batches) out.push_back(value[b]);
    return out;
}

TEST(Pipelines, TrainDataLabelsTheTwoPlaces) {
    const Scene s = placeTable(1, 2, 3);
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(trainData(s.rows, Param{}),
              model(s, perBatch(s, {{1, 10}, {2, 20}, {3, 30}}), perBatch(s, {{1, 1}, {2, 1}, {3, 2}})));
    EXPECT_TRUE(log.contains(4, "WmpCore:", "trainData begin,rawFingers.size = 16"));
    EXPECT_TRUE(loggedWithPrefix(log, "trainData begin 003,batchClustering spend(seconds): "));
}

TEST(Pipelines, TrainDataStrRenumbersBatchesAndCarriesTheOldOnes) {
    const Scene s = placeTable(4, 8, 15);
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(trainDataStr(s.rows, getParamByArr(kLoose), {}),
              model(s, s.batches, perBatch(s, {{4, 1}, {8, 1}, {15, 2}})));
    EXPECT_TRUE(log.contains(4, "WmpCore:", "trainDataStr begin 000,rawFingers.size = 16"));
    EXPECT_TRUE(log.contains(4, "WmpCore:", "trainDataStr begin 003"));
}

TEST(Pipelines, NothingSelectedGivesUnclusteredModelAndEmptyCoreData) {
    // Two distinct levels per BSSID are too few for the default selection.
    const Scene s = placeTable(4, 8, 15);
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(trainDataStr(s.rows, Param{}, {}), model(s, perBatch(s, {{4, 40}, {8, 80}, {15, 150}}),
                                                       std::vector<int>(s.batches.size(), 0)));
    EXPECT_FALSE(log.contains(4, "WmpCore:", "trainDataStr begin 002"));
    EXPECT_EQ(getCoreData(s.rows, Param{}, {}), "");
    EXPECT_TRUE(loggedWithPrefix(log, "getCoreData begin 001,getDataSet spend(seconds): "));
    EXPECT_FALSE(loggedWithPrefix(log, "getCoreData begin 002"));
}

TEST(Pipelines, CoreDataIsTheRebuiltTable) {
    Scene s = placeTable(4, 8, 15);
    s.rows.push_back("7,7,L,silent,72,0,0");
    std::string expected = "orginBatch,batch,label,timestamp,link_speed,b1,b2,;";
    const std::map<int, int> renumbered = {{4, 1}, {8, 2}, {15, 3}};
    for (size_t i = 0; i < s.levels.size(); ++i) {
        expected += std::to_string(s.batches[i]) + "," + std::to_string(renumbered.at(s.batches[i])) + ",L,t" +
                    std::to_string(i) + ",72," + s.levels[i] + ";";
    }
    EXPECT_EQ(getCoreData(s.rows, getParamByArr(kLoose), {}), expected);
}

TEST(Pipelines, TooFewRowsGiveTheBareHeader) {
    EXPECT_EQ(trainData({}, Param{}), "batch,label,timestamp,link_speed,prelabel;");
    EXPECT_EQ(trainDataStr({"batch,b1"}, Param{}, {}), "batch,label,timestamp,link_speed,prelabel;");
    EXPECT_EQ(getCoreData({"batch,b1"}, Param{}, {}), "");
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

TEST(ClusterProperties, MoreThanFiveHundredBatchesShareOneLabel) {
    Rows rows{"batch,b1"};
    for (int batch = 1; batch <= 501; ++batch) rows.push_back(std::to_string(batch) + "," + std::to_string(-40 - batch % 50));
    const std::string text = trainData(rows, Param{});
    EXPECT_EQ(fingerprints::parseModelText(text).size(), 501U);
    EXPECT_EQ(text.find(",2;"), std::string::npos);
}

TEST(BadInput, RowsOfAnyShapeNeverBreakThePipelines) {
    std::mt19937 rng(3);
    const char alphabet[] = "0123456789-.,,,,e+naxL;= ";
    for (int round = 0; round < 300; ++round) {
        Rows rows{rng() % 4 ? "orginBatch,batch,label,timestamp,link_speed,b1,b2,b3" : "b1,batch,b2,,label"};
        const size_t n = rng() % 30;
        for (size_t r = 0; r < n; ++r) {
            std::string row;
            const size_t len = rng() % 60;
            for (size_t i = 0; i < len; ++i) row += alphabet[rng() % (sizeof(alphabet) - 1)];
            rows.push_back(row);
        }
        const Param p = getParamByArr({"isMainAp=" + std::to_string(rng() % 2), "minFreq=" + std::to_string(rng() % 3)});
        EXPECT_EQ(trainData(rows, p).rfind("batch,label,timestamp,link_speed,", 0), 0U);
        EXPECT_EQ(trainDataStr(rows, p, {}).rfind("batch,label,timestamp,link_speed,", 0), 0U);
        const std::string core = getCoreData(rows, p, {});
        EXPECT_TRUE(core.empty() || core.rfind("orginBatch,batch,", 0) == 0);
    }
}

std::optional<fingerprints::FingerprintSet> ujiSet() {
    const char* shared = std::getenv("MQQOE_SHARED_DIR");
    if (shared == nullptr) return std::nullopt;
    std::ifstream csv(std::string(shared) + "/data/ujiindoorloc/ValidationData.csv");
    if (!csv) return std::nullopt;
    return fingerprints::convertUjiIndoorLoc(csv);
}

TEST(UjiIndoorLoc, PipelinesGiveWellFormedTextsAndFloorPureClusters) {
    const auto set = ujiSet();
    if (!set) GTEST_SKIP() << "UJIIndoorLoc validation set not found under MQQOE_SHARED_DIR";
    ASSERT_EQ(set->scanCount(), 1111U);
    const std::string core = getCoreData(set->rows, Param{}, {});
    EXPECT_EQ(core.rfind("orginBatch,batch,label,timestamp,link_speed,WAP", 0), 0U);
    const auto trained = score(*set, trainData(set->rows, Param{}));
    EXPECT_GT(trained.kept, 0U);
    EXPECT_GE(trained.purity, 0.95);
    const auto selected = score(*set, trainDataStr(set->rows, Param{}, {}));
    EXPECT_GT(selected.clusters, 1U);
}

}  // namespace
}  // namespace wmpcore
