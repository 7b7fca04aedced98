#include "SyntheticBuilding.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <utility>

namespace fingerprints {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int64_t kFirstScanMs = 1700000000000;
constexpr int64_t kBatchSpacingMs = 600000;
constexpr int64_t kScanSpacingMs = 2000;
constexpr double kRoomWidthM = 10.0;
constexpr double kRoomDepthM = 12.0;
constexpr double kTxPowerSpreadDb = 3.0;
constexpr double kPlaceJitterM = 1.0;
constexpr int kLinkSpeeds[] = {72, 144, 286, 433};
constexpr int kApsPerFloorAtScale = 40;
constexpr int kBatchesPerPlaceAtScale = 4;

// Deterministic on every platform: only the engine's raw output is used (the
// standard distributions differ between libraries).
class Rng {
public:
    explicit Rng(uint32_t seed) : mEngine(seed) {}
    double uniform() { return (static_cast<double>(mEngine()) + 0.5) / 4294967296.0; }
    double uniform(double lo, double hi) { return lo + (hi - lo) * uniform(); }
    double normal() { return std::sqrt(-2.0 * std::log(uniform())) * std::cos(2.0 * kPi * uniform()); }
    size_t below(size_t n) { return std::min(n - 1, static_cast<size_t>(uniform() * static_cast<double>(n))); }

private:
    std::mt19937 mEngine;
};

struct Point {
    double x;
    double y;
    int floor;
};

struct AccessPoint {
    Point at;
    double txPowerDbm;
    std::string bssid;
};

std::string bssidName(int index) {
    char buf[32];
    std::snprintf(buf, sizeof(buf), "02:00:5e:%02x:%02x:%02x", (index >> 16) & 0xff, (index >> 8) & 0xff,
                  index & 0xff);
    return buf;
}

std::vector<Point> placePoints(const BuildingSpec& spec, Rng& rng) {
    std::vector<Point> places;
    const int perFloor = std::max(1, spec.placesPerFloor);
    const double aspect = spec.floorWidthM / std::max(1.0, spec.floorDepthM);
    const int cols = std::max(1, static_cast<int>(std::ceil(std::sqrt(perFloor * aspect))));
    const int rows = (perFloor + cols - 1) / cols;
    for (int f = 0; f < spec.floors; ++f) {
        for (int p = 0; p < perFloor; ++p) {
            const double x = (p % cols + 0.5) * spec.floorWidthM / cols + rng.uniform(-kPlaceJitterM, kPlaceJitterM);
            const double y = (p / cols + 0.5) * spec.floorDepthM / rows + rng.uniform(-kPlaceJitterM, kPlaceJitterM);
            places.push_back({x, y, f});
        }
    }
    return places;
}

std::vector<AccessPoint> accessPoints(const BuildingSpec& spec, Rng& rng) {
    std::vector<AccessPoint> aps;
    for (int i = 0; i < spec.accessPoints; ++i) {
        const Point at{rng.uniform(0.0, spec.floorWidthM), rng.uniform(0.0, spec.floorDepthM),
                       i % std::max(1, spec.floors)};
        aps.push_back({at, spec.txPowerDbm + rng.uniform(-kTxPowerSpreadDb, kTxPowerSpreadDb), bssidName(i)});
    }
    return aps;
}

// Mean level of an access point at a place, before shadowing and fading.
double meanLevel(const BuildingSpec& spec, const AccessPoint& ap, const Point& place) {
    const double dz = (ap.at.floor - place.floor) * spec.floorHeightM;
    const double d = std::sqrt(std::pow(ap.at.x - place.x, 2) + std::pow(ap.at.y - place.y, 2) + dz * dz);
    return ap.txPowerDbm - 10.0 * spec.pathLossExponent * std::log10(std::max(d, 1.0)) -
           spec.floorLossDb * std::abs(ap.at.floor - place.floor);
}

}  // namespace

FingerprintSet generateBuilding(const BuildingSpec& spec) {
    Rng rng(spec.seed);
    const std::vector<Point> places = placePoints(spec, rng);
    const std::vector<AccessPoint> aps = accessPoints(spec, rng);

    // Static shadowing: the same offset every time a place hears an AP.
    std::vector<std::vector<double>> level(places.size(), std::vector<double>(aps.size()));
    for (size_t p = 0; p < places.size(); ++p) {
        for (size_t a = 0; a < aps.size(); ++a) {
            level[p][a] = meanLevel(spec, aps[a], places[p]) + spec.shadowingSigmaDb * rng.normal();
        }
    }

    // Every place is visited batchesPerPlace times, in a shuffled order.
    std::vector<size_t> visits;
    for (int k = 0; k < spec.batchesPerPlace; ++k) {
        for (size_t p = 0; p < places.size(); ++p) visits.push_back(p);
    }
    for (size_t i = visits.size(); i > 1; --i) std::swap(visits[i - 1], visits[rng.below(i)]);

    FingerprintSet set;
    std::vector<std::string> names;
    for (const auto& ap : aps) names.push_back(ap.bssid);
    set.rows.push_back(fingerprintHeader(names));
    for (size_t b = 0; b < visits.size(); ++b) {
        const int batch = static_cast<int>(b) + 1;
        const size_t place = visits[b];
        set.placeOfBatch[batch] = static_cast<int32_t>(place);
        const int linkSpeed = kLinkSpeeds[rng.below(std::size(kLinkSpeeds))];
        const double deviceOffset = spec.deviceOffsetSigmaDb * rng.normal();
        const std::string fixed = std::to_string(batch) + "," + std::to_string(batch) + ",F" +
                                  std::to_string(places[place].floor) + ",";
        for (int s = 0; s < spec.scansPerBatch; ++s) {
            const int64_t timestamp = kFirstScanMs + static_cast<int64_t>(b) * kBatchSpacingMs + s * kScanSpacingMs;
            std::string row = fixed + std::to_string(timestamp) + "," + std::to_string(linkSpeed);
            for (size_t a = 0; a < aps.size(); ++a) {
                const double rssi = level[place][a] + deviceOffset + spec.fadingSigmaDb * rng.normal();
                const bool heard = rssi >= spec.sensitivityDbm && rng.uniform() >= spec.missChance;
                const long value = heard ? std::lround(std::min(rssi, -1.0)) : 0;
                row.append(",").append(std::to_string(value));
            }
            set.rows.push_back(std::move(row));
        }
    }
    return set;
}

BuildingSpec specForSize(int rows, int bssidColumns, int batches) {
    BuildingSpec spec;
    spec.accessPoints = bssidColumns;
    spec.floors = std::max(1, bssidColumns / kApsPerFloorAtScale);
    spec.batchesPerPlace = kBatchesPerPlaceAtScale;
    const int places = std::max(1, batches / spec.batchesPerPlace);
    spec.placesPerFloor = std::max(1, (places + spec.floors - 1) / spec.floors);
    spec.floorWidthM = kRoomWidthM * std::max(1, (spec.placesPerFloor + 1) / 2);
    spec.floorDepthM = 2 * kRoomDepthM;
    spec.scansPerBatch = std::max(1, rows / std::max(1, spec.placesPerFloor * spec.floors * spec.batchesPerPlace));
    return spec;
}

}  // namespace fingerprints
