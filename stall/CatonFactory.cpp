#include "CatonFactory.h"

#include "AppScene.h"
#include "AudioCatonDetection.h"
#include "AwemeCatonDetection.h"
#include "StallLog.h"
#include "VideoCatonDetection.h"

#include <new>

namespace mqqoe {

std::unique_ptr<CatonDetection> makeCatoner(int32_t detectionType) {
    std::unique_ptr<CatonDetection> detector;
    if (detectionType == scene::kVoiceCall) {
        detector.reset(new (std::nothrow) AudioCatonDetection());
    } else if (detectionType == scene::kVideoCall) {
        detector.reset(new (std::nothrow) VideoCatonDetection());
    } else if (scene::isShortVideo(detectionType)) {
        detector.reset(new (std::nothrow) AwemeCatonDetection());
    } else {
        KLOGE("Invalid detection type(%d) when create catoner", detectionType);
        return nullptr;
    }
    if (!detector) KLOGE("There are no enough memory for the detection type: %d", detectionType);
    return detector;
}

}  // namespace mqqoe
