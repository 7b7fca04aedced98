#pragma once
// The stall detection session: at most one at a time, for one watched uid.
// Java starts and stops it with commands 24-26; a detached worker drives the
// stall engine and reports each stall back through the Java side the JNI
// glue provides. The session owns its state, the mutex that guards it, the
// worker and the engine.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "NetlinkHandler.h"
#include "StallReportRule.h"

namespace mqqoe {

// First argument of nativeSendQoeStallDetectCmd.
constexpr int kStallCmdStart = 24;
constexpr int kStallCmdStop = 25;
constexpr int kStallCmdStopAlgo = 26;

// Session status.
constexpr int32_t kDetectRunning = 0;
constexpr int32_t kDetectStopAlgo = 1;
constexpr int32_t kDetectStopRequested = 2;
constexpr int32_t kDetectStopped = 3;

// What a command carries.
struct SessionValues {
    int32_t uid = -1;
    int32_t appScene = -1;
    int32_t algoType = -1;
    int32_t userType = -1;
};

// The Java object a session reports to, held from a start command until the
// stop command.
class StallCallback {
public:
    virtual ~StallCallback() = default;
    // On the worker, attached to the VM: calls Java with one report. 0 when
    // the Java method was called, -1 when it could not be.
    [[nodiscard]] virtual int call(const StallReport& report) = 0;
};

// The VM as the worker sees it.
class StallWorkerVm {
public:
    virtual ~StallWorkerVm() = default;
    // The worker's first step; false when it has no environment.
    [[nodiscard]] virtual bool attach() = 0;
    // The last step of an attached worker; `logFailure` after the report loop.
    virtual void detach(bool logFailure) = 0;
};

struct SessionSnapshot {
    int32_t status;
    SessionValues values;
    uint64_t totalOut;  // byte totals of the running (or last) session
    uint64_t totalIn;
    int32_t frameResult;
};

class StallSession : public FrameResultSource {
public:
    using CallbackFactory = std::function<std::shared_ptr<StallCallback>()>;

    explicit StallSession(StallWorkerVm& vm) : mVm(vm) {}
    // Waits for a running worker to end.
    ~StallSession() override;
    StallSession(const StallSession&) = delete;
    StallSession& operator=(const StallSession&) = delete;

    // Command 24: stores the values and, when no session runs, starts the
    // worker. `makeCallback` is asked for the Java side when none is held.
    [[nodiscard]] int start(const SessionValues& values, const CallbackFactory& makeCallback);
    // Command 25: asks the worker to end and drops the Java side; does not wait.
    [[nodiscard]] int stop(const SessionValues& values);
    // Command 26: the running session goes on without its detector.
    [[nodiscard]] int stopAlgo(const SessionValues& values);

    // The frame-detection service's latest result, for the video-call rule.
    void setFrameResult(int result);
    void clearFrameResult();
    int takeFrameResult() override;

    [[nodiscard]] SessionSnapshot snapshot() const;
    // Until no worker runs; false when `timeout` passed first.
    [[nodiscard]] bool waitIdle(std::chrono::milliseconds timeout) const;

private:
    static void* StallDetectThread(void* session);
    void run();
    [[nodiscard]] int setUp(const SessionValues& values);
    void reportLoop(const SessionValues& values);
    [[nodiscard]] bool nextPass();
    [[nodiscard]] int handleReportStallEvent(const StallReport& report);

    StallWorkerVm& mVm;
    mutable std::mutex mLock;
    mutable std::condition_variable mWorkerEnded;
    // Guarded by mLock.
    int32_t mStatus = kDetectStopped;
    SessionValues mValues;
    std::shared_ptr<StallCallback> mCallback;
    unsigned long mTotalOut = 0;  // as the engine counts them
    unsigned long mTotalIn = 0;
    int32_t mFrameResult = 0;
    bool mWorkerRunning = false;
    // The worker's alone; one worker at a time (a start waits for status 3).
    NetlinkHandler mHandler;
};

}  // namespace mqqoe
