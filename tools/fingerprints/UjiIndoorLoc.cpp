#include "UjiIndoorLoc.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

namespace fingerprints {

namespace {

constexpr char kWapPrefix[] = "WAP";
constexpr int64_t kNotHeard = 100;
constexpr int64_t kLevelMin = -200;
constexpr int64_t kLevelMax = 100;
constexpr char kValidationSet[] = "/data/ujiindoorloc/ValidationData.csv";
constexpr int64_t kFloorsPerBuilding = 10;
// Shortest text of any double that reads back to it, with room to spare.
constexpr size_t kDoubleChars = 32;

// What a column of the export is to the converter.
enum class Role { kUnused, kLevel, kLongitude, kLatitude, kFloor, kBuilding, kPhone, kTimestamp };

struct NamedColumn {
    const char* name;
    Role role;
};

// The named columns every export needs, in the order their absence is reported.
constexpr NamedColumn kNamedColumns[] = {
    {"LONGITUDE", Role::kLongitude}, {"LATITUDE", Role::kLatitude}, {"FLOOR", Role::kFloor},
    {"BUILDINGID", Role::kBuilding}, {"PHONEID", Role::kPhone},     {"TIMESTAMP", Role::kTimestamp},
};

struct Range {
    int64_t min;
    int64_t max;
};

// The whole numbers a column takes; the identifiers fit 32 bits.
Range rangeOf(Role role) {
    switch (role) {
        case Role::kLevel:
            return {kLevelMin, kLevelMax};
        case Role::kTimestamp:
            return {0, std::numeric_limits<int64_t>::max()};
        default:
            return {0, std::numeric_limits<int32_t>::max()};
    }
}

struct Header {
    std::vector<std::string> names;
    std::vector<Role> roles;  // one per name
    std::vector<std::string> bssids;
};

// One row as read, before batching.
struct Scan {
    int32_t phone = 0;
    int32_t building = 0;
    int32_t floor = 0;
    int64_t timestamp = 0;
    double x = 0;
    double y = 0;
    std::string levels;  // ",<level>" per WAP column, in header order
};

void splitFields(std::string_view line, std::vector<std::string_view>& fields) {
    fields.clear();
    while (true) {
        const auto comma = line.find(',');
        fields.push_back(line.substr(0, comma));
        if (comma == std::string_view::npos) return;
        line.remove_prefix(comma + 1);
    }
}

// The line without the carriage return of a CRLF file.
std::string_view lineText(const std::string& line) {
    std::string_view text(line);
    if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
    return text;
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t") == std::string_view::npos;
}

[[nodiscard]] bool readWhole(std::string_view text, Range range, int64_t& value) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && value >= range.min && value <= range.max;
}

[[nodiscard]] bool readNumber(std::string_view text, double& value) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && std::isfinite(value);
}

std::variant<Header, CsvProblem> readHeader(std::string_view line) {
    std::vector<std::string_view> fields;
    splitFields(line, fields);
    Header header;
    for (const auto field : fields) {
        header.names.emplace_back(field);
        const bool level = field.rfind(kWapPrefix, 0) == 0;
        header.roles.push_back(level ? Role::kLevel : Role::kUnused);
        if (level) header.bssids.emplace_back(field);
    }
    if (header.bssids.empty()) return CsvProblem{1, 1, "no WAP columns: not a UJIIndoorLoc export"};
    for (const auto& named : kNamedColumns) {
        // The first column of a name is the one read.
        const auto at = std::find(header.names.begin(), header.names.end(), named.name);
        if (at == header.names.end()) {
            return CsvProblem{1, header.names.size() + 1, std::string("no column '") + named.name + "'"};
        }
        header.roles[static_cast<size_t>(at - header.names.begin())] = named.role;
    }
    return header;
}

// Reads the fields the converter uses, left to right; the first bad one is
// the problem.
std::optional<CsvProblem> readScan(const Header& header, const std::vector<std::string_view>& fields, size_t line,
                                   Scan& scan) {
    for (size_t i = 0; i < fields.size(); ++i) {
        const Role role = header.roles[i];
        const std::string_view text = fields[i];
        if (role == Role::kUnused) continue;
        const auto problem = [&](const std::string& what) {
            return CsvProblem{line, i + 1, header.names[i] + " '" + std::string(text) + "' is not " + what};
        };
        if (role == Role::kLongitude || role == Role::kLatitude) {
            if (!readNumber(text, role == Role::kLongitude ? scan.x : scan.y)) return problem("a number");
            continue;
        }
        const Range range = rangeOf(role);
        int64_t value = 0;
        if (!readWhole(text, range, value)) {
            return problem("a whole number from " + std::to_string(range.min) + " to " + std::to_string(range.max));
        }
        switch (role) {
            case Role::kLevel:
                scan.levels.append(",").append(value == kNotHeard ? std::string_view("0") : text);
                break;
            case Role::kFloor:
                scan.floor = static_cast<int32_t>(value);
                break;
            case Role::kBuilding:
                scan.building = static_cast<int32_t>(value);
                break;
            case Role::kPhone:
                scan.phone = static_cast<int32_t>(value);
                break;
            case Role::kTimestamp:
                scan.timestamp = value;
                break;
            default:
                break;
        }
    }
    return std::nullopt;
}

std::string placeName(const Scan& scan) {
    return "b" + std::to_string(scan.building) + "f" + std::to_string(scan.floor);
}

// Batches the scans in phone and time order into rows, truth and scan places.
UjiSet batchScans(std::vector<Scan>& scans, const std::vector<std::string>& bssids, const UjiOptions& options) {
    std::stable_sort(scans.begin(), scans.end(), [](const Scan& a, const Scan& b) {
        return a.phone != b.phone ? a.phone < b.phone : a.timestamp < b.timestamp;
    });
    UjiSet set;
    set.fingerprints.rows.reserve(scans.size() + 1);
    set.fingerprints.rows.push_back(fingerprintHeader(bssids));
    set.scans.reserve(scans.size());
    int32_t batch = 0;
    const Scan* previous = nullptr;
    for (const Scan& scan : scans) {
        // Timestamps are not negative, so the difference cannot overflow.
        if (previous == nullptr || scan.phone != previous->phone || scan.building != previous->building ||
            scan.floor != previous->floor || scan.timestamp - previous->timestamp > options.maxGapSeconds) {
            ++batch;
            set.fingerprints.placeOfBatch[batch] =
                static_cast<int32_t>(int64_t{scan.building} * kFloorsPerBuilding + scan.floor);
        }
        previous = &scan;
        const std::string b = std::to_string(batch);
        std::string place = placeName(scan);
        set.fingerprints.rows.push_back(b + "," + b + "," + place + "," + std::to_string(scan.timestamp) + ",0" +
                                        scan.levels);
        set.scans.push_back(UjiScan{batch, scan.x, scan.y, std::move(place)});
    }
    return set;
}

}  // namespace

std::variant<UjiSet, CsvProblem> convertUjiIndoorLoc(std::istream& csv, const UjiOptions& options) {
    std::string line;
    if (!std::getline(csv, line) || isBlank(lineText(line))) {
        return CsvProblem{1, 1, "empty file, expected a header line"};
    }
    auto header = readHeader(lineText(line));
    if (auto* problem = std::get_if<CsvProblem>(&header)) return std::move(*problem);
    const Header& columns = std::get<Header>(header);

    std::vector<Scan> scans;
    std::vector<std::string_view> fields;
    for (size_t number = 2; std::getline(csv, line); ++number) {
        const std::string_view text = lineText(line);
        if (text.empty()) continue;  // a blank line, usually the last one
        splitFields(text, fields);
        if (fields.size() != columns.names.size()) {
            return CsvProblem{number, std::min(fields.size(), columns.names.size()) + 1,
                              std::to_string(fields.size()) + " fields, the header has " +
                                  std::to_string(columns.names.size())};
        }
        Scan scan;
        scan.levels.reserve(line.size());
        if (auto problem = readScan(columns, fields, number, scan)) return std::move(*problem);
        scans.push_back(std::move(scan));
    }
    return batchScans(scans, columns.bssids, options);
}

bool writeScans(const std::vector<UjiScan>& scans, const std::string& path) {
    std::ofstream out(path);
    char text[kDoubleChars];
    for (const auto& scan : scans) {
        out << scan.batch;
        for (const double coordinate : {scan.x, scan.y}) {
            // Shortest text that reads back to the same double.
            const auto written = std::to_chars(text, text + sizeof(text), coordinate);
            out << ' ' << std::string_view(text, static_cast<size_t>(written.ptr - text));
        }
        out << ' ' << scan.place << '\n';
    }
    return static_cast<bool>(out);
}

std::optional<FingerprintSet> loadUjiValidationSet(const std::string& sharedDir) {
    std::ifstream csv(sharedDir + kValidationSet);
    if (!csv) return std::nullopt;
    auto converted = convertUjiIndoorLoc(csv);
    auto* set = std::get_if<UjiSet>(&converted);
    if (set == nullptr) return std::nullopt;
    return std::move(set->fingerprints);
}

}  // namespace fingerprints
