#pragma once
// Receives the frame-detection service's results for the stall session, and
// the three natives that start, stop and query that detection.

#include <VeltroManager.h>

class VeltroFrameDetectListener : public Veltro::VeltroListener {
public:
    // Kept from the service's listener contract; nothing reads it.
    static int result;

    // Called on a service thread: the result becomes the current frame
    // detect result that the stall worker consumes.
    void NotifyToQesta(Veltro::FrameDetectInfo info) override;
    ~VeltroFrameDetectListener() override;
};

namespace mqqoe {

// getCurFrameDetectResult reports the detected time in units of 60.
constexpr long kDetectedTimeUnitsPerResult = 60;

// Creates the process's listener and registers it from a detached thread, on
// the first call only; returns false when the listener already existed.
bool ensureFrameDetectListener();

}  // namespace mqqoe
