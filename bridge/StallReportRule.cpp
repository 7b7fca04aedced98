#include "StallReportRule.h"

#include <climits>

#include "AppScene.h"

namespace mqqoe {
namespace {

constexpr int kVoiceCallSpanMs = 5000;
constexpr int kDefaultSpanMs = 6000;
constexpr int32_t kDefaultIntervalMs = 1000;

}  // namespace

int reportingThreshold(int sceneCode, int32_t intervalMs) {
    const int span = sceneCode == scene::kVoiceCall ? kVoiceCallSpanMs : kDefaultSpanMs;
    const int interval = intervalMs > 0 ? intervalMs : kDefaultIntervalMs;
    return span / interval;
}

StallReportRule::StallReportRule(int sceneCode, int32_t intervalMs, FrameResultSource& frames)
    : mScene(sceneCode), mThreshold(reportingThreshold(sceneCode, intervalMs)), mFrames(frames) {}

bool StallReportRule::onResult(int outBytes, int inBytes, int result, bool flag, StallReport* report) {
    if (scene::isCall(mScene)) {
        if (noTrafficRule(outBytes, inBytes, flag, report)) return true;
        return mScene == scene::kVideoCall ? frameRule(result, flag, report) : genericRule(result, flag, report);
    }
    if (mScene == scene::kShortVideo && flag) {
        *report = {result, mScene, kReportKindStall, true};
        return true;
    }
    return genericRule(result, flag, report);
}

// Every pass from the N-th without traffic on reports, until traffic returns.
bool StallReportRule::noTrafficRule(int outBytes, int inBytes, bool flag, StallReport* report) {
    if (static_cast<int64_t>(outBytes) + inBytes == 0) {
        if (mNoTrafficCount < INT_MAX) ++mNoTrafficCount;
    } else {
        mNoTrafficCount = 0;
    }
    if (mNoTrafficCount < mThreshold) return false;
    *report = {1, mScene, kReportKindStall, flag};
    return true;
}

// Heavy traffic (2) holds the frame result back for a few passes after a
// normal one (0); a stall, or heavy traffic that lasts, passes it on.
bool StallReportRule::frameRule(int result, bool flag, StallReport* report) {
    const int frameResult = mFrames.takeFrameResult();
    int value = 0;
    if (result == 0) {
        mFrameHoldCount = 0;
    } else if (result == 2 && mFrameHoldCount < kFrameHoldLimit) {
        ++mFrameHoldCount;
    } else {
        if (result != 2) mFrameHoldCount = kFrameHoldLimit;
        value = frameResult;
    }
    if (value == 0) return false;
    *report = {value, mScene, kReportKindFrame, flag};
    return true;
}

// At most one report per N passes, on a pass whose result is not normal.
bool StallReportRule::genericRule(int result, bool flag, StallReport* report) {
    if (mGenericCount < mThreshold) ++mGenericCount;
    if (result == 0 || mGenericCount != mThreshold) return false;
    *report = {0, mScene, kReportKindStall, flag};
    mGenericCount = 0;
    return true;
}

}  // namespace mqqoe
