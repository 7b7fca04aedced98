#include "Cluster.h"

#include "WmpReport.h"
#include "WmpText.h"

namespace wmpcore {

namespace {
constexpr char kModelHeader[] = "batch,label,timestamp,link_speed,";
constexpr char kLabelColumn[] = "prelabel;";
}  // namespace

std::string Cluster::getStrResult() {
    WMP_LOGI("getStrResult begin");
    std::string text;
    try {
        text.append(kModelHeader);
        for (const std::string& name : bssids) {
            text.append(name);
            text.push_back(',');
        }
        text.append(kLabelColumn);
        LevelReader levels(bssids);
        for (Record& record : records) {
            // The first column is the batch number the caller supplied.
            appendInt(text, record.orginBatch);
            text.push_back(',');
            text.append(record.label).push_back(',');
            text.append(record.timestamp).push_back(',');
            text.append(record.link_speed).push_back(',');
            const auto row = levels.row(record.bssidValues);
            for (size_t k = 0; k < levels.size(); ++k) {
                appendFloat(text, row[k]);
                text.push_back(',');
            }
            appendInt(text, record.prelabel);
            text.push_back(';');
            // A BSSID the record lacks was written as 0 and is added to it.
            levels.addMissing(record.bssidValues);
        }
    } catch (const std::exception& e) {
        reportException("getStrResult", e);
    } catch (...) {
        reportUnknownException();
    }
    return text;
}

}  // namespace wmpcore
