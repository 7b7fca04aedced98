#include "SeededTables.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <utility>

namespace wmpcore {
namespace {

// Only the engine's raw output: the standard distributions differ between libraries.
class Draw {
public:
    explicit Draw(uint32_t seed) : mEngine(seed) {}
    int in(int lo, int hi) { return lo + static_cast<int>(mEngine() % static_cast<uint32_t>(hi - lo + 1)); }
    bool percent(int p) { return in(0, 99) < p; }
    template <typename T, size_t N>
    const T& pick(const T (&items)[N]) {
        return items[mEngine() % N];
    }

private:
    std::mt19937 mEngine;
};

struct Shape {
    int places;
    int batches;
    int scansPerBatch;
    int accessPoints;
};

enum class Kind { kOrginBatch, kBatch, kLabel, kTimestamp, kLinkSpeed, kLevel };

struct Column {
    Kind kind;
    std::string name;
    int ap;
};

constexpr const char* kOddLevels[] = {"abc", "", "nan", "-nan", "inf", "1e40", "-1e-45",
                                      "-0",  "0.0", "3.5abc", " -50", "0x10", "+7", "-61.75"};
constexpr const char* kLinkSpeeds[] = {"72", "144", "286", "433"};
const std::vector<std::string> kParamChoices[] = {
    {"minDistinctValue=0", "minStdev=-1", "minBssidCount=0"},
    {"minDistinctValue=2", "minStdev=2"},
    {"isMainAp=1"},
    {"deleteFlag=0"},
    {"connectedStrength=0"},
    {"connectedStrength=0.6"},
    {"weightParam=0.5"},
    {"weightParam=0"},
    {"maxDist=400"},
    {"maxDist=25"},
    {"minFreq=1"},
    {"minFreq=12"},
    {"reprMinOcc=0"},
    {"reprMinOcc=2", "lowerBound=-95"},
    {"maxBssidNum=10"},
    {"shareRatioParam=0.3"},
    {"shareRatioParam=0.9"},
    {"threshold=-90", "minMeanRssi=-90"},
    {"nClusters = 12", "maxDist==150"},
};

Shape shapeOf(uint32_t seed, Draw& draw) {
    switch (seed % 25) {
        case 0:  // a few hundred rows
            return {draw.in(4, 16), draw.in(20, 90), draw.in(3, 10), draw.in(16, 64)};
        case 1:  // around the 500-batch limit
            return {draw.in(3, 10), draw.in(500, 600), draw.in(1, 2), draw.in(2, 6)};
        default:
            return {draw.in(1, 6), draw.in(1, 12), draw.in(1, 6), draw.in(0, 24)};
    }
}

std::string apName(int ap) {
    // Long shared prefixes, as real BSSIDs have.
    char buf[24];
    std::snprintf(buf, sizeof(buf), "02:00:5e:00:%02x:%02x", (ap >> 8) & 0xff, ap & 0xff);
    return buf;
}

// The usual header, sometimes without orginBatch or timestamp, with the
// batch column after the first BSSID, a fixed name among the BSSIDs or a
// repeated BSSID name.
std::vector<Column> columnsOf(const Shape& shape, Draw& draw) {
    std::vector<Column> cols = {{Kind::kOrginBatch, "orginBatch", 0}, {Kind::kBatch, "batch", 0},
                                {Kind::kLabel, "label", 0},           {Kind::kTimestamp, "timestamp", 0},
                                {Kind::kLinkSpeed, "link_speed", 0}};
    for (int ap = 0; ap < shape.accessPoints; ++ap) cols.push_back({Kind::kLevel, apName(ap), ap});
    const size_t fixedCount = 5;
    if (shape.accessPoints > 1 && draw.percent(4)) cols[fixedCount + 1].name = cols[fixedCount].name;
    if (shape.accessPoints > 2 && draw.percent(5)) {
        cols.insert(cols.begin() + static_cast<long>(fixedCount) + 2, {Kind::kLabel, "label", 0});
    }
    if (shape.accessPoints > 0 && draw.percent(8)) std::rotate(cols.begin() + 1, cols.begin() + 2, cols.begin() + 6);
    if (draw.percent(4)) cols.erase(cols.begin() + 3);
    if (draw.percent(15)) cols.erase(cols.begin());
    return cols;
}

std::string levelText(int heard, int offset, bool messy, Draw& draw) {
    if (heard == 0 || draw.percent(6)) return "0";
    if (messy && draw.percent(3)) return draw.pick(kOddLevels);
    const int level = std::min(-1, heard + offset + draw.in(-4, 4));
    if (draw.percent(12)) return std::to_string(level) + "." + std::to_string(draw.in(0, 9));
    return std::to_string(level);
}

std::string batchText(int batch, bool messy, Draw& draw) {
    if (messy && draw.percent(4)) return "-1";
    if (messy && draw.percent(4)) return "0";
    if (messy && draw.percent(2)) return "x";
    return std::to_string(batch);
}

// Short, long, empty and comma-only rows.
void roughen(std::string& row, const std::vector<Column>& cols, Draw& draw) {
    const int roll = draw.in(0, 99);
    if (roll < 3) {
        size_t keep = static_cast<size_t>(draw.in(0, static_cast<int>(cols.size())));
        size_t cut = 0;
        while (keep-- > 0 && cut != std::string::npos) cut = row.find(',', cut + 1);
        if (cut != std::string::npos) row.resize(cut);
    } else if (roll < 6) {
        for (int extra = draw.in(1, 3); extra > 0; --extra) row += ",-40";
    } else if (roll < 8) {
        row.clear();
    } else if (roll < 9) {
        row = ",,,";
    } else if (roll < 10) {
        row.insert(0, ",");
    }
}

}  // namespace

PipelineCase seededCase(uint32_t seed) {
    Draw draw(seed);
    PipelineCase out;
    if (!draw.percent(30)) {
        for (int n = draw.in(1, 4); n > 0; --n) {
            const auto& choice = draw.pick(kParamChoices);
            out.params.insert(out.params.end(), choice.begin(), choice.end());
        }
    }
    if (draw.percent(4)) return out;  // no rows at all

    const Shape shape = shapeOf(seed, draw);
    const bool messy = draw.percent(50);
    const std::vector<Column> cols = columnsOf(shape, draw);
    std::string header;
    for (const Column& col : cols) header += (header.empty() ? "" : ",") + col.name;
    out.rows.push_back(header);
    if (draw.percent(3)) return out;  // the header alone

    std::vector<std::vector<int>> heardAt(static_cast<size_t>(shape.places));
    for (auto& levels : heardAt) {
        for (int ap = 0; ap < shape.accessPoints; ++ap) levels.push_back(draw.percent(35) ? 0 : draw.in(-95, -35));
    }
    for (int b = 1; b <= shape.batches; ++b) {
        const int place = draw.in(0, shape.places - 1);
        const int offset = draw.in(-3, 3);
        const std::string batch = batchText(b, messy, draw);
        const std::string linkSpeed = draw.pick(kLinkSpeeds);
        for (int s = 0; s < shape.scansPerBatch; ++s) {
            std::string row;
            for (const Column& col : cols) {
                if (&col != &cols.front()) row += ",";
                switch (col.kind) {
                    case Kind::kOrginBatch: row += std::to_string(b * 10); break;
                    case Kind::kBatch: row += messy && draw.percent(1) ? batchText(b, messy, draw) : batch; break;
                    case Kind::kLabel: row += "F" + std::to_string(place % 3); break;
                    case Kind::kTimestamp: row += std::to_string(1700000000000LL + 2000LL * (b * 64 + s)); break;
                    case Kind::kLinkSpeed: row += linkSpeed; break;
                    case Kind::kLevel:
                        row += levelText(heardAt[static_cast<size_t>(place)][static_cast<size_t>(col.ap)], offset,
                                         messy, draw);
                        break;
                }
            }
            if (messy) roughen(row, cols, draw);
            out.rows.push_back(std::move(row));
        }
    }
    // Batches that come back after another one started.
    for (size_t r = 2; messy && r < out.rows.size(); ++r) {
        if (draw.percent(5)) std::swap(out.rows[r - 1], out.rows[r]);
    }
    return out;
}

}  // namespace wmpcore
