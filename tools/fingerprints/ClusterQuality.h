#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fingerprints {

// One record of a model text: the batch number it carries and its cluster.
struct ModelRecord {
    int32_t batch;
    int32_t cluster;
};

// Reads the records of a model text ("batch,...,prelabel;" lines).
[[nodiscard]] std::vector<ModelRecord> parseModelText(const std::string& model);

// Share of items whose cluster's most common true class is their own.
[[nodiscard]] double purity(const std::vector<int32_t>& truth, const std::vector<int32_t>& predicted);
// Adjusted Rand index of two labelings of the same items (1 = identical
// partitions, about 0 = chance agreement).
[[nodiscard]] double adjustedRandIndex(const std::vector<int32_t>& truth, const std::vector<int32_t>& predicted);

struct ClusterReport {
    size_t scans = 0;
    size_t kept = 0;
    size_t clusters = 0;
    size_t places = 0;
    double purity = 0.0;
    double ari = 0.0;
    // Cluster -> (record count, majority place, records of that place).
    struct Line {
        int32_t cluster;
        size_t records;
        int32_t place;
        size_t placeRecords;
    };
    std::vector<Line> lines;
};

// Scores a model against the place of every batch; records of batches the
// truth does not know are ignored.
[[nodiscard]] ClusterReport scoreModel(const std::string& model, const std::map<int32_t, int32_t>& placeOfBatch,
                                       size_t scans);
[[nodiscard]] std::string formatReport(const ClusterReport& report);

}  // namespace fingerprints
