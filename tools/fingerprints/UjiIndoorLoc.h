#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>

#include "FingerprintSet.h"

namespace fingerprints {

struct UjiOptions {
    // A pause longer than this between two scans of a phone starts a batch.
    int64_t maxGapSeconds = 300;
};

// Converts the UJIIndoorLoc CSV (WAP001.. columns, FLOOR, BUILDINGID,
// PHONEID, TIMESTAMP) into fingerprint rows. A batch is a run of scans of
// one phone on one floor of one building, in time order; the label and the
// ground-truth place are the building and floor. Level 100 (not heard)
// becomes 0. Nothing when the header lacks a needed column.
[[nodiscard]] std::optional<FingerprintSet> convertUjiIndoorLoc(std::istream& csv, const UjiOptions& options = {});

// The validation set under the shared data folder, converted; nothing when
// it is not there.
[[nodiscard]] std::optional<FingerprintSet> loadUjiValidationSet(const std::string& sharedDir);

}  // namespace fingerprints
