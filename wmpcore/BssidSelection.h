#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "DataSet.h"
#include "WmpParam.h"

namespace wmpcore {

// Statistics of one BSSID column.
struct BssidStat {
    std::string bssid;
    int32_t freq = 0;
    float sampleRatio = 0.0f;
    int32_t distinctValueNum = 0;
    float stdev = 0.0f;
    float meanRssi = 0.0f;
};

// Keeps the BSSIDs that are heard often, strongly and with a varying level,
// re-admits those needed by otherwise silent batches, and rebuilds the data
// set on them. Returns 1 when the data set was rebuilt, 0 when untouched.
[[nodiscard]] int deleteBSSID(DataSet& dataSet, Param param, const std::vector<std::string>& bssidLst);

[[nodiscard]] std::vector<std::string> getNewBssids(DataSet& dataSet, Param param, int recordNum, int bssidNum);
[[nodiscard]] std::vector<std::string> filterBssids(DataSet& dataSet, int recordNum, Param param,
                                                    std::vector<std::string> newBssidLst);
void getNewDataSet(DataSet& dataSet, int recordNum, int newBssidNum, Param param,
                   std::vector<std::string> newBssids);

[[nodiscard]] bool isNonZeroRecord(const Record& record, const std::vector<std::string>& bssidLst);
[[nodiscard]] std::vector<Record> getRdsByBatch(DataSet& dataSet, int batch);
[[nodiscard]] bool checkRdsBssid(std::vector<Record>& rds, std::string& bssid, Param& param);

[[nodiscard]] float deviation(std::set<float> values, int n);
[[nodiscard]] BssidStat computeBssidStat(const std::vector<float>& values, BssidStat stat, const Param& param);

}  // namespace wmpcore
