#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>

#include "LogCapture.h"
#include "SeededTables.h"
#include "UjiIndoorLoc.h"
#include "WmpParam.h"
#include "WmpPipelines.h"

// What the three pipelines return, as a table of SHA-256 digests over seeded
// tables and the UJIIndoorLoc validation set, recorded once and compared ever
// since (MQQOE_RECORD_DIGESTS=<file> writes the table the code computes there
// instead of comparing); and what they log and print, line by line, for a
// few small tables, so that a failure names the line that changed.

namespace wmpcore {
namespace {

constexpr size_t kPipelineCount = 3;
using Digests = std::array<std::string, kPipelineCount>;
const char* const kPipelineNames[kPipelineCount] = {"trainData", "trainDataStr", "getCoreData"};
constexpr size_t kMinSeededCases = 200;
constexpr char kUjiPrefix[] = "uji:";
constexpr char kSpend[] = "spend(seconds): ";
constexpr char kWholeSecondsTail[] = ".000000";

std::string sha256(const std::string& bytes) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), md, &size, EVP_sha256(), nullptr) != 1) return "no-digest";
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) hex.append({kHex[md[i] >> 4], kHex[md[i] & 0xf]});
    return hex;
}

// Stage timings are whole seconds of wall clock, 0 or 1 depending on when
// the clock ticks; only such a number in such a line is masked.
std::string maskWholeSeconds(const std::string& message) {
    const auto at = message.find(kSpend);
    if (at == std::string::npos) return message;
    const auto start = at + sizeof(kSpend) - 1;
    const auto tail = message.find(kWholeSecondsTail, start);
    const bool whole = tail != std::string::npos && tail > start && tail + sizeof(kWholeSecondsTail) - 1 == message.size() &&
                       message.find_first_not_of("0123456789", start) == tail;
    return whole ? message.substr(0, start) + "<seconds>" : message;
}

// Two places, three batches of two scans; selection loosened so that they cluster.
const PipelineCase kPlaces = {{"orginBatch,batch,label,timestamp,link_speed,b1,b2", "10,1,L,t0,72,-50,-70",
                               "10,1,L,t1,72,-51,-71", "20,2,L,t2,72,-52,-72", "20,2,L,t3,72,-53,-70",
                               "30,3,L,t4,72,0,-40", "30,3,L,t5,72,0,-41"},
                              {"minDistinctValue=0", "minStdev=-1", "minFreq=1"}};
// Messy rows under the default parameters: an empty row, a short one, a
// level that is no number, batch -1, a BSSID never heard.
const PipelineCase kMessy = {{"orginBatch,batch,label,timestamp,link_speed,b1,b2,b3", "", "5,1,L,t0,72,-50",
                              "5,1,L,t1,72,x,-60,0", "-1,-1,L,t2,72,-70,-61,0", "6,2,L,t3,72,-71,-62,0"},
                             {}};

using Pipeline = std::string (*)(const PipelineCase&);
const Pipeline kPipelines[kPipelineCount] = {
    [](const PipelineCase& c) { return trainData(c.rows, getParamByArr(c.params)); },
    [](const PipelineCase& c) { return trainDataStr(c.rows, getParamByArr(c.params), {}); },
    [](const PipelineCase& c) { return getCoreData(c.rows, getParamByArr(c.params), {}); }};

Digests digestsOf(const PipelineCase& c) {
    Digests digests;
    for (size_t i = 0; i < kPipelineCount; ++i) digests[i] = sha256(kPipelines[i](c));
    return digests;
}

// Every log line of the call as "priority/tag: message", whole-second
// timings masked, then one "stdout: " line per line it printed.
std::vector<std::string> traceOf(const std::function<std::string()>& call) {
    mqqoe::testing::LogCapture log;
    ::testing::internal::CaptureStdout();
    (void)call();
    const std::string out = ::testing::internal::GetCapturedStdout();
    std::vector<std::string> trace;
    for (auto line : log.lines()) {
        line.message = maskWholeSeconds(line.message);
        trace.push_back(mqqoe::testing::format(line));
    }
    std::istringstream printed(out);
    for (std::string line; std::getline(printed, line);) trace.push_back("stdout: " + line);
    return trace;
}

// A seed, or "uji:" and parameter entries joined by ';'; nothing when the
// validation set is not there.
std::optional<PipelineCase> caseNamed(const std::string& name) {
    if (name.rfind(kUjiPrefix, 0) != 0) return seededCase(static_cast<uint32_t>(std::stoul(name)));
    static const auto uji = [] {
        const char* shared = std::getenv("MQQOE_SHARED_DIR");
        return shared != nullptr ? fingerprints::loadUjiValidationSet(shared) : std::nullopt;
    }();
    if (!uji) return std::nullopt;
    PipelineCase c{uji->rows, {}};
    std::istringstream entries(name.substr(sizeof(kUjiPrefix) - 1));
    for (std::string entry; std::getline(entries, entry, ';');) c.params.push_back(entry);
    return c;
}

TEST(PipelineDigests, TextsMatchTheRecordedTable) {
    std::ifstream table(MQQOE_DIGEST_TABLE);
    ASSERT_TRUE(table) << MQQOE_DIGEST_TABLE;
    const char* recordTo = std::getenv("MQQOE_RECORD_DIGESTS");
    std::ostringstream recorded;
    size_t seeded = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string name;
        Digests expected;
        fields >> name;
        for (auto& digest : expected) fields >> digest;
        const auto c = name.empty() || name[0] == '#' ? std::nullopt : caseNamed(name);
        if (!c) {
            recorded << line << '\n';
            continue;
        }
        if (name.rfind(kUjiPrefix, 0) != 0) ++seeded;
        const Digests actual = digestsOf(*c);
        recorded << name;
        for (size_t i = 0; i < kPipelineCount; ++i) {
            recorded << ' ' << actual[i];
            if (recordTo == nullptr) {
                EXPECT_EQ(actual[i], expected[i]) << "case " << name << ", " << kPipelineNames[i] << " text";
            }
        }
        recorded << '\n';
    }
    if (recordTo != nullptr) std::ofstream(recordTo) << recorded.str();
    EXPECT_GE(seeded, kMinSeededCases);
}

// One expected line, `times` over.
struct TraceLine {
    const char* text;
    size_t times = 1;
};

std::vector<std::string> expand(const std::vector<TraceLine>& lines) {
    std::vector<std::string> all;
    for (const TraceLine& line : lines) all.insert(all.end(), line.times, line.text);
    return all;
}

// "" when equal; else the first line that differs, as both have it.
std::string firstDifference(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
        const std::string want = i < expected.size() ? expected[i] : "<none>";
        const std::string got = i < actual.size() ? actual[i] : "<none>";
        if (want != got) return "line " + std::to_string(i + 1) + ": expected \"" + want + "\", got \"" + got + "\"";
    }
    return "";
}

// What the pipelines log (priority/tag: message, whole-second timings
// masked) and print ("stdout: ") on two small tables, line by line.
TEST(PipelineTraces, SmallTablesLogAndPrintTheseLines) {
    const struct {
        const char* name;
        const PipelineCase* table;
        size_t pipeline;
        std::vector<TraceLine> lines;
    } cases[] = {
        {"Places, trainData", &kPlaces, 0,
         {
          {"4/WmpCore:getParamByArr:: vecParams size = 3"},
          {"4/WmpCore:: trainData begin,rawFingers.size = 7"},
          {"4/WmpCore:: getDataSet begin"},
          {"4/WmpCore:: trainData begin 001,getDataSet spend(seconds): <seconds>"},
          {"4/WmpCore:: getNewDataSet begin,recordNum = 6,newbssids.size = 2"},
          {"4/WmpCore:: trainData begin 002,reSetDataSet spend(seconds): <seconds>"},
          {"4/WmpCore:: graphClustering begin 001"},
          {"4/WmpCore:: graphClustering begin 00201 record_num: 3"},
          {"4/WmpCore:: graphClustering begin 002"},
          {"4/WmpCore:: graphClustering begin 004"},
          {"4/WmpCore:: graphClustering begin 005"},
          {"4/WmpCore:: NonRecDFSTraverse begin,001"},
          {"4/WmpCore:: NonRecDFSTraverse begin,mat.size = 3 ,size = 3 "},
          {"4/WmpCore:: NonRecDFSTraverse begin,001"},
          {"4/WmpCore:: NonRecDFSTraverse begin,mat.size = 3 ,size = 3 "},
          {"4/WmpCore:: trainData begin 003,batchClustering spend(seconds): <seconds>"},
          {"4/WmpCore:: getStrResult begin"},
         }},
        {"Places, trainDataStr", &kPlaces, 1,
         {
          {"4/WmpCore:getParamByArr:: vecParams size = 3"},
          {"4/WmpCore:: trainDataStr begin 000,rawFingers.size = 7"},
          {"4/WmpCore:: getDataSet begin"},
          {"4/WmpCore:: trainDataStr begin 001"},
          {"4/WmpCore:: deleteBSSID begin"},
          {"4/WmpCore:: getNewBssids begin,recordNum = 6,bssidNum = 2"},
          {"4/WmpCore:: getNewBssids end,recordNum = 6,newbssids len = 2"},
          {"4/WmpCore:: filterBssids begin,recordNum = 6,newBssidLst len = 2"},
          {"4/WmpCore:: isNonZeroRecord begin,bssidLst.length = 2", 6},
          {"4/WmpCore:: filterBssids end,recordNum = 6,newBssidLst len = 2"},
          {"4/WmpCore:: getNewDataSet begin,recordNum = 6,newbssids.size = 2"},
          {"4/WmpCore:: isNonZeroRecord begin,bssidLst.length = 2", 6},
          {"4/WmpCore:: trainDataStr begin 002"},
          {"4/WmpCore:: graphClustering begin 001"},
          {"4/WmpCore:: graphClustering begin 00201 record_num: 3"},
          {"4/WmpCore:: graphClustering begin 002"},
          {"4/WmpCore:: graphClustering begin 004"},
          {"4/WmpCore:: graphClustering begin 005"},
          {"4/WmpCore:: NonRecDFSTraverse begin,001"},
          {"4/WmpCore:: NonRecDFSTraverse begin,mat.size = 3 ,size = 3 "},
          {"4/WmpCore:: NonRecDFSTraverse begin,001"},
          {"4/WmpCore:: NonRecDFSTraverse begin,mat.size = 3 ,size = 3 "},
          {"4/WmpCore:: trainDataStr begin 003"},
          {"4/WmpCore:: getStrResult begin"},
          {"4/WmpCore:: trainDataStr begin 004"},
         }},
        {"Places, getCoreData", &kPlaces, 2,
         {
          {"4/WmpCore:getParamByArr:: vecParams size = 3"},
          {"4/WmpCore:: getCoreData begin 000,rawFingers.size = 7"},
          {"4/WmpCore:: getDataSet begin"},
          {"4/WmpCore:: getCoreData begin 001,getDataSet spend(seconds): <seconds>"},
          {"4/WmpCore:: deleteBSSID begin"},
          {"4/WmpCore:: getNewBssids begin,recordNum = 6,bssidNum = 2"},
          {"4/WmpCore:: getNewBssids end,recordNum = 6,newbssids len = 2"},
          {"4/WmpCore:: filterBssids begin,recordNum = 6,newBssidLst len = 2"},
          {"4/WmpCore:: isNonZeroRecord begin,bssidLst.length = 2", 6},
          {"4/WmpCore:: filterBssids end,recordNum = 6,newBssidLst len = 2"},
          {"4/WmpCore:: getNewDataSet begin,recordNum = 6,newbssids.size = 2"},
          {"4/WmpCore:: isNonZeroRecord begin,bssidLst.length = 2", 6},
          {"4/WmpCore:: getCoreData begin 002,deleteBSSID spend(seconds): <seconds>"},
          {"4/WmpCore DataSet:: getStrResult begin"},
          {"stdout: WmpCore:getStrResult: "},
         }},
        {"Messy, trainDataStr", &kMessy, 1,
         {
          {"4/WmpCore:getParamByArr:: vecParams size = 0"},
          {"4/WmpCore:: trainDataStr begin 000,rawFingers.size = 6"},
          {"4/WmpCore:: getDataSet begin"},
          {"4/WmpCore:: trainDataStr begin 001"},
          {"4/WmpCore:: deleteBSSID begin"},
          {"4/WmpCore:: getNewBssids begin,recordNum = 4,bssidNum = 3"},
          {"4/WmpCore:: getNewBssids end,recordNum = 4,newbssids len = 0"},
          {"4/WmpCore:: newBssidLst.size == 0"},
          {"4/WmpCore:: getStrResult begin"},
          {"4/WmpCore:: trainDataStr begin 004"},
         }},
        {"Messy, getCoreData", &kMessy, 2,
         {
          {"4/WmpCore:getParamByArr:: vecParams size = 0"},
          {"4/WmpCore:: getCoreData begin 000,rawFingers.size = 6"},
          {"4/WmpCore:: getDataSet begin"},
          {"4/WmpCore:: getCoreData begin 001,getDataSet spend(seconds): <seconds>"},
          {"4/WmpCore:: deleteBSSID begin"},
          {"4/WmpCore:: getNewBssids begin,recordNum = 4,bssidNum = 3"},
          {"4/WmpCore:: getNewBssids end,recordNum = 4,newbssids len = 0"},
          {"4/WmpCore:: newBssidLst.size == 0"},
         }},
    };
    for (const auto& c : cases) {
        const auto trace = traceOf([&] { return kPipelines[c.pipeline](*c.table); });
        EXPECT_EQ("", firstDifference(expand(c.lines), trace)) << c.name;
    }
}

}  // namespace
}  // namespace wmpcore
