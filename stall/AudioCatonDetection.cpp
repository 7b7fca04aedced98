#include "AudioCatonDetection.h"
// Work in progress.
AudioCatonDetection::AudioCatonDetection() : CatonDetection(kInterval, kState3G, 0.0f) {}
AudioCatonDetection::~AudioCatonDetection() = default;
int AudioCatonDetection::inputSample(int, int, int*) { return 0; }
int AudioCatonDetection::setDetectionAlgoType(int) { return 0; }
int AudioCatonDetection::setInterval(int) { return 0; }
void AudioCatonDetection::clearInternalState() {}
bool AudioCatonDetection::predict3G(const float*) const { return false; }
bool AudioCatonDetection::predict4G(const float*) const { return false; }
