#pragma once
// The stall detection session: Java starts and stops it with commands 24-26;
// one detached worker drives the stall engine for the watched uid and reports
// each stall back to Java.
//
// The status machine and the worker loop are plain C++ over the state globals
// of ZvQoE_jni.h; only the thread entry and the report touch JNI, so tests can
// drive a session with their own handler and reporter.

#include <jni.h>

#include <array>
#include <cstdint>

namespace mqqoe {

// First argument of nativeSendQoeStallDetectCmd.
constexpr int kStallCmdStart = 24;
constexpr int kStallCmdStop = 25;
constexpr int kStallCmdStopAlgo = 26;

// App scenes with their own reporting rules.
constexpr int kSceneVoiceCall = 100105;
constexpr int kSceneVideoCall = 100106;
constexpr int kSceneShortVideo = 100501;
constexpr int kSceneShortVideoPicture = 100701;
constexpr int kSceneShortVideoKey = 100901;

// Report kinds passed to Java.
constexpr int kReportKindStall = 0;
constexpr int kReportKindFrame = 1;

// What a start command hands to the worker.
struct SessionValues {
    int32_t uid;
    int32_t appScene;
    int32_t algoType;
    int32_t userType;
};

// One call of the Java callback.
struct StallReport {
    int value;
    int scene;
    int kind;
    bool flag;
};

// Where the worker sends its reports; Java in production.
class StallReporter {
public:
    virtual ~StallReporter() = default;
    // 0 when delivered, -1 when the session must end.
    virtual int report(const StallReport& report) = 0;
};

using WorkerEntry = void* (*)(void*);

// Commands 24, 25 and 26 on the session status; 24 starts `worker` as a
// detached thread. Returns 0 or -1.
int stallDetectCommand(JNIEnv* env, jobject adapter, int command, const SessionValues& values, WorkerEntry worker);

[[nodiscard]] bool isShortVideoScene(int scene);
// The eight 4-bit short-video parameters packed in an algorithm type, lowest nibble first.
[[nodiscard]] std::array<int, 8> unpackAwemeParams(int32_t algoType);
// Passes without traffic (or between generic reports) that make a stall:
// the scene's time span over the detector interval.
[[nodiscard]] int reportingThreshold(int scene, int32_t intervalMs);

// Reads and clears the frame detection result under the state mutex.
int takeCurFrameDetectResult();

// The per-scene reporting rules, applied once per detection result.
class StallReportRule {
public:
    StallReportRule(int scene, int32_t intervalMs);

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
    int mNoTrafficCount = 0;
    int mGenericCount = 0;
    int mFrameHoldCount = kFrameHoldLimit;
};

// Worker state handling shared by every handler type.
SessionValues takeSessionValues();
void markSessionStopped();

enum class SessionEnd {
    kSetupFailed,  // the handler was not set up (or Java was missing); collection may be running
    kLoopEnded,    // the loop ran and collection was stopped
};

// Steps of one session on `handler` (NetlinkHandler in production): set-up,
// the report loop, and the stop. Sets the status to stopped before returning.
// A null reporter (no Java environment) ends the session right after set-up.
template <typename Handler>
SessionEnd runStallSession(Handler* handler, StallReporter* reporter);

}  // namespace mqqoe

// Thread entry of a session started by command 24: attaches to the VM, runs
// the session on the NetlinkHandler singleton and detaches.
void* StallDetectThread(void* unused);
// Calls the static Java method handleReportStallInfo(IIIZ)V on the adapter's
// class; 0 when called, -1 when the session was stopped or the method is missing.
int HandleReportStallEvent(JNIEnv* env, int value, int scene, int kind, bool flag);

#include "StallSessionImpl.h"
