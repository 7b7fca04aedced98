#include <gtest/gtest.h>
#include <openssl/evp.h>

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

// The table of what the three pipelines returned, logged and printed for
// seeded tables and for the UJIIndoorLoc validation set, recorded once and
// compared ever since. Setting MQQOE_RECORD_DIGESTS to a file name writes
// the table as the code computes it there instead of comparing.

namespace wmpcore {
namespace {

constexpr size_t kPipelineCount = 3;
constexpr size_t kDigestCount = 2 * kPipelineCount;
using Digests = std::array<std::string, kDigestCount>;
const char* const kDigestNames[kDigestCount] = {"trainData text",    "trainData trace",   "trainDataStr text",
                                                "trainDataStr trace", "getCoreData text", "getCoreData trace"};
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

// The digest of the call's text and of its trace: every log line, then standard output.
std::pair<std::string, std::string> digestCall(const std::function<std::string()>& call) {
    mqqoe::testing::LogCapture log;
    ::testing::internal::CaptureStdout();
    const std::string text = call();
    const std::string out = ::testing::internal::GetCapturedStdout();
    std::string trace;
    for (auto line : log.lines()) {
        line.message = maskWholeSeconds(line.message);
        trace += mqqoe::testing::format(line) + "\n";
    }
    return {sha256(text), sha256(trace + "stdout:\n" + out)};
}

Digests digestsOf(const PipelineCase& c) {
    const std::function<std::string()> calls[kPipelineCount] = {
        [&] { return trainData(c.rows, getParamByArr(c.params)); },
        [&] { return trainDataStr(c.rows, getParamByArr(c.params), {}); },
        [&] { return getCoreData(c.rows, getParamByArr(c.params), {}); }};
    Digests digests;
    for (size_t i = 0; i < kPipelineCount; ++i) std::tie(digests[2 * i], digests[2 * i + 1]) = digestCall(calls[i]);
    return digests;
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

TEST(PipelineDigests, TextsLogsAndOutputMatchTheRecordedTable) {
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
        for (size_t i = 0; i < kDigestCount; ++i) {
            recorded << ' ' << actual[i];
            if (recordTo == nullptr) {
                EXPECT_EQ(actual[i], expected[i]) << "case " << name << ", " << kDigestNames[i];
            }
        }
        recorded << '\n';
    }
    if (recordTo != nullptr) std::ofstream(recordTo) << recorded.str();
    EXPECT_GE(seeded, kMinSeededCases);
}

}  // namespace
}  // namespace wmpcore
