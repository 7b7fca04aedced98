#include "BssidSelection.h"

#include <algorithm>
#include <cmath>
#include <cstring>
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

// The distinct non-zero levels of a column. They are told apart by their
// bits, which for levels other than NaN and zero is telling them apart by
// value; zero is never held, so its bits mark an empty slot.
class DistinctLevels {
public:
    void insert(float level) {
        if (2 * (mCount + 1) > mSlots.size()) grow();
        if (place(bitsOf(level))) ++mCount;
    }
    [[nodiscard]] std::vector<float> ascending() const {
        std::vector<float> levels;
        levels.reserve(mCount);
        for (uint32_t bits : mSlots) {
            if (bits != kEmpty) levels.push_back(levelOf(bits));
        }
        std::sort(levels.begin(), levels.end());
        return levels;
    }

private:
    static constexpr uint32_t kEmpty = 0;
    static constexpr uint32_t kHashFactor = 0x9E3779B1U;
    static constexpr uint32_t kBits = 32;
    static constexpr uint32_t kFirstShift = 4;

    static uint32_t bitsOf(float level) {
        uint32_t bits = 0;
        std::memcpy(&bits, &level, sizeof(bits));
        return bits;
    }
    static float levelOf(uint32_t bits) {
        float level = 0.0f;
        std::memcpy(&level, &bits, sizeof(level));
        return level;
    }
    // Open addressing over a power-of-two table; true when `bits` was new.
    // The slot comes from the product's high bits: whole-number levels have
    // their low bits all zero.
    bool place(uint32_t bits) {
        const size_t mask = mSlots.size() - 1;
        for (size_t i = (bits * kHashFactor) >> (kBits - mShift);; i = (i + 1) & mask) {
            if (mSlots[i] == bits) return false;
            if (mSlots[i] == kEmpty) {
                mSlots[i] = bits;
                return true;
            }
        }
    }
    void grow() {
        mShift = mSlots.empty() ? kFirstShift : mShift + 1;
        std::vector<uint32_t> old(size_t{1} << mShift, kEmpty);
        old.swap(mSlots);
        for (uint32_t bits : old) {
            if (bits != kEmpty) place(bits);
        }
    }

    std::vector<uint32_t> mSlots;
    uint32_t mShift = 0;
    size_t mCount = 0;
};

// What the first recordNum levels of one column's list hold.
struct ColumnCounts {
    int listed = 0;
    int freq = 0;
    int strongCnt = 0;
    // Of the non-zero levels, in list order, as the mean adds them.
    float sum = 0.0f;
    DistinctLevels distinct;
};

void countLevel(ColumnCounts& counts, float v, int recordNum, const Param& param) {
    if (counts.listed >= recordNum) return;
    ++counts.listed;
    if (v == 0.0f) return;
    counts.sum += v;
    ++counts.freq;
    if (counts.strongCnt <= param.minBssidCount && static_cast<float>(param.threshold) < v) ++counts.strongCnt;
    // A NaN level makes the mean NaN, which fails the selection whatever the
    // rest says; it has no place among ordered levels.
    if (!std::isnan(v)) counts.distinct.insert(v);
}

// Statistics of one column from its counts, or nothing when it is too often
// missing or too rarely strong to be a candidate.
bool bssidStatOf(DataSet& dataSet, const Param& param, const std::string& name, int recordNum, int missLimit,
                 const ColumnCounts& counts, BssidStat& stat) {
    // Records past the end of a short list left no value: not heard.
    const int zeroCnt = std::max(recordNum, 0) - counts.freq;

    // The batch bookkeeping reads position recordNum of `batches` for every
    // silent record, not the record's own; that position only exists once
    // `batches` has grown past one entry per record.
    const size_t quirkPos = static_cast<size_t>(recordNum);
    if (zeroCnt > 0 && quirkPos < dataSet.batches.size()) {
        const auto batchesIt = dataSet.bssidBatches.find(name);
        if (batchesIt != dataSet.bssidBatches.end()) batchesIt->second.erase(dataSet.batches[quirkPos]);
    }

    if (zeroCnt > missLimit || counts.strongCnt <= param.minBssidCount) return false;
    stat.bssid = name;
    stat.freq = counts.freq;
    stat.sampleRatio = recordNum > 0 ? static_cast<float>(counts.freq) / static_cast<float>(recordNum)
                                     : std::numeric_limits<float>::quiet_NaN();
    stat.meanRssi = counts.freq > 0 ? counts.sum / static_cast<float>(counts.freq) : 0.0f;
    const std::vector<float> distinct = counts.distinct.ascending();
    stat.distinctValueNum = static_cast<int32_t>(distinct.size());
    stat.stdev = sampleDeviation(distinct.data(), distinct.data() + distinct.size(), stat.distinctValueNum);
    return true;
}

// The candidates among the first `available` columns, by name (a repeated
// name keeps its last statistics). The rows are walked once for all of them.
std::map<std::string, BssidStat> candidatesOf(DataSet& dataSet, const Param& param, int recordNum, int missLimit,
                                              size_t available) {
    const auto begin = dataSet.bssids.begin();
    const std::vector<std::string> names(begin, begin + static_cast<std::ptrdiff_t>(available));
    std::vector<ColumnCounts> counts(names.size());
    dataSet.bssidValueLists.forEachLevel(names,
                                         [&](size_t k, float v) { countLevel(counts[k], v, recordNum, param); });
    std::map<std::string, BssidStat> candidates;
    for (size_t k = 0; k < names.size(); ++k) {
        BssidStat stat;
        if (bssidStatOf(dataSet, param, names[k], recordNum, missLimit, counts[k], stat)) {
            candidates[names[k]] = std::move(stat);
        }
    }
    return candidates;
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

bool isNonZeroRecord(const Record& record, const std::vector<std::string>& bssidLst) {
    LevelReader levels(bssidLst);
    return hasSignal(record, levels);
}

float deviation(std::set<float> values, int n) {
    const std::vector<float> ascending(values.begin(), values.end());
    return sampleDeviation(ascending.data(), ascending.data() + ascending.size(), n);
}

BssidStat computeBssidStat(const std::vector<float>& values, BssidStat stat, const Param& /*param*/) {
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
            const int columns = std::min(bssidNum, static_cast<int>(dataSet.bssids.size()));
            const std::map<std::string, BssidStat> candidates =
                candidatesOf(dataSet, param, recordNum, missLimit, static_cast<size_t>(std::max(columns, 0)));
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

int deleteBSSID(DataSet& dataSet, Param param, const std::vector<std::string>& /*bssidLst*/) {
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
