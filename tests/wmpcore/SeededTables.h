#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wmpcore {

// Fingerprint rows and a parameter list for the clustering pipelines.
struct PipelineCase {
    std::vector<std::string> rows;
    std::vector<std::string> params;
};

// A table drawn from `seed` alone: mostly small, now and then a few hundred
// rows or more than 500 batches, with messy rows (short, long, empty,
// non-numeric levels, batches -1 and 0) and odd headers. Only integer
// arithmetic on the engine's raw output is used, so every machine draws the
// same table.
[[nodiscard]] PipelineCase seededCase(uint32_t seed);

}  // namespace wmpcore
