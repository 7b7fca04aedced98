// The session's status machine and worker on a scripted handler and a fake
// Java VM: commands 24, 25 and 26, the set-up order and its failures, the
// loop's ends.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "FakeJni.h"
#include "LogCapture.h"
#include "ScriptedHandler.h"
#include "StallSession.h"
#include "ZvQoE_jni.h"

namespace mqqoe {
namespace {

using namespace std::chrono_literals;
using testing::FakeJni;
using testing::Pass;
using testing::ScriptedHandler;

constexpr auto kWait = 5s;
constexpr int kUid = 10123;

// The worker of these tests: the session on the scripted handler, reporting
// through the real Java report on the fake VM's environment.
ScriptedHandler* gHandler = nullptr;
FakeJni* gJni = nullptr;

class FakeJavaReporter : public StallReporter {
public:
    int report(const StallReport& r) override {
        return HandleReportStallEvent(gJni->env(), r.value, r.scene, r.kind, r.flag);
    }
};

std::atomic<int> gWorkersRunning{0};

void* scriptedWorker(void*) {
    FakeJavaReporter reporter;
    runStallSession(gHandler, &reporter);
    --gWorkersRunning;
    return nullptr;
}

int status() {
    StateLock lock;
    return gDetectStatus;
}

class StallSession : public ::testing::Test {
protected:
    void SetUp() override {
        gHandler = &handler;
        gJni = &jni;
    }
    void TearDown() override {
        // Ends any worker still waiting for a result.
        send(kStallCmdStop, kSceneVideoCall);
        handler.close();
        EXPECT_TRUE(waitStopped());
        EXPECT_TRUE(waitNoWorker());
        EXPECT_EQ(0, jni.liveGlobalRefs());
    }

    int send(int command, int scene, int algo = 0, int user = 0) {
        if (command == kStallCmdStart) ++gWorkersRunning;
        int result = stallDetectCommand(jni.env(), jni.adapter(), command, {kUid, scene, algo, user}, scriptedWorker);
        if (command == kStallCmdStart && result != 0) --gWorkersRunning;
        return result;
    }
    static bool waitFor(const std::function<bool()>& done) {
        auto deadline = std::chrono::steady_clock::now() + kWait;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }
    static bool waitStopped() { return waitFor([] { return status() == kDetectStopped; }); }
    static bool waitNoWorker() { return waitFor([] { return gWorkersRunning.load() == 0; }); }

    FakeJni jni;
    ScriptedHandler handler;
    mqqoe::testing::LogCapture log;
};

TEST_F(StallSession, StopWithoutStartFailsAndStaysStopped) {
    EXPECT_EQ(-1, send(kStallCmdStop, kSceneVoiceCall));
    EXPECT_EQ(kDetectStopped, status());
    EXPECT_TRUE(log.contains(4, kLogTag, "stop stall detect: uid [10123], appScene [100105]"));
}

TEST_F(StallSession, StopAlgoWithoutSessionFails) {
    EXPECT_EQ(-1, send(kStallCmdStopAlgo, kSceneVideoCall));
    EXPECT_EQ(kDetectStopped, status());
    EXPECT_TRUE(log.contains(4, kLogTag, "stop AI algo: uid [10123], appScene [100106]"));
}


TEST_F(StallSession, SetsTheHandlerUpInOrderAndStopsItAtTheEnd) {
    ASSERT_EQ(0, send(kStallCmdStart, kSceneShortVideo, 0x11113243, 2));
    EXPECT_TRUE(log.contains(4, kLogTag,
                             "start stall detect: uid [10123], appScene [100501], algoType [286339651], userType [2]"));
    ASSERT_TRUE(handler.waitBlocked(kWait));
    EXPECT_EQ(kDetectRunning, status());
    EXPECT_EQ(1, jni.liveGlobalRefs());
    handler.push({0, 0, 0, false, -1});
    ASSERT_TRUE(waitStopped());
    EXPECT_EQ((std::vector<std::string>{"start", "type 100501 uid 10123", "aweme 3 4 2 3 1 1 1 1 2",
                                        "algo 286339651", "startCollecting", "stopCollecting", "stop"}),
              handler.calls());
    EXPECT_TRUE(log.contains(4, kLogTag, "StopMonitor enter"));
}

TEST_F(StallSession, CallScenesGetNoShortVideoParameters) {
    ASSERT_EQ(0, send(kStallCmdStart, kSceneVideoCall, 5));
    ASSERT_TRUE(handler.waitBlocked(kWait));
    EXPECT_EQ((std::vector<std::string>{"start", "type 100106 uid 10123", "algo 5", "startCollecting"}),
              handler.calls());
}

struct SetupFailure {
    const char* name;
    int ScriptedHandler::*result;
    const char* message;
    bool stopped;  // whether the handler's stop() is called
};

TEST_F(StallSession, EachSetupFailureLogsEndsTheWorkerAndAllowsANewStart) {
    const SetupFailure failures[] = {
        {"start", &ScriptedHandler::startResult, "Get NetlinkHandler Instance or start failed", false},
        {"type", &ScriptedHandler::typeResult, "Setup the detection type failed", true},
        {"aweme", &ScriptedHandler::awemeResult, "Setup the detection algo or algo switch threshold failed", true},
        {"algo", &ScriptedHandler::algoResult, "Setup the detection algo or algo switch threshold failed", true},
        {"collect", &ScriptedHandler::collectResult, "start collecting failed", true},
    };
    for (const SetupFailure& f : failures) {
        SCOPED_TRACE(f.name);
        ScriptedHandler failing;
        failing.*f.result = -1;
        gHandler = &failing;
        log.clear();
        ASSERT_EQ(0, send(kStallCmdStart, kSceneShortVideoKey));
        ASSERT_TRUE(waitNoWorker());
        EXPECT_EQ(kDetectStopped, status());
        EXPECT_TRUE(log.contains(4, kLogTag, f.message)) << log.dump();
        auto calls = failing.calls();
        EXPECT_EQ(f.stopped, !calls.empty() && calls.back() == "stop");
        EXPECT_FALSE(log.contains(4, kLogTag, "StopMonitor enter"));
        EXPECT_EQ(0, send(kStallCmdStop, kSceneShortVideoKey));  // drops the adapter again
    }
    gHandler = &handler;
}


TEST_F(StallSession, StartStopStartWhileBlockedIsRefusedUntilTheWorkerEnds) {
    ASSERT_EQ(0, send(kStallCmdStart, kSceneVideoCall));
    ASSERT_TRUE(handler.waitBlocked(kWait));
    EXPECT_EQ(0, send(kStallCmdStop, kSceneVideoCall));
    EXPECT_EQ(kDetectStopRequested, status());
    EXPECT_EQ(-1, send(kStallCmdStart, kSceneVoiceCall, 7, 3));
    EXPECT_TRUE(log.contains(4, kLogTag, "last monotor is not stopped,detectStatus = 2")) << log.dump();
    EXPECT_EQ(kDetectStopRequested, status());
    {
        // The refused start still left its values behind.
        StateLock lock;
        EXPECT_EQ(kSceneVoiceCall, gStallAppScene);
        EXPECT_EQ(7, gStallAlgoType);
        EXPECT_EQ(3, gStallUserType);
    }
    // One more report lets the worker see the stop.
    handler.push({10, 10, 0, false});
    ASSERT_TRUE(waitStopped());
    ASSERT_TRUE(waitNoWorker());
    EXPECT_EQ("stop", handler.calls().back());
    EXPECT_EQ(0, send(kStallCmdStart, kSceneVideoCall));
    ASSERT_TRUE(handler.waitBlocked(kWait));
    EXPECT_EQ(kDetectRunning, status());
}

TEST_F(StallSession, StopAlgoPausesTheDetectorOnTheNextPassAndTheSessionGoesOn) {
    ASSERT_EQ(0, send(kStallCmdStart, kSceneVideoCall));
    ASSERT_TRUE(handler.waitBlocked(kWait));
    EXPECT_EQ(0, send(kStallCmdStopAlgo, kSceneVideoCall));
    EXPECT_EQ(kDetectStopAlgo, status());
    EXPECT_EQ(-1, send(kStallCmdStopAlgo, kSceneVideoCall));
    handler.push({10, 10, 0, false});
    ASSERT_TRUE(handler.waitTaken(1, kWait));
    ASSERT_TRUE(handler.waitBlocked(kWait));
    EXPECT_EQ(kDetectRunning, status());
    StateLock lock;
    EXPECT_EQ(1, handler.mPauseDetect);
}


TEST_F(StallSession, ReportsReachJavaAndAReportAfterStopEndsTheLoop) {
    ASSERT_EQ(0, send(kStallCmdStart, kSceneVoiceCall));
    for (int i = 0; i < 5; ++i) handler.push({0, 0, 0, i == 4});
    ASSERT_TRUE(jni.waitCallbacks(1, kWait));
    StallReport r = jni.callbacks().at(0);
    EXPECT_EQ(1, r.value);
    EXPECT_EQ(kSceneVoiceCall, r.scene);
    EXPECT_EQ(0, r.kind);
    EXPECT_TRUE(r.flag);
    ASSERT_TRUE(handler.waitBlocked(kWait));
    // Stopped while blocked: the next report finds no adapter and ends the loop.
    EXPECT_EQ(0, send(kStallCmdStop, kSceneVoiceCall));
    handler.push({0, 0, 0, false});
    ASSERT_TRUE(waitStopped());
    EXPECT_EQ(1u, jni.callbacks().size());
    EXPECT_TRUE(log.contains(4, kLogTag, "handleReportStallEvent call stop,exit"));
    EXPECT_EQ(0, jni.liveLocalRefs());
}

TEST_F(StallSession, MissingCallbackEndsTheSession) {
    jni.setCallbackMissing(true);
    ASSERT_EQ(0, send(kStallCmdStart, kSceneShortVideo));
    handler.push({0, 0, 1, true});
    ASSERT_TRUE(waitStopped());
    EXPECT_TRUE(log.contains(4, kLogTag, "ReportStallInfo is NULL"));
    EXPECT_EQ("stop", handler.calls().back());
    EXPECT_TRUE(jni.callbacks().empty());
}

TEST_F(StallSession, FailedResultEndsTheSessionAndKeepsTheAdapterForTheNextStart) {
    ASSERT_EQ(0, send(kStallCmdStart, kSceneVideoCall));
    handler.push({0, 0, 0, false, -1});
    ASSERT_TRUE(waitStopped());
    ASSERT_TRUE(waitNoWorker());
    EXPECT_EQ(1, jni.liveGlobalRefs());
    EXPECT_EQ(0, send(kStallCmdStart, kSceneVideoCall));
    EXPECT_EQ(1, jni.liveGlobalRefs());  // reused, not a second one
}


}  // namespace
}  // namespace mqqoe
