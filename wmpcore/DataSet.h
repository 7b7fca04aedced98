#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "BssidLevels.h"
#include "ColumnLists.h"
#include "WmpParam.h"

namespace wmpcore {

// One fingerprint row.
struct Record {
    int32_t batch = 0;
    int32_t orginBatch = 0;
    std::string label;
    std::string timestamp;
    std::string link_speed;
    // BSSID name -> level, as a row of the data set's level table.
    BssidLevels bssidValues;
    // Cluster label given by batch clustering.
    int32_t prelabel = 0;
};

// One batch fingerprint: the batch number and a level per BSSID column
// (0.0 = not heard), index k being the same BSSID in every fingerprint.
using BatchFp = std::pair<int32_t, std::vector<float>>;

// The fingerprint table and the indexes built from it.
class DataSet {
public:
    // The table as text: the header line, then one line per record, each
    // ended by ';'. Adds a 0 entry to records that lack a BSSID.
    [[nodiscard]] std::string getString();

    std::vector<std::string> header;
    std::vector<Record> records;
    std::vector<std::string> bssids;
    std::vector<std::string> timestamps;
    std::vector<std::string> linkSpeeds;
    std::vector<std::string> labels;
    std::vector<int32_t> batches;
    std::set<int32_t> batchSet;
    std::vector<BatchFp> batchClusters;
    // BSSID name -> its level in every row, a view of the rows' level table.
    ColumnLists bssidValueLists;
    std::map<std::string, std::set<int32_t>> bssidBatches;
    std::map<int32_t, int32_t> clusterMap;
};

// Builds the table from text rows; row 0 is the header. Column positions come
// from the header, not from `param`.
[[nodiscard]] DataSet getDataSet(std::vector<std::string> rawFingers, Param param);

// Refreshes batchSet and appends every record's batch to batches again.
void reSetDataSet(DataSet& dataSet, Param param);

// Value of `bssid` in `record`, 0 when the record lacks it.
[[nodiscard]] float valueOf(const Record& record, const std::string& bssid);

}  // namespace wmpcore
