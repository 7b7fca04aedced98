#pragma once
// The app scene codes the service watches: they choose the detector, the
// detection class told to the kernel and the session's reporting rule.

#include <cstdint>

#include "KorunProtocol.h"

namespace mqqoe::scene {

constexpr int32_t kVoiceCall = 100105;          // messaging voice call
constexpr int32_t kVideoCall = 100106;          // messaging video call
constexpr int32_t kShortVideo = 100501;         // short video
constexpr int32_t kShortVideoPicture = 100701;  // short video, picture-key variant
constexpr int32_t kShortVideoKey = 100901;      // short video, "/video/" key variant

constexpr bool isCall(int32_t code) { return code == kVoiceCall || code == kVideoCall; }
constexpr bool isShortVideo(int32_t code) {
    return code == kShortVideo || code == kShortVideoPicture || code == kShortVideoKey;
}

// The detection class told to the kernel for a scene, -1 for none.
constexpr int32_t detectionClass(int32_t code) {
    if (isCall(code)) return korun::kClassCall;
    if (code == kShortVideoPicture) return korun::kClassShortVideoPicture;
    return isShortVideo(code) ? korun::kClassShortVideo : -1;
}

}  // namespace mqqoe::scene
