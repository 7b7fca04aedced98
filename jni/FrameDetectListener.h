#pragma once
// Receives the frame-detection service's results for the stall session.

#include <VeltroManager.h>

class VeltroFrameDetectListener : public Veltro::VeltroListener {
public:
    // Kept from the service's listener contract; nothing reads it.
    static int result;

    void NotifyToQesta(Veltro::FrameDetectInfo info) override;
    ~VeltroFrameDetectListener() override;
};
