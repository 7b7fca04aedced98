#pragma once
// The per-scene rules that turn the stall engine's results, one per detector
// interval, into reports to Java.

#include <cstdint>

namespace mqqoe {

// Report kinds passed to Java.
constexpr int kReportKindStall = 0;
constexpr int kReportKindFrame = 1;

// One call of the Java callback.
struct StallReport {
    int value;
    int scene;
    int kind;
    bool flag;
};

// Where the frame rule takes the frame-detection service's latest result
// from (reading clears it).
class FrameResultSource {
public:
    virtual ~FrameResultSource() = default;
    virtual int takeFrameResult() = 0;
};

// Passes without traffic (or between generic reports) that make a stall:
// the scene's time span over the detector interval, one second when the
// interval is not positive.
[[nodiscard]] int reportingThreshold(int scene, int32_t intervalMs);

class StallReportRule {
public:
    StallReportRule(int scene, int32_t intervalMs, FrameResultSource& frames);

    // Whether this pass reports; fills `report` when it does.
    [[nodiscard]] bool onResult(int outBytes, int inBytes, int result, bool flag, StallReport* report);
    int threshold() const { return mThreshold; }

private:
    bool noTrafficRule(int outBytes, int inBytes, bool flag, StallReport* report);
    bool frameRule(int result, bool flag, StallReport* report);
    bool genericRule(int result, bool flag, StallReport* report);

    static constexpr int kFrameHoldLimit = 6;

    int mScene;
    int mThreshold;
    FrameResultSource& mFrames;
    int mNoTrafficCount = 0;
    int mGenericCount = 0;
    int mFrameHoldCount = kFrameHoldLimit;
};

}  // namespace mqqoe
