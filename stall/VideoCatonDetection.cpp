#include "VideoCatonDetection.h"
// Work in progress.
VideoCatonDetection::VideoCatonDetection() : CatonDetection(kDefaultInterval, -1, kDefaultAlgoThreshold) {}
VideoCatonDetection::~VideoCatonDetection() = default;
int VideoCatonDetection::inputSample(int, int, int*) { return 0; }
int VideoCatonDetection::setDetectionAlgoType(int) { return 0; }
int VideoCatonDetection::setInterval(int) { return 0; }
void VideoCatonDetection::clearInternalState() {}
bool VideoCatonDetection::predict2S(const float*) const { return false; }
