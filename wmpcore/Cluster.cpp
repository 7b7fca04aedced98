#include "Cluster.h"

#include "RecordText.h"
#include "WmpReport.h"

namespace wmpcore {

namespace {

constexpr RecordTextLayout kModelText = {"batch,label,timestamp,link_speed,", "prelabel;", false, true};

}  // namespace

std::string Cluster::getStrResult() {
    WMP_LOGI("getStrResult begin");
    std::string text;
    try {
        appendRecordText(text, kModelText, records, bssids);
        addMissingBssids(records, bssids);
    } catch (const std::exception& e) {
        reportException("getStrResult", e);
    } catch (...) {
        reportUnknownException();
    }
    return text;
}

}  // namespace wmpcore
