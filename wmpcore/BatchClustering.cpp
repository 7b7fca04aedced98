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
// records is 0.0.
BatchFp weightAverage(const std::vector<const Record*>& members, const std::vector<std::string>& bssids,
                      int batch, const Param& param) {
    BatchFp fp{batch, {}};
    try {
        if (bssids.empty()) return fp;
        fp.second.reserve(bssids.size());
        const int n = static_cast<int>(members.size());
        for (const std::string& name : bssids) {
            int sum = 0;
            int heard = 0;
            for (const Record* record : members) {
                const float v = valueOf(*record, name);
                if (v == 0.0f) continue;
                ++heard;
                sum = truncToInt(static_cast<float>(sum) + v);
            }
            // With no records the ratio is 0/0, which is not below the weight.
            const bool rare =
                n > 0 && static_cast<float>(heard) / static_cast<float>(n) <= param.weightParam;
            fp.second.push_back(rare ? 0.0f : static_cast<float>(sum) / static_cast<float>(std::max(heard, 1)));
        }
    } catch (const std::exception& e) {
        // Reported under the batch clustering's name.
        reportException("batchClustering", e);
    } catch (...) {
        reportUnknownException();
    }
    return fp;
}

bool anyNonZero(const std::vector<Record>& records, const std::string& bssid) {
    for (const Record& record : records) {
        if (valueOf(record, bssid) != 0.0f) return true;
    }
    return false;
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
    return weightAverage(members, dataSet.bssids, batch, param);
}

void batchClustering(DataSet& dataSet, Param param) {
    try {
        // Records of every batch, gathered in one pass instead of a walk of
        // all records per batch.
        std::map<int32_t, std::vector<const Record*>> byBatch;
        for (const Record& record : dataSet.records) byBatch[record.batch].push_back(&record);
        static const std::vector<const Record*> kNoRecords;
        for (int32_t batch : dataSet.batchSet) {
            const auto it = byBatch.find(batch);
            const auto& members = it == byBatch.end() ? kNoRecords : it->second;
            dataSet.batchClusters.push_back(weightAverage(members, dataSet.bssids, batch, param));
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

bool checkZeroBssidCol(std::vector<Record> records, std::string bssid) {
    return anyNonZero(records, bssid);
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

    auto& bssids = dataSet.bssids;
    bssids.erase(std::remove_if(bssids.begin(), bssids.end(),
                                [&](const std::string& name) { return !anyNonZero(records, name); }),
                 bssids.end());
}

}  // namespace wmpcore
