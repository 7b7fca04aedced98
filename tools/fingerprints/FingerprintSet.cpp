#include "FingerprintSet.h"

#include <fstream>

namespace fingerprints {

std::string fingerprintHeader(const std::vector<std::string>& bssids) {
    std::string header = "orginBatch,batch,label,timestamp,link_speed";
    for (const auto& bssid : bssids) header.append(",").append(bssid);
    return header;
}

bool writeRows(const FingerprintSet& set, const std::string& path) {
    std::ofstream out(path);
    for (const auto& row : set.rows) out << row << '\n';
    return static_cast<bool>(out);
}

bool writeTruth(const FingerprintSet& set, const std::string& path) {
    std::ofstream out(path);
    for (const auto& [batch, place] : set.placeOfBatch) out << batch << ' ' << place << '\n';
    return static_cast<bool>(out);
}

bool readTruth(const std::string& path, std::map<int32_t, int32_t>& placeOfBatch) {
    std::ifstream in(path);
    if (!in) return false;
    int32_t batch = 0;
    int32_t place = 0;
    while (in >> batch >> place) placeOfBatch[batch] = place;
    return in.eof();
}

}  // namespace fingerprints
