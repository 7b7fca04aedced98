#pragma once
// The one writer of fingerprint records as text, shared by the data-set text
// and the model text: a header line of the fixed columns and the BSSID
// names, then one ';'-ended line per record with its levels in the order of
// the names (0 where the record has none).

#include <string>
#include <vector>

#include "DataSet.h"

namespace wmpcore {

// The two texts differ only in their columns around the levels.
struct RecordTextLayout {
    const char* fixedHeader;  // the header's fixed columns, each ended by ','
    const char* lastHeader;   // after the names
    bool withBatch;           // a batch column after orginBatch
    bool withPrelabel;        // the cluster label ends the line; else the levels' last ',' does
};

// Appends the header and every record's line to `text`; on an exception the
// lines written so far stay.
void appendRecordText(std::string& text, const RecordTextLayout& layout, const std::vector<Record>& records,
                      const std::vector<std::string>& bssids);

// Gives every record each name of `bssids` it lacks, with level 0: both
// texts leave their records so, as they always have.
void addMissingBssids(std::vector<Record>& records, const std::vector<std::string>& bssids);

}  // namespace wmpcore
