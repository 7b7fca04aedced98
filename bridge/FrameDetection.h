#pragma once
// Frame detection by the platform's touch and frame-detection service: the
// listener the service calls back, which hands each result to the stall
// session (its video-call rule passes it on), and the start, stop and query
// of the detection.

#include <mutex>

#include <VeltroManager.h>

#include "StallSession.h"

class VeltroFrameDetectListener : public Veltro::VeltroListener {
public:
    // Kept from the service's listener contract; nothing reads it.
    static int result;

    explicit VeltroFrameDetectListener(mqqoe::StallSession& session) : mSession(session) {}
    ~VeltroFrameDetectListener() override;

    // Called on a service thread.
    void NotifyToQesta(Veltro::FrameDetectInfo info) override;

private:
    mqqoe::StallSession& mSession;
};

namespace mqqoe {

class FrameDetection {
public:
    explicit FrameDetection(StallSession& session) : mSession(session) {}
    FrameDetection(const FrameDetection&) = delete;
    FrameDetection& operator=(const FrameDetection&) = delete;

    // Registers the listener on the first call only (from a thread of its
    // own: the service may block), then starts detection. Returns 1.
    int start(int appScene);
    // Returns 1; the listener stays registered.
    int stop();
    // The service's detected time in units of 60.
    [[nodiscard]] int currentResult();

private:
    // False when the listener existed already.
    bool registerListenerOnce();

    StallSession& mSession;
    std::mutex mLock;  // guards the listener's one-time creation
    android::sp<VeltroFrameDetectListener> mListener;
};

}  // namespace mqqoe
