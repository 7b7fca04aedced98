#include "BssidSelection.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "WmpReport.h"

namespace wmpcore {

namespace {

// The shared bodies below take their inputs by reference and read levels
// through a LevelReader; the by-value functions of the interface wrap them,
// so the stages neither copy records nor look names up per record while
// giving the same results and log lines.

bool hasSignal(const Record& record, LevelReader& bssidLst) {
    WMP_LOGI("isNonZeroRecord begin,bssidLst.length = %d", static_cast<int>(bssidLst.size()));
    try {
        const auto levels = bssidLst.row(record.bssidValues);
        for (size_t k = 0; k < bssidLst.size(); ++k) {
            if (levels[k] != 0.0f) return true;
        }
    } catch (const std::exception& e) {
        reportException("isNonZeroRecord", e);
    } catch (...) {
        reportUnknownException();
    }
    return false;
}

// Over an ascending run of values, as a std::set<float> holds them.
float sampleDeviation(const float* begin, const float* end, int n) {
    if (n < 2) return 0.0f;
    float sum = 0.0f;
    for (const float* v = begin; v != end; ++v) sum += *v;
    const float mean = sum / static_cast<float>(n);
    float ss = 0.0f;
    for (const float* v = begin; v != end; ++v) ss += (*v - mean) * (*v - mean);
    return std::sqrt(ss / static_cast<float>(n - 1));
}

float meanOf(const std::vector<float>& values) {
    if (values.empty()) return 0.0f;
    float sum = 0.0f;
    for (float v : values) sum += v;
    return sum / static_cast<float>(values.size());
}

// The non-zero levels of one column, kept between columns so that their
// buffers are allocated once.
struct ColumnScratch {
    std::vector<float> nonZero;
    std::vector<float> distinct;
};

// Statistics of one column, or nothing when it is too often missing or too
// rarely strong to be a candidate.
bool collectBssidStat(DataSet& dataSet, const Param& param, const std::string& name, int recordNum,
                      int missLimit, ColumnScratch& scratch, BssidStat& stat) {
    int listed = 0;
    int freq = 0;
    int strongCnt = 0;
    scratch.nonZero.clear();
    const float threshold = static_cast<float>(param.threshold);
    dataSet.bssidValueLists.forEachLevel(name, [&](float v) {
        if (listed >= recordNum) return false;
        ++listed;
        if (v != 0.0f) {
            scratch.nonZero.push_back(v);
            ++freq;
            if (strongCnt <= param.minBssidCount && threshold < v) ++strongCnt;
        }
        return true;
    });
    // Records past the end of a short list left no value: not heard.
    const int zeroCnt = std::max(recordNum, 0) - freq;

    // The batch bookkeeping reads position recordNum of `batches` for every
    // silent record, not the record's own; that position only exists once
    // `batches` has grown past one entry per record.
    const size_t quirkPos = static_cast<size_t>(recordNum);
    if (zeroCnt > 0 && quirkPos < dataSet.batches.size()) {
        const auto batchesIt = dataSet.bssidBatches.find(name);
        if (batchesIt != dataSet.bssidBatches.end()) batchesIt->second.erase(dataSet.batches[quirkPos]);
    }

    if (zeroCnt > missLimit || strongCnt <= param.minBssidCount) return false;
    stat.bssid = name;
    stat.freq = freq;
    stat.sampleRatio = recordNum > 0 ? static_cast<float>(freq) / static_cast<float>(recordNum)
                                     : std::numeric_limits<float>::quiet_NaN();
    stat.meanRssi = meanOf(scratch.nonZero);
    // The distinct levels, ascending. A NaN level makes the mean NaN, which
    // fails the selection whatever the rest says, and has no order to sort by.
    auto& distinct = scratch.distinct;
    distinct = scratch.nonZero;
    if (std::none_of(distinct.begin(), distinct.end(), [](float v) { return std::isnan(v); })) {
        std::sort(distinct.begin(), distinct.end());
        distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    }
    stat.distinctValueNum = static_cast<int32_t>(distinct.size());
    stat.stdev = sampleDeviation(distinct.data(), distinct.data() + distinct.size(), stat.distinctValueNum);
    return true;
}

// The records of one batch, by address; the same selection as getRdsByBatch
// for the stages that only read them.
std::vector<const Record*> recordsOfBatch(const DataSet& dataSet, int batch) {
    std::vector<const Record*> rds;
    try {
        for (const Record& record : dataSet.records) {
            if (record.batch == batch) rds.push_back(&record);
        }
    } catch (const std::exception& e) {
        reportException("getRdsByBatch", e);
    } catch (...) {
        reportUnknownException();
    }
    return rds;
}

const Record& asRecord(const Record& record) {
    return record;
}
const Record& asRecord(const Record* record) {
    return *record;
}

// Whether name k of the reader is heard in every record of rds with a mean
// above lowerBound; over records or record addresses alike, so neither
// caller builds a copy.
template <typename Records>
bool heardAboveBoundInAll(const Records& rds, LevelReader& names, size_t k, const Param& param) {
    if (rds.empty()) return false;
    float sum = 0.0f;
    try {
        for (const auto& record : rds) {
            const float v = names.row(asRecord(record).bssidValues)[k];
            if (v == 0.0f) return false;
            sum += v;
        }
    } catch (const std::exception& e) {
        reportException("checkRdsBssid", e);
    } catch (...) {
        reportUnknownException();
    }
    return sum / static_cast<float>(rds.size()) > static_cast<float>(param.lowerBound);
}

}  // namespace

bool isNonZeroRecord(Record record, std::vector<std::string> bssidLst) {
    LevelReader levels(bssidLst);
    return hasSignal(record, levels);
}

float deviation(std::set<float> values, int n) {
    const std::vector<float> ascending(values.begin(), values.end());
    return sampleDeviation(ascending.data(), ascending.data() + ascending.size(), n);
}

BssidStat computeBssidStat(std::vector<float> values, BssidStat stat, Param /*param*/) {
    stat.meanRssi = meanOf(values);
    return stat;
}

std::vector<Record> getRdsByBatch(DataSet& dataSet, int batch) {
    std::vector<Record> rds;
    try {
        for (const Record& record : dataSet.records) {
            if (record.batch == batch) rds.push_back(record);
        }
    } catch (const std::exception& e) {
        reportException("getRdsByBatch", e);
    } catch (...) {
        reportUnknownException();
    }
    return rds;
}

bool checkRdsBssid(std::vector<Record>& rds, std::string& bssid, Param& param) {
    const std::vector<std::string> names{bssid};
    LevelReader levels(names);
    return heardAboveBoundInAll(rds, levels, 0, param);
}

std::vector<std::string> getNewBssids(DataSet& dataSet, Param param, int recordNum, int bssidNum) {
    WMP_LOGI("getNewBssids begin,recordNum = %d,bssidNum = %d", recordNum, bssidNum);
    std::vector<std::string> result;
    try {
        if (bssidNum <= param.maxBssidNum) {
            // In single precision: 1 - 0.2f is then exactly 0.8f, so 10 records allow 8 gaps.
            const int missLimit =
                static_cast<int>((1.0f - param.maxZeroRatio) * static_cast<float>(recordNum));
            std::map<std::string, BssidStat> candidates;
            ColumnScratch scratch;
            const int available = std::min(bssidNum, static_cast<int>(dataSet.bssids.size()));
            for (int i = 0; i < available; ++i) {
                const std::string& name = dataSet.bssids[static_cast<size_t>(i)];
                BssidStat stat;
                if (collectBssidStat(dataSet, param, name, recordNum, missLimit, scratch, stat)) {
                    candidates[name] = std::move(stat);
                }
            }
            for (const std::string& name : dataSet.bssids) {
                const auto it = candidates.find(name);
                if (it == candidates.end()) continue;
                const BssidStat& stat = it->second;
                if (static_cast<float>(stat.distinctValueNum) > param.minDistinctValue &&
                    stat.stdev > param.minStdev && stat.meanRssi > static_cast<float>(param.minMeanRssi)) {
                    result.push_back(name);
                }
            }
        }
    } catch (const std::exception& e) {
        reportException("getNewBssids", e);
    } catch (...) {
        reportUnknownException();
    }
    WMP_LOGI("getNewBssids end,recordNum = %d,newbssids len = %d", recordNum, static_cast<int>(result.size()));
    return result;
}

std::vector<std::string> filterBssids(DataSet& dataSet, int recordNum, Param param,
                                      std::vector<std::string> newBssidLst) {
    WMP_LOGI("filterBssids begin,recordNum = %d,newBssidLst len = %d", recordNum,
             static_cast<int>(newBssidLst.size()));
    try {
        const std::set<std::string> selected(newBssidLst.begin(), newBssidLst.end());
        std::vector<std::string> dropped;
        for (const std::string& name : dataSet.bssids) {
            if (selected.count(name) == 0) dropped.push_back(name);
        }

        // Batches with records that hear none of the selected BSSIDs.
        std::map<int32_t, int> silentCount;
        std::set<int32_t> served;
        const size_t available = std::min(static_cast<size_t>(std::max(recordNum, 0)), dataSet.records.size());
        {
            LevelReader selectedLevels(newBssidLst);
            for (size_t r = 0; r < available; ++r) {
                const Record& record = dataSet.records[r];
                if (!hasSignal(record, selectedLevels)) {
                    ++silentCount[record.batch];
                } else {
                    served.insert(record.batch);
                }
            }
        }

        LevelReader droppedLevels(dropped);
        for (const auto& [batch, count] : silentCount) {
            if (count <= param.reprMinOcc) continue;
            const std::vector<const Record*> rds = recordsOfBatch(dataSet, batch);
            for (size_t k = 0; k < dropped.size(); ++k) {
                std::string& name = dropped[k];
                if (name.empty()) continue;
                const std::set<int32_t>& heardIn = dataSet.bssidBatches[name];
                if (heardIn.count(batch) != 0 && heardAboveBoundInAll(rds, droppedLevels, k, param)) {
                    newBssidLst.push_back(name);
                    // Cleared so that no BSSID is re-admitted twice.
                    name.clear();
                }
            }
        }
    } catch (const std::exception& e) {
        reportException("filterBssids", e);
    } catch (...) {
        reportUnknownException();
    }
    WMP_LOGI("filterBssids end,recordNum = %d,newBssidLst len = %d", recordNum,
             static_cast<int>(newBssidLst.size()));
    return newBssidLst;
}

void getNewDataSet(DataSet& dataSet, int recordNum, int newBssidNum, Param /*param*/,
                   std::vector<std::string> newBssids) {
    WMP_LOGI("getNewDataSet begin,recordNum = %d,newbssids.size = %d", recordNum, newBssidNum);
    try {
        dataSet.timestamps.clear();
        dataSet.linkSpeeds.clear();
        dataSet.labels.clear();
        dataSet.batches.clear();

        int32_t lastBatch = -1;
        int32_t newBatch = 0;
        const size_t available = std::min(static_cast<size_t>(std::max(recordNum, 0)), dataSet.records.size());
        std::vector<Record> newRecords;
        newRecords.reserve(available);
        auto table = std::make_shared<LevelTable>(newBssids);
        table->reserveRows(available);
        LevelReader kept(newBssids);
        for (size_t i = 0; i < available; ++i) {
            const Record& old = dataSet.records[i];
            if (!hasSignal(old, kept)) continue;
            // Renumbered 1, 2, 3, ... in order of appearance.
            if (old.batch != lastBatch) {
                ++newBatch;
                dataSet.batchSet.insert(newBatch);
                lastBatch = old.batch;
            }
            Record record;
            record.batch = newBatch;
            record.orginBatch = old.batch;
            record.label = old.label;
            record.timestamp = old.timestamp;
            record.link_speed = old.link_speed;
            // Exactly the new BSSIDs, each with the old level (0 when it had none).
            const auto levels = kept.row(old.bssidValues);
            const uint32_t row = table->addRow();
            for (size_t k = 0; k < kept.size(); ++k) table->set(static_cast<uint32_t>(k), levels[k]);
            table->finishRow();
            record.bssidValues = BssidLevels(table, row);
            if (newBatch == 32) writeStdoutLine("*********");
            dataSet.timestamps.push_back(record.timestamp);
            dataSet.labels.push_back(record.label);
            dataSet.batches.push_back(newBatch);
            dataSet.linkSpeeds.push_back(record.link_speed);
            newRecords.push_back(std::move(record));
        }

        dataSet.records = std::move(newRecords);
        dataSet.bssidValueLists.keepOnly(newBssids);
        dataSet.bssids = std::move(newBssids);
    } catch (const std::exception& e) {
        reportException("getNewDataSet", e);
    } catch (...) {
        reportUnknownException();
    }
}

int deleteBSSID(DataSet& dataSet, Param param, std::vector<std::string> /*bssidLst*/) {
    WMP_LOGI("deleteBSSID begin");
    try {
        const int recordNum = static_cast<int>(dataSet.records.size());
        const int bssidNum = static_cast<int>(dataSet.bssids.size());
        std::vector<std::string> selection;
        if (param.deleteFlag == 1 && !param.isMainAp) {
            std::vector<std::string> newBssidLst = getNewBssids(dataSet, param, recordNum, bssidNum);
            if (newBssidLst.empty()) {
                WMP_LOGI("newBssidLst.size == 0");
                return 0;
            }
            selection = filterBssids(dataSet, recordNum, param, std::move(newBssidLst));
        }
        if (param.isMainAp) selection = dataSet.bssids;
        if (selection.empty()) return 0;
        const int newBssidNum = static_cast<int>(selection.size());
        getNewDataSet(dataSet, recordNum, newBssidNum, param, std::move(selection));
        return 1;
    } catch (const std::exception& e) {
        reportException("deleteBSSID", e);
    } catch (...) {
        reportUnknownException();
    }
    return 0;
}

}  // namespace wmpcore
