#include "ClusterQuality.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <utility>

namespace fingerprints {

namespace {

using Contingency = std::map<std::pair<int32_t, int32_t>, size_t>;

double pairs(size_t n) {
    return static_cast<double>(n) * (static_cast<double>(n) - 1.0) / 2.0;
}

Contingency contingency(const std::vector<int32_t>& truth, const std::vector<int32_t>& predicted) {
    Contingency table;
    const size_t n = std::min(truth.size(), predicted.size());
    for (size_t i = 0; i < n; ++i) ++table[{predicted[i], truth[i]}];
    return table;
}

}  // namespace

std::vector<ModelRecord> parseModelText(const std::string& model) {
    std::vector<ModelRecord> records;
    size_t start = model.find(';');
    while (start != std::string::npos && start + 1 < model.size()) {
        const size_t end = model.find(';', start + 1);
        const std::string line = model.substr(start + 1, end == std::string::npos ? std::string::npos : end - start - 1);
        start = end;
        const size_t lastComma = line.rfind(',');
        if (line.empty() || lastComma == std::string::npos) continue;
        records.push_back({static_cast<int32_t>(std::strtol(line.c_str(), nullptr, 10)),
                           static_cast<int32_t>(std::strtol(line.c_str() + lastComma + 1, nullptr, 10))});
    }
    return records;
}

double purity(const std::vector<int32_t>& truth, const std::vector<int32_t>& predicted) {
    const Contingency table = contingency(truth, predicted);
    std::map<int32_t, size_t> best;
    size_t total = 0;
    for (const auto& [key, count] : table) {
        best[key.first] = std::max(best[key.first], count);
        total += count;
    }
    size_t agreeing = 0;
    for (const auto& [cluster, count] : best) agreeing += count;
    return total == 0 ? 0.0 : static_cast<double>(agreeing) / static_cast<double>(total);
}

double adjustedRandIndex(const std::vector<int32_t>& truth, const std::vector<int32_t>& predicted) {
    const Contingency table = contingency(truth, predicted);
    std::map<int32_t, size_t> clusterSizes;
    std::map<int32_t, size_t> classSizes;
    size_t n = 0;
    double index = 0.0;
    for (const auto& [key, count] : table) {
        clusterSizes[key.first] += count;
        classSizes[key.second] += count;
        index += pairs(count);
        n += count;
    }
    double sumClusters = 0.0;
    for (const auto& [cluster, size] : clusterSizes) sumClusters += pairs(size);
    double sumClasses = 0.0;
    for (const auto& [cls, size] : classSizes) sumClasses += pairs(size);
    if (n < 2) return 1.0;
    const double expected = sumClusters * sumClasses / pairs(n);
    const double maximum = (sumClusters + sumClasses) / 2.0;
    // Both labelings trivial in the same way: identical partitions.
    if (maximum == expected) return 1.0;
    return (index - expected) / (maximum - expected);
}

ClusterReport scoreModel(const std::string& model, const std::map<int32_t, int32_t>& placeOfBatch, size_t scans) {
    ClusterReport report;
    report.scans = scans;
    std::set<int32_t> places;
    for (const auto& [batch, place] : placeOfBatch) places.insert(place);
    report.places = places.size();

    std::vector<int32_t> truth;
    std::vector<int32_t> predicted;
    for (const ModelRecord& record : parseModelText(model)) {
        const auto it = placeOfBatch.find(record.batch);
        if (it == placeOfBatch.end()) continue;
        truth.push_back(it->second);
        predicted.push_back(record.cluster);
    }
    report.kept = truth.size();
    report.purity = purity(truth, predicted);
    report.ari = adjustedRandIndex(truth, predicted);

    std::map<int32_t, std::map<int32_t, size_t>> byCluster;
    for (size_t i = 0; i < truth.size(); ++i) ++byCluster[predicted[i]][truth[i]];
    report.clusters = byCluster.size();
    for (const auto& [cluster, counts] : byCluster) {
        ClusterReport::Line line{cluster, 0, 0, 0};
        for (const auto& [place, count] : counts) {
            line.records += count;
            if (count > line.placeRecords) {
                line.place = place;
                line.placeRecords = count;
            }
        }
        report.lines.push_back(line);
    }
    return report;
}

std::string formatReport(const ClusterReport& report) {
    std::string text;
    char buf[160];
    for (const auto& line : report.lines) {
        std::snprintf(buf, sizeof(buf), "cluster %d: %zu scans, %zu of them at place %d\n", line.cluster,
                      line.records, line.placeRecords, line.place);
        text += buf;
    }
    std::snprintf(buf, sizeof(buf), "scans %zu, kept %zu, places %zu, clusters %zu, purity %.3f, ARI %.3f\n",
                  report.scans, report.kept, report.places, report.clusters, report.purity, report.ari);
    text += buf;
    return text;
}

}  // namespace fingerprints
