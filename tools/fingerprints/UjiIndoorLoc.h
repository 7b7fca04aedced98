#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "FingerprintSet.h"

namespace fingerprints {

struct UjiOptions {
    // A pause longer than this between two scans of a phone starts a batch.
    int64_t maxGapSeconds = 300;
};

// Where a scan of the converted set was taken, and the batch it went into.
struct UjiScan {
    int32_t batch;
    double x;  // LONGITUDE
    double y;  // LATITUDE
    std::string place;  // "b<building>f<floor>", the label of its row
};

// The fingerprint rows and truth, and one scan per row after the header, in
// the same order.
struct UjiSet {
    FingerprintSet fingerprints;
    std::vector<UjiScan> scans;
};

// The first problem of a malformed file: line and column (the field), both
// from 1, and what is wrong there.
struct CsvProblem {
    size_t line;
    size_t column;
    std::string what;
};

// Converts the UJIIndoorLoc CSV (WAP001.. columns, LONGITUDE, LATITUDE,
// FLOOR, BUILDINGID, PHONEID, TIMESTAMP) into fingerprint rows. A batch is
// a run of scans of one phone on one floor of one building, in time order;
// the label and the ground-truth place are the building and floor. Level
// 100 (not heard) becomes 0. Every row must have the header's width and
// every field used must read: levels whole numbers from -200 to 100,
// coordinates numbers, the rest non-negative whole numbers. Blank lines are
// skipped.
[[nodiscard]] std::variant<UjiSet, CsvProblem> convertUjiIndoorLoc(std::istream& csv,
                                                                   const UjiOptions& options = {});

// "batch x y place" lines, one per scan; x and y read back to the same double.
[[nodiscard]] bool writeScans(const std::vector<UjiScan>& scans, const std::string& path);

// The validation set under the shared data folder, converted; nothing when
// it is not there or does not convert.
[[nodiscard]] std::optional<FingerprintSet> loadUjiValidationSet(const std::string& sharedDir);

}  // namespace fingerprints
