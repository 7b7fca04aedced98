#pragma once

#include <string>
#include <vector>

#include "DataSet.h"
#include "WmpParam.h"

namespace wmpcore {

// Summarises every batch of batchSet as one fingerprint, clusters the batch
// fingerprints and labels every record with its batch's cluster.
void batchClustering(DataSet& dataSet, Param param);

// The weighted-average fingerprint of one batch.
[[nodiscard]] BatchFp computeWeightAverage(DataSet& dataSet, int batch, Param param);

// Drops clusters with fewer than minFreq records together with their
// records, renumbers the rest 1, 2, 3, ... and drops all-zero BSSID columns.
void clusterFilter(DataSet& dataSet, Param param);

// True when some record has a non-zero value for `bssid`.
[[nodiscard]] bool checkZeroBssidCol(const std::vector<Record>& records, const std::string& bssid);

}  // namespace wmpcore
