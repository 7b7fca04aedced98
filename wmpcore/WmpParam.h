#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wmpcore {

// Clustering settings, filled from key=value strings; every field keeps its
// default unless a string names it.
struct Param {
    int32_t batchID = 0;
    int32_t labelID = 1;
    int32_t timestampID = 2;
    int32_t linkSpeedID = 3;
    int32_t bssidStart = 5;
    int32_t cellIDStart = 5;
    int32_t deleteFlag = 1;
    int32_t nClusters = 7;
    int32_t maxDist = 100;
    float minSampleRatio = 0.0f;
    float weightParam = 0.3f;
    float shareRatioParam = 0.66f;
    int32_t minRange = 15;
    int32_t lowerBound = -70;
    int32_t reprMinOcc = 5;
    bool isMainAp = false;
    // No key sets it: the share of records in which a BSSID may be missing.
    float maxZeroRatio = 0.2f;
    float minDistinctValue = 5.0f;
    float minStdev = 5.0f;
    int32_t threshold = -80;
    int32_t minBssidCount = 3;
    int32_t minMeanRssi = -80;
    int32_t codeType = 0;
    float connectedStrength = 0.2f;
    int32_t minFreq = 5;
    int32_t maxBssidNum = 1000;
};

[[nodiscard]] Param getParamByArr(std::vector<std::string> vecParams);

}  // namespace wmpcore
