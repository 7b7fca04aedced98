#include "BatchClustering.h"

#include <algorithm>
#include <map>

#include "GraphClustering.h"
#include "WmpReport.h"
#include "WmpText.h"

namespace wmpcore {

namespace {

// The shared bodies below take their inputs by reference; the by-value
// functions of the interface wrap them.

// Fingerprint of the given records. The running sum is an int, truncated
// after every addition; a BSSID heard in no more than weightParam of the
// records is 0.0. The records are walked once, each BSSID's sum kept in
// record order.
BatchFp weightAverage(const std::vector<const Record*>& members, LevelReader& levels, int batch,
                      const Param& param) {
    BatchFp fp{batch, {}};
    try {
        const size_t width = levels.size();
        if (width == 0) return fp;
        std::vector<int> sums(width, 0);
        std::vector<int> heard(width, 0);
        for (const Record* record : members) {
            const auto row = levels.row(record->bssidValues);
            for (size_t k = 0; k < width; ++k) {
                const float v = row[k];
                if (v == 0.0f) continue;
                ++heard[k];
                sums[k] = truncToInt(static_cast<float>(sums[k]) + v);
            }
        }
        const int n = static_cast<int>(members.size());
        fp.second.reserve(width);
        for (size_t k = 0; k < width; ++k) {
            // With no records the ratio is 0/0, which is not below the weight.
            const bool rare =
                n > 0 && static_cast<float>(heard[k]) / static_cast<float>(n) <= param.weightParam;
            fp.second.push_back(rare ? 0.0f
                                     : static_cast<float>(sums[k]) / static_cast<float>(std::max(heard[k], 1)));
        }
    } catch (const std::exception& e) {
        // Reported under the batch clustering's name.
        reportException("batchClustering", e);
    } catch (...) {
        reportUnknownException();
    }
    return fp;
}

// Whether name k of the reader has a non-zero level in some record.
bool anyNonZero(const std::vector<Record>& records, LevelReader& levels, size_t k) {
    for (const Record& record : records) {
        if (levels.row(record.bssidValues)[k] != 0.0f) return true;
    }
    return false;
}

// The same for every name of the reader at once, walking each record once.
std::vector<bool> nonZeroColumns(const std::vector<Record>& records, LevelReader& levels) {
    std::vector<bool> heard(levels.size(), false);
    size_t silent = levels.size();
    for (const Record& record : records) {
        if (silent == 0) break;
        const auto row = levels.row(record.bssidValues);
        for (size_t k = 0; k < levels.size(); ++k) {
            if (heard[k] || row[k] == 0.0f) continue;
            heard[k] = true;
            --silent;
        }
    }
    return heard;
}

}  // namespace

BatchFp computeWeightAverage(DataSet& dataSet, int batch, Param param) {
    std::vector<const Record*> members;
    try {
        for (const Record& record : dataSet.records) {
            if (record.batch == batch) members.push_back(&record);
        }
    } catch (const std::exception& e) {
        reportException("batchClustering", e);
        return {batch, {}};
    } catch (...) {
        reportUnknownException();
        return {batch, {}};
    }
    LevelReader levels(dataSet.bssids);
    return weightAverage(members, levels, batch, param);
}

void batchClustering(DataSet& dataSet, Param param) {
    try {
        // Records of every batch, gathered in one pass instead of a walk of
        // all records per batch.
        std::map<int32_t, std::vector<const Record*>> byBatch;
        for (const Record& record : dataSet.records) byBatch[record.batch].push_back(&record);
        static const std::vector<const Record*> kNoRecords;
        LevelReader levels(dataSet.bssids);
        for (int32_t batch : dataSet.batchSet) {
            const auto it = byBatch.find(batch);
            const auto& members = it == byBatch.end() ? kNoRecords : it->second;
            dataSet.batchClusters.push_back(weightAverage(members, levels, batch, param));
        }

        NonRecDFSTraverseResutl groups = graphClustering(dataSet, param);
        // Batch b is node b - 1; a batch without a node gets label 0.
        for (Record& record : dataSet.records) {
            // Wrapping subtraction, as on the device, for the lowest batch number.
            const auto key = static_cast<int32_t>(static_cast<uint32_t>(record.batch) - 1U);
            const int32_t label = groups.groupOf[key];
            record.prelabel = label;
            ++dataSet.clusterMap[label];
        }
    } catch (const std::exception& e) {
        reportException("batchClustering", e);
    } catch (...) {
        reportUnknownException();
    }
}

bool checkZeroBssidCol(const std::vector<Record>& records, const std::string& bssid) {
    const std::vector<std::string> names{bssid};
    LevelReader levels(names);
    return anyNonZero(records, levels, 0);
}

void clusterFilter(DataSet& dataSet, Param param) {
    std::map<int32_t, int32_t> newLabel;
    int32_t k = 0;
    for (auto it = dataSet.clusterMap.begin(); it != dataSet.clusterMap.end();) {
        if (it->second >= param.minFreq) {
            newLabel[it->first] = ++k;
            ++it;
        } else {
            it = dataSet.clusterMap.erase(it);
        }
    }

    // Erase-remove keeps the order of the kept records without moving the
    // tail once per erased record.
    auto& records = dataSet.records;
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [&](const Record& r) { return dataSet.clusterMap.count(r.prelabel) == 0; }),
                  records.end());
    for (Record& record : records) record.prelabel = newLabel[record.prelabel];

    // The zero test reads the records by reference: they are not changed by it.
    const std::vector<std::string> names = std::move(dataSet.bssids);
    LevelReader levels(names);
    const std::vector<bool> heard = nonZeroColumns(records, levels);
    dataSet.bssids.clear();
    for (size_t col = 0; col < names.size(); ++col) {
        if (heard[col]) dataSet.bssids.push_back(names[col]);
    }
}

}  // namespace wmpcore
