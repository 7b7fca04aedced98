#include "AwemeCatonDetection.h"
// Work in progress.
AwemeCatonDetection::AwemeCatonDetection() : CatonDetection(kInterval, -1, 0.0f) {}
AwemeCatonDetection::~AwemeCatonDetection() = default;
int AwemeCatonDetection::inputSample(void*, int*, bool&) { return 0; }
void AwemeCatonDetection::setAwemeCatonPara(int, int, int, int, int, int, int, int, int) {}
int AwemeCatonDetection::getDetectionResult() { return 0; }
void AwemeCatonDetection::decideCaton(AwemeReportPara*, unsigned long) {}
bool AwemeCatonDetection::decideCatonWithDefalutThreshold(AwemeReportPara*, int*, unsigned long, unsigned long) { return false; }
bool AwemeCatonDetection::IsStepMatch(int) { return false; }
void AwemeCatonDetection::printReport(const AwemeReportPara*) const {}
