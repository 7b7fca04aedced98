#include "DataSet.h"

#include <cstring>
#include <memory>

#include "RecordText.h"
#include "WmpReport.h"
#include "WmpText.h"

namespace wmpcore {

namespace {

constexpr char kFieldSeparator = ',';
constexpr RecordTextLayout kDataSetText = {"orginBatch,batch,label,timestamp,link_speed,", ";", true, false};
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

// The batches in which each BSSID is heard, gathered while the rows are read
// and handed to the data set only once every row is done. The pointer table
// maps a BSSID column to its set (created on first use), so the hot loop
// does no name lookups.
class BatchSets {
public:
    explicit BatchSets(const std::vector<std::string>& bssids)
        : mBssids(bssids), mSets(bssids.size(), nullptr), mLastBatch(bssids.size(), 0) {}

    void add(size_t k, int32_t batch) {
        // Consecutive rows mostly share a batch: skip the set when it already has it.
        if (mSets[k] == nullptr) {
            mSets[k] = &mBssidBatches[mBssids[k]];
        } else if (mLastBatch[k] == batch) {
            return;
        }
        // Batches mostly come in ascending order: try the end first.
        mSets[k]->emplace_hint(mSets[k]->end(), batch);
        mLastBatch[k] = batch;
    }

    void moveInto(DataSet& dataSet) { dataSet.bssidBatches = std::move(mBssidBatches); }

private:
    const std::vector<std::string>& mBssids;
    std::map<std::string, std::set<int32_t>> mBssidBatches;
    std::vector<std::set<int32_t>*> mSets;
    std::vector<int32_t> mLastBatch;
};

// Hands the fields split2 would give for `row` to onField(index, text)
// without building them: each is NUL-terminated where it lies (the row is
// ours to change), so the C conversions read it in place.
template <typename OnField>
void forEachField(std::string& row, OnField&& onField) {
    char* const data = row.data();
    const size_t size = row.size();
    size_t pos = 0;
    int index = 0;
    while (pos < size) {
        if (data[pos] == kFieldSeparator) {
            ++pos;
            continue;
        }
        const void* found = std::memchr(data + pos, kFieldSeparator, size - pos);
        const size_t end = found != nullptr ? static_cast<size_t>(static_cast<const char*>(found) - data) : size;
        data[end] = '\0';
        onField(index++, data + pos, end - pos);
        pos = end + 1;
    }
}

// One data row into a record and a row of the level table.
Record parseRecord(std::string& row, const Columns& cols, LevelTable& table, BatchSets& batchSets) {
    Record record;
    const int bssidNum = static_cast<int>(table.width());
    table.addRow();
    forEachField(row, [&](int i, const char* field, size_t length) {
        if (i == cols.batch) {
            record.batch = parseInt(field);
        } else if (i == cols.label) {
            record.label.assign(field, length);
        } else if (i == cols.timestamp) {
            record.timestamp.assign(field, length);
        } else if (i == cols.linkSpeed) {
            record.link_speed.assign(field, length);
        } else if (i == cols.orginBatch) {
            record.orginBatch = parseInt(field);
        } else {
            // BSSID values are placed by position from the first BSSID column.
            const int k = i - cols.firstBssid;
            if (k < 0 || k >= bssidNum) return;
            const float value = parseFloat(field);
            table.set(static_cast<uint32_t>(k), value);
            if (value != 0.0f) batchSets.add(static_cast<size_t>(k), record.batch);
        }
    });
    table.finishRow();
    return record;
}

bool hasFields(const std::string& row) {
    return row.find_first_not_of(kFieldSeparator) != std::string::npos;
}

}  // namespace

float valueOf(const Record& record, const std::string& bssid) {
    return record.bssidValues.valueOf(bssid);
}

DataSet getDataSet(std::vector<std::string> rawFingers, Param /*param*/) {
    WMP_LOGI("getDataSet begin");
    DataSet dataSet;
    if (rawFingers.size() < 2) return dataSet;
    try {
        dataSet.header = split2(rawFingers[0], std::string(1, kFieldSeparator));
        const Columns cols = locateColumns(dataSet.header, dataSet.bssids);
        auto table = std::make_shared<LevelTable>(dataSet.bssids);
        BatchSets batchSets(dataSet.bssids);
        const size_t rowCount = rawFingers.size() - 1;
        table->reserveRows(rowCount);
        dataSet.records.reserve(rowCount);
        dataSet.batches.reserve(rowCount);
        dataSet.labels.reserve(rowCount);
        dataSet.linkSpeeds.reserve(rowCount);
        dataSet.timestamps.reserve(rowCount);
        for (size_t r = 1; r < rawFingers.size(); ++r) {
            std::string& row = rawFingers[r];
            if (!hasFields(row)) continue;
            Record record = parseRecord(row, cols, *table, batchSets);
            record.bssidValues = BssidLevels(table, static_cast<uint32_t>(table->rowCount() - 1));
            dataSet.batches.push_back(record.batch);
            dataSet.labels.push_back(record.label);
            dataSet.linkSpeeds.push_back(record.link_speed);
            dataSet.timestamps.push_back(record.timestamp);
            dataSet.records.push_back(std::move(record));
            // The row text is no longer needed; free it as the table grows.
            std::string().swap(row);
        }
        batchSets.moveInto(dataSet);
        dataSet.bssidValueLists = ColumnLists(std::move(table));
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
    WMP_LOGI_AS(kDataSetTag, "getStrResult begin");
    std::string text;
    try {
        appendRecordText(text, kDataSetText, records, bssids);
        addMissingBssids(records, bssids);
        writeStdoutLine("WmpCore:getStrResult: ");
    } catch (const std::exception& e) {
        reportException("getStrResult", e);
    } catch (...) {
        reportUnknownException();
    }
    return text;
}

}  // namespace wmpcore
