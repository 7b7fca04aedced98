#include "UjiIndoorLoc.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace fingerprints {

namespace {

constexpr char kNotHeard[] = "100";
constexpr char kValidationSet[] = "/data/ujiindoorloc/ValidationData.csv";
constexpr int kFloorsPerBuilding = 10;

std::vector<std::string> splitCsv(const std::string& line) {
    std::vector<std::string> fields;
    std::string::size_type start = 0;
    while (true) {
        const auto comma = line.find(',', start);
        fields.push_back(line.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (!fields.empty() && !fields.back().empty() && fields.back().back() == '\r') fields.back().pop_back();
    return fields;
}

struct Scan {
    long phone;
    int64_t timestamp;
    long building;
    long floor;
    std::vector<std::string> levels;
};

}  // namespace

std::optional<FingerprintSet> convertUjiIndoorLoc(std::istream& csv, const UjiOptions& options) {
    std::string line;
    if (!std::getline(csv, line)) return std::nullopt;
    const auto header = splitCsv(line);
    std::vector<size_t> wapColumns;
    std::vector<std::string> bssids;
    int floorCol = -1;
    int buildingCol = -1;
    int phoneCol = -1;
    int timeCol = -1;
    for (size_t i = 0; i < header.size(); ++i) {
        const std::string& name = header[i];
        if (name.rfind("WAP", 0) == 0) {
            wapColumns.push_back(i);
            bssids.push_back(name);
        } else if (name == "FLOOR") {
            floorCol = static_cast<int>(i);
        } else if (name == "BUILDINGID") {
            buildingCol = static_cast<int>(i);
        } else if (name == "PHONEID") {
            phoneCol = static_cast<int>(i);
        } else if (name == "TIMESTAMP") {
            timeCol = static_cast<int>(i);
        }
    }
    if (wapColumns.empty() || floorCol < 0 || buildingCol < 0 || phoneCol < 0 || timeCol < 0) return std::nullopt;

    std::vector<Scan> scans;
    while (std::getline(csv, line)) {
        const auto fields = splitCsv(line);
        if (fields.size() != header.size()) continue;
        Scan scan{std::strtol(fields[static_cast<size_t>(phoneCol)].c_str(), nullptr, 10),
                  std::strtoll(fields[static_cast<size_t>(timeCol)].c_str(), nullptr, 10),
                  std::strtol(fields[static_cast<size_t>(buildingCol)].c_str(), nullptr, 10),
                  std::strtol(fields[static_cast<size_t>(floorCol)].c_str(), nullptr, 10),
                  {}};
        for (size_t col : wapColumns) scan.levels.push_back(fields[col] == kNotHeard ? "0" : fields[col]);
        scans.push_back(std::move(scan));
    }
    std::stable_sort(scans.begin(), scans.end(), [](const Scan& a, const Scan& b) {
        return a.phone != b.phone ? a.phone < b.phone : a.timestamp < b.timestamp;
    });

    FingerprintSet set;
    set.rows.push_back(fingerprintHeader(bssids));
    int batch = 0;
    const Scan* previous = nullptr;
    for (const Scan& scan : scans) {
        if (previous == nullptr || scan.phone != previous->phone || scan.building != previous->building ||
            scan.floor != previous->floor || scan.timestamp - previous->timestamp > options.maxGapSeconds) {
            ++batch;
            set.placeOfBatch[batch] = static_cast<int32_t>(scan.building * kFloorsPerBuilding + scan.floor);
        }
        previous = &scan;
        const std::string b = std::to_string(batch);
        std::string row = b + "," + b + ",b" + std::to_string(scan.building) + "f" + std::to_string(scan.floor) +
                          "," + std::to_string(scan.timestamp) + ",0";
        for (const auto& level : scan.levels) row.append(",").append(level);
        set.rows.push_back(std::move(row));
    }
    return set;
}

std::optional<FingerprintSet> loadUjiValidationSet(const std::string& sharedDir) {
    std::ifstream csv(sharedDir + kValidationSet);
    if (!csv) return std::nullopt;
    return convertUjiIndoorLoc(csv);
}

}  // namespace fingerprints
