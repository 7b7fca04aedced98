#include "WmpPipelines.h"

#include <ctime>
#include <utility>

#include "BatchClustering.h"
#include "BssidSelection.h"
#include "Cluster.h"
#include "DataSet.h"
#include "WmpReport.h"

namespace wmpcore {

namespace {

// The data set is not used after the model is built, so its records and
// columns move into the model instead of being copied.
std::string modelText(DataSet& dataSet) {
    Cluster cluster;
    cluster.records = std::move(dataSet.records);
    cluster.bssids = std::move(dataSet.bssids);
    return cluster.getStrResult();
}

// Whole seconds of wall clock since `start`, as the stage timings report.
double secondsSince(time_t start) {
    return difftime(time(nullptr), start);
}

}  // namespace

std::string trainDataStr(std::vector<std::string> rawFingers, Param param, std::vector<std::string> bssidList) {
    WMP_LOGI("trainDataStr begin 000,rawFingers.size = %d", static_cast<int>(rawFingers.size()));
    DataSet dataSet = getDataSet(std::move(rawFingers), param);
    WMP_LOGI("trainDataStr begin 001");
    const int ok = deleteBSSID(dataSet, param, std::move(bssidList));
    if (ok != 0) {
        WMP_LOGI("trainDataStr begin 002");
        batchClustering(dataSet, param);
        WMP_LOGI("trainDataStr begin 003");
        clusterFilter(dataSet, param);
    }
    std::string text = modelText(dataSet);
    WMP_LOGI("trainDataStr begin 004");
    return text;
}

std::string trainData(std::vector<std::string> rawFingers, Param param) {
    WMP_LOGI("trainData begin,rawFingers.size = %d", static_cast<int>(rawFingers.size()));
    time_t start = time(nullptr);
    DataSet dataSet = getDataSet(std::move(rawFingers), param);
    WMP_LOGI("trainData begin 001,getDataSet spend(seconds): %f", secondsSince(start));
    start = time(nullptr);
    reSetDataSet(dataSet, param);
    WMP_LOGI("trainData begin 002,reSetDataSet spend(seconds): %f", secondsSince(start));
    start = time(nullptr);
    batchClustering(dataSet, param);
    WMP_LOGI("trainData begin 003,batchClustering spend(seconds): %f", secondsSince(start));
    clusterFilter(dataSet, param);
    return modelText(dataSet);
}

std::string getCoreData(std::vector<std::string> rawFingers, Param param, std::vector<std::string> bssidList) {
    WMP_LOGI("getCoreData begin 000,rawFingers.size = %d", static_cast<int>(rawFingers.size()));
    time_t start = time(nullptr);
    DataSet dataSet = getDataSet(std::move(rawFingers), param);
    WMP_LOGI("getCoreData begin 001,getDataSet spend(seconds): %f", secondsSince(start));
    start = time(nullptr);
    const int ok = deleteBSSID(dataSet, param, std::move(bssidList));
    if (ok == 0) return {};
    WMP_LOGI("getCoreData begin 002,deleteBSSID spend(seconds): %f", secondsSince(start));
    return dataSet.getString();
}

}  // namespace wmpcore
