#include "WmpParam.h"

#include "WmpReport.h"
#include "WmpText.h"

namespace wmpcore {

namespace {

constexpr char kKeyValueSeparator[] = "=";

using Setter = void (*)(Param&, const std::string&);
struct KeySetter {
    const char* key;
    Setter set;
};

// Keys are compared exactly, in this order; the first match takes the value.
const KeySetter kKeySetters[] = {
    {"batchID", [](Param& p, const std::string& v) { p.batchID = parseInt(v); }},
    {"labelID", [](Param& p, const std::string& v) { p.labelID = parseInt(v); }},
    {"timestampID", [](Param& p, const std::string& v) { p.timestampID = parseInt(v); }},
    {"linkSpeedID", [](Param& p, const std::string& v) { p.linkSpeedID = parseInt(v); }},
    {"bssidStart", [](Param& p, const std::string& v) { p.bssidStart = parseInt(v); }},
    {"cellIDStart", [](Param& p, const std::string& v) { p.cellIDStart = parseInt(v); }},
    {"deleteFlag", [](Param& p, const std::string& v) { p.deleteFlag = parseInt(v); }},
    {"nClusters", [](Param& p, const std::string& v) { p.nClusters = parseInt(v); }},
    {"maxDist", [](Param& p, const std::string& v) { p.maxDist = parseInt(v); }},
    {"minSampleRatio", [](Param& p, const std::string& v) { p.minSampleRatio = strToFloat(v); }},
    {"weightParam", [](Param& p, const std::string& v) { p.weightParam = strToFloat(v); }},
    {"shareRatioParam", [](Param& p, const std::string& v) { p.shareRatioParam = strToFloat(v); }},
    {"minRange", [](Param& p, const std::string& v) { p.minRange = parseInt(v); }},
    {"minBssidCount", [](Param& p, const std::string& v) { p.minBssidCount = parseInt(v); }},
    {"minDistinctValue", [](Param& p, const std::string& v) { p.minDistinctValue = strToFloat(v); }},
    {"minStdev", [](Param& p, const std::string& v) { p.minStdev = strToFloat(v); }},
    {"threshold", [](Param& p, const std::string& v) { p.threshold = parseInt(v); }},
    {"minMeanRssi", [](Param& p, const std::string& v) { p.minMeanRssi = parseInt(v); }},
    {"lowerBound", [](Param& p, const std::string& v) { p.lowerBound = parseInt(v); }},
    {"reprMinOcc", [](Param& p, const std::string& v) { p.reprMinOcc = parseInt(v); }},
    {"isMainAp", [](Param& p, const std::string& v) { p.isMainAp = parseInt(v) != 0; }},
    {"codeType", [](Param& p, const std::string& v) { p.codeType = parseInt(v); }},
    {"connectedStrength", [](Param& p, const std::string& v) { p.connectedStrength = strToFloat(v); }},
    {"minFreq", [](Param& p, const std::string& v) { p.minFreq = parseInt(v); }},
    {"maxBssidNum", [](Param& p, const std::string& v) { p.maxBssidNum = parseInt(v); }},
};

}  // namespace

Param getParamByArr(std::vector<std::string> vecParams) {
    WMP_LOGI_AS(kParamTag, "vecParams size = %d",
                        static_cast<int>(vecParams.size()));
    Param param;
    for (const auto& entry : vecParams) {
        const auto tokens = split2(entry, kKeyValueSeparator);
        if (tokens.size() < 2) continue;
        for (const auto& k : kKeySetters) {
            if (tokens[0] == k.key) {
                k.set(param, tokens[1]);
                break;
            }
        }
    }
    return param;
}

}  // namespace wmpcore
