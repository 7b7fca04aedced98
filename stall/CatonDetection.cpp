#include "CatonDetection.h"

namespace mqqoe {

CatonDetection::CatonDetection(int32_t interval, int32_t algoType, float algoThreshold)
    : mInterval(interval), mAlgoType(algoType), mAlgoThreshold(algoThreshold) {}

CatonDetection::~CatonDetection() = default;

int CatonDetection::inputSample(int, int, int*) { return 0; }

int CatonDetection::inputSample(AwemeReportPara*, int*, bool&) { return 0; }

int CatonDetection::setDetectionAlgoType(int) { return 0; }

void CatonDetection::setAwemeCatonPara(const AwemeCatonPara&) {}

int CatonDetection::setInterval(int) { return 0; }

}  // namespace mqqoe
