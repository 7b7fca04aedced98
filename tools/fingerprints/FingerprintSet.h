#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fingerprints {

// Fingerprint rows in the clustering core's input format (row 0 is the
// header "orginBatch,batch,label,timestamp,link_speed,<bssid>,...") and the
// ground truth: the place (class) each batch was recorded at.
struct FingerprintSet {
    std::vector<std::string> rows;
    std::map<int32_t, int32_t> placeOfBatch;
    // Number of scans behind the rows (rows.size() - 1 when not empty).
    [[nodiscard]] size_t scanCount() const { return rows.empty() ? 0 : rows.size() - 1; }
};

// Header of a set with the given BSSID columns.
[[nodiscard]] std::string fingerprintHeader(const std::vector<std::string>& bssids);

// Rows one per line, truth as "batch place" lines.
[[nodiscard]] bool writeRows(const FingerprintSet& set, const std::string& path);
[[nodiscard]] bool writeTruth(const FingerprintSet& set, const std::string& path);
[[nodiscard]] bool readTruth(const std::string& path, std::map<int32_t, int32_t>& placeOfBatch);

}  // namespace fingerprints
