#pragma once

#include <cstdint>

#include "FingerprintSet.h"

namespace fingerprints {

// A multi-floor building with access points and places; scans follow a
// log-distance path-loss model with static shadowing per place and fast
// fading per scan.
struct BuildingSpec {
    int floors = 3;
    double floorWidthM = 60.0;
    double floorDepthM = 24.0;
    double floorHeightM = 4.0;
    // Access points, spread evenly over the floors; one BSSID column each.
    int accessPoints = 60;
    // Places per floor, on a grid of rooms.
    int placesPerFloor = 8;
    int batchesPerPlace = 3;
    int scansPerBatch = 10;
    double txPowerDbm = -38.0;
    double pathLossExponent = 3.0;
    double floorLossDb = 15.0;
    double shadowingSigmaDb = 4.0;
    double fadingSigmaDb = 2.0;
    // Gain offset of the phone taking a batch.
    double deviceOffsetSigmaDb = 2.0;
    double sensitivityDbm = -95.0;
    // Chance that a scan misses an access point it could hear.
    double missChance = 0.05;
    uint32_t seed = 20240611;
};

// Rows (batches in a shuffled visiting order, numbered 1, 2, 3, ...) and the
// place of every batch.
[[nodiscard]] FingerprintSet generateBuilding(const BuildingSpec& spec);

// A spec giving about `rows` scans over `bssidColumns` access points, in
// `batches` batches of equal size.
[[nodiscard]] BuildingSpec specForSize(int rows, int bssidColumns, int batches);

}  // namespace fingerprints
