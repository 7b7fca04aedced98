#pragma once

#include <string>
#include <vector>

#include "DataSet.h"

namespace wmpcore {

// The clustering model: the filtered records with their labels and the
// BSSID columns that are still heard.
class Cluster {
public:
    // The model text: a header line, then one line per record carrying its
    // orginBatch, fixed fields, levels and cluster label, each ended by ';'.
    // Adds a 0 entry to records that lack a BSSID.
    [[nodiscard]] std::string getStrResult();

    std::vector<Record> records;
    std::vector<std::string> bssids;
};

}  // namespace wmpcore
