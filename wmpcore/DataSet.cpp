#include "DataSet.h"

#include "WmpReport.h"
#include "WmpText.h"

namespace wmpcore {

namespace {

constexpr char kFieldSeparator[] = ",";
constexpr char kFixedHeader[] = "orginBatch,batch,label,timestamp,link_speed,";
constexpr int kUnset = -1;

// Positions of the fixed columns and of the first BSSID column in the header.
struct Columns {
    int orginBatch = kUnset;
    int batch = kUnset;
    int label = kUnset;
    int timestamp = kUnset;
    int linkSpeed = kUnset;
    int firstBssid = kUnset;
};

Columns locateColumns(const std::vector<std::string>& header, std::vector<std::string>& bssids) {
    Columns cols;
    for (size_t i = 0; i < header.size(); ++i) {
        const std::string& name = header[i];
        const int pos = static_cast<int>(i);
        if (name == "orginBatch") {
            cols.orginBatch = pos;
        } else if (name == "batch") {
            cols.batch = pos;
        } else if (name == "label") {
            cols.label = pos;
        } else if (name == "timestamp") {
            cols.timestamp = pos;
        } else if (name == "link_speed") {
            cols.linkSpeed = pos;
        } else {
            bssids.push_back(name);
            if (cols.firstBssid == kUnset) cols.firstBssid = pos;
        }
    }
    return cols;
}

// The per-BSSID indexes, gathered while the rows are read and handed to the
// data set only once every row is done. The pointer tables map a BSSID
// position to its entry (created on first use), so the hot loop does no
// name lookups.
class BssidIndexes {
public:
    explicit BssidIndexes(const std::vector<std::string>& bssids)
        : mBssids(bssids),
          mLists(bssids.size(), nullptr),
          mBatchSets(bssids.size(), nullptr),
          mLastBatch(bssids.size(), 0) {}

    void add(size_t k, float value, int32_t batch) {
        if (mLists[k] == nullptr) mLists[k] = &mValueLists[mBssids[k]];
        mLists[k]->push_back(value);
        if (value == 0.0f) return;
        // Consecutive rows mostly share a batch: skip the set when it already has it.
        if (mBatchSets[k] == nullptr) {
            mBatchSets[k] = &mBssidBatches[mBssids[k]];
        } else if (mLastBatch[k] == batch) {
            return;
        }
        mBatchSets[k]->insert(batch);
        mLastBatch[k] = batch;
    }

    void moveInto(DataSet& dataSet) {
        dataSet.bssidValueLists = std::move(mValueLists);
        dataSet.bssidBatches = std::move(mBssidBatches);
    }

private:
    const std::vector<std::string>& mBssids;
    std::map<std::string, std::vector<float>> mValueLists;
    std::map<std::string, std::set<int32_t>> mBssidBatches;
    std::vector<std::vector<float>*> mLists;
    std::vector<std::set<int32_t>*> mBatchSets;
    std::vector<int32_t> mLastBatch;
};

Record parseRecord(std::vector<std::string>& fields, const Columns& cols,
                   const std::vector<std::string>& bssids, BssidIndexes& indexes) {
    Record record;
    const int bssidNum = static_cast<int>(bssids.size());
    for (size_t f = 0; f < fields.size(); ++f) {
        const int i = static_cast<int>(f);
        if (i == cols.batch) {
            record.batch = parseInt(fields[f]);
        } else if (i == cols.label) {
            record.label = std::move(fields[f]);
        } else if (i == cols.timestamp) {
            record.timestamp = std::move(fields[f]);
        } else if (i == cols.linkSpeed) {
            record.link_speed = std::move(fields[f]);
        } else if (i == cols.orginBatch) {
            record.orginBatch = parseInt(fields[f]);
        } else {
            // BSSID values are placed by position from the first BSSID column.
            const int k = i - cols.firstBssid;
            if (k < 0 || k >= bssidNum) continue;
            const float value = parseFloat(fields[f]);
            // The first value of a repeated name wins in the record.
            // Headers are usually sorted, so the end is the right place to look first.
            record.bssidValues.emplace_hint(record.bssidValues.end(), bssids[static_cast<size_t>(k)], value);
            indexes.add(static_cast<size_t>(k), value, record.batch);
        }
    }
    return record;
}

}  // namespace

float valueOf(const Record& record, const std::string& bssid) {
    const auto it = record.bssidValues.find(bssid);
    return it == record.bssidValues.end() ? 0.0f : it->second;
}

DataSet getDataSet(std::vector<std::string> rawFingers, Param /*param*/) {
    WMP_LOGI("getDataSet begin");
    DataSet dataSet;
    if (rawFingers.size() < 2) return dataSet;
    try {
        dataSet.header = split2(rawFingers[0], kFieldSeparator);
        const Columns cols = locateColumns(dataSet.header, dataSet.bssids);
        BssidIndexes indexes(dataSet.bssids);
        dataSet.records.reserve(rawFingers.size() - 1);
        for (size_t r = 1; r < rawFingers.size(); ++r) {
            auto fields = split2(rawFingers[r], kFieldSeparator);
            if (fields.empty()) continue;
            Record record = parseRecord(fields, cols, dataSet.bssids, indexes);
            dataSet.batches.push_back(record.batch);
            dataSet.labels.push_back(record.label);
            dataSet.linkSpeeds.push_back(record.link_speed);
            dataSet.timestamps.push_back(record.timestamp);
            dataSet.records.push_back(std::move(record));
            // The row text is no longer needed; free it as the table grows.
            std::string().swap(rawFingers[r]);
        }
        indexes.moveInto(dataSet);
    } catch (const std::exception& e) {
        reportException("getDataSet", e);
    } catch (...) {
        reportUnknownException();
    }
    return dataSet;
}

void reSetDataSet(DataSet& dataSet, Param /*param*/) {
    WMP_LOGI("getNewDataSet begin,recordNum = %d,newbssids.size = %d",
             static_cast<int>(dataSet.records.size()), static_cast<int>(dataSet.bssids.size()));
    try {
        for (const Record& record : dataSet.records) {
            dataSet.batchSet.insert(record.batch);
            dataSet.batches.push_back(record.batch);
        }
    } catch (const std::exception& e) {
        reportException("getNewDataSet", e);
    } catch (...) {
        reportUnknownException();
    }
}

std::string DataSet::getString() {
    __android_log_print(ANDROID_LOG_INFO, kDataSetTag, "getStrResult begin");
    std::string text;
    try {
        text.append(kFixedHeader);
        for (const std::string& name : bssids) {
            text.append(name);
            text.push_back(',');
        }
        text.push_back(';');
        for (Record& record : records) {
            appendInt(text, record.orginBatch);
            text.push_back(',');
            appendInt(text, record.batch);
            text.push_back(',');
            text.append(record.label).push_back(',');
            text.append(record.timestamp).push_back(',');
            text.append(record.link_speed).push_back(',');
            for (const std::string& name : bssids) {
                // A BSSID the record lacks is written as 0 and added to it.
                appendFloat(text, record.bssidValues.try_emplace(name, 0.0f).first->second);
                text.push_back(',');
            }
            text.back() = ';';
        }
        writeStdoutLine("WmpCore:getStrResult: ");
    } catch (const std::exception& e) {
        reportException("getStrResult", e);
    } catch (...) {
        reportUnknownException();
    }
    return text;
}

}  // namespace wmpcore
