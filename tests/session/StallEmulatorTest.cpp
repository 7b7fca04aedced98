// Sessions through the production thread entry: StallDetectThread on the
// NetlinkHandler singleton against the emulated stall-detection module, with
// the fake VM standing in for the JVM (which cannot run under ThreadSanitizer).
// The status machine and kernel faults are covered from the JVM (StallSessionTest).

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "FakeJni.h"
#include "FrameDetectListener.h"
#include "GenlKernel.h"
#include "LogCapture.h"
#include "NetlinkHandler.h"
#include "StallSession.h"
#include "ZvQoE_jni.h"

namespace mqqoe {
namespace {

using namespace std::chrono_literals;
namespace genl = kemu::genl;

constexpr auto kWait = 5s;
constexpr int kUid = 10099;
constexpr int kCmdStart = 1;
constexpr int kCmdStop = 2;

size_t sentCommands(int command) {
    size_t n = 0;
    for (const auto& message : genl::sentMessages()) {
        if (genl::typeOf(message) != 16 && genl::commandOf(message) == command) ++n;
    }
    return n;
}

bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout = kWait) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

bool sessionSocketClosed() { return kemu::openSockets(kemu::kGenericProtocol) == 0; }

unsigned long inboundTotal() {
    StateLock lock;
    return gTotalTraffic[1];
}

class StallEmulator : public ::testing::Test {
protected:
    void SetUp() override {
        kemu::reset();
        gJavaVm = jni.vm();
    }
    void TearDown() override {
        command(kStallCmdStop, kSceneVideoCall);
        EXPECT_TRUE(waitFor([] {
            genl::pushThroughputReport(kUid, 1, 1, 1, 1);
            return sessionSocketClosed();
        }));
        EXPECT_TRUE(waitFor([this] { return jni.attachedThreads() == 0; }));
        EXPECT_EQ(0, jni.liveGlobalRefs());
        gJavaVm = nullptr;
    }
    int command(int cmd, int scene) {
        return sendQoeStallDetectCmd(jni.env(), jni.adapter(), cmd, kUid, scene, 0, 0);
    }

    testing::FakeJni jni;
    testing::LogCapture log;
};

TEST_F(StallEmulator, VideoCallReportsFrameResultsAndSilenceThenStops) {
    ASSERT_EQ(0, command(kStallCmdStart, kSceneVideoCall));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 1; }));
    EXPECT_EQ(1, jni.attachedThreads());
    // A stall (50 packets in two seconds) passes the service's latest result on.
    android::sp<VeltroFrameDetectListener> listener = new VeltroFrameDetectListener();
    listener->NotifyToQesta({5, 60, 0});
    ASSERT_TRUE(genl::pushThroughputReport(kUid, 50, 20, 4000, 900));
    ASSERT_TRUE(waitFor([] { return inboundTotal() == 4000; }));
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 0, 0, 0, 0));
    ASSERT_TRUE(jni.waitCallbacks(2, kWait));
    auto calls = jni.callbacks();
    EXPECT_EQ(5, calls[0].value);
    EXPECT_EQ(kReportKindFrame, calls[0].kind);
    EXPECT_EQ(1, calls[1].value);
    EXPECT_EQ(kReportKindStall, calls[1].kind);
    EXPECT_EQ(kSceneVideoCall, calls[1].scene);

    ASSERT_EQ(0, command(kStallCmdStop, kSceneVideoCall));
    // A start refused while the worker is still blocked stores its values all the same.
    EXPECT_EQ(-1, sendQoeStallDetectCmd(jni.env(), jni.adapter(), kStallCmdStart, kUid + 1, kSceneVoiceCall, 7, 3));
    {
        StateLock lock;
        EXPECT_EQ((std::array<int, 4>{kUid + 1, kSceneVoiceCall, 7, 3}),
                  (std::array<int, 4>{gStallUid, gStallAppScene, gStallAlgoType, gStallUserType}));
    }
    ASSERT_EQ(0, command(kStallCmdStop, kSceneVideoCall));  // drops the adapter the refused start took
    ASSERT_TRUE(genl::pushThroughputReport(kUid, 110, 50, 20000, 900));
    ASSERT_TRUE(waitFor(sessionSocketClosed));
    EXPECT_EQ(1u, sentCommands(kCmdStop));
    EXPECT_TRUE(waitFor([this] { return jni.attachedThreads() == 0; }));
    EXPECT_FALSE(log.contains(4, kLogTag, "DetachCurrentThread fail"));
    EXPECT_EQ(0, jni.liveLocalRefs());
}

TEST_F(StallEmulator, SetupAndJavaFailuresEndTheWorker) {
    // An unknown scene: the handler is stopped again.
    ASSERT_EQ(0, command(kStallCmdStart, 12345));
    ASSERT_TRUE(waitFor([this] { return log.contains(4, kLogTag, "Setup the detection type failed"); }));
    ASSERT_TRUE(waitFor(sessionSocketClosed));
    EXPECT_EQ(0u, sentCommands(kCmdStart));

    // No callback method: the first report ends the session.
    jni.setCallbackMissing(true);
    ASSERT_TRUE(waitFor([this] { return command(kStallCmdStart, kSceneVoiceCall) == 0; }));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 1; }));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 0, 0, 0, 0));
    ASSERT_TRUE(waitFor(sessionSocketClosed));
    EXPECT_TRUE(log.contains(4, kLogTag, "ReportStallInfo is NULL"));
    EXPECT_EQ(1u, sentCommands(kCmdStop));
    EXPECT_TRUE(jni.callbacks().empty());
    jni.setCallbackMissing(false);

    // No environment: the worker ends without stopping collection, so a new start finds the handler busy.
    jni.setAttachFails(true);
    ASSERT_TRUE(waitFor([this] { return command(kStallCmdStart, kSceneVoiceCall) == 0; }));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 2; }));
    ASSERT_TRUE(waitFor([this] { return log.contains(4, kLogTag, "AttachCurrentThread fail"); }));
    ASSERT_TRUE(waitFor([this] { return command(kStallCmdStart, kSceneVoiceCall) == 0; }));
    ASSERT_TRUE(waitFor([this] { return log.contains(4, kLogTag, "Get NetlinkHandler Instance or start failed"); }));
    EXPECT_EQ(1u, sentCommands(kCmdStop));
    EXPECT_EQ(1u, kemu::openSockets(kemu::kGenericProtocol));
    // Only this test's clean-up releases the handler; the last worker no longer touches it.
    NetlinkHandler* handler = NetlinkHandler::Instance();
    handler->stopCollecting();
    handler->stop();
    jni.setAttachFails(false);
}

// Commands racing from two threads while the module reports: every session
// ends, nothing stays attached or referenced.
TEST_F(StallEmulator, StartStopCyclesWhileReportsFlow) {
    constexpr int kCycles = 200;
    std::atomic<int> started{0};
    std::atomic<bool> feeding{true};
    std::thread feeder([&] {
        std::mt19937 random(7);
        while (feeding) {
            if (!sessionSocketClosed()) {
                uint32_t packets = random() % 3 * 60;
                genl::pushThroughputReport(kUid, packets, packets, packets * 100, packets * 10);
            }
            std::this_thread::sleep_for(100us);
        }
    });
    auto deadline = std::chrono::steady_clock::now() + 60s;
    std::vector<std::thread> callers;
    for (unsigned t = 0; t < 2; ++t) {
        callers.emplace_back([&, t] {
            std::mt19937 random(t);
            while (started < kCycles && std::chrono::steady_clock::now() < deadline) {
                int cmd = kStallCmdStart + static_cast<int>(random() % 3);
                if (command(cmd, random() % 2 ? kSceneVoiceCall : kSceneVideoCall) == 0 && cmd == kStallCmdStart) {
                    ++started;
                }
            }
        });
    }
    for (auto& caller : callers) caller.join();
    EXPECT_GE(started.load(), kCycles);
    command(kStallCmdStop, kSceneVoiceCall);
    EXPECT_TRUE(waitFor(sessionSocketClosed));
    feeding = false;
    feeder.join();
}

}  // namespace
}  // namespace mqqoe
