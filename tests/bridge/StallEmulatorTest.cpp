// Sessions on the real stall engine against the emulated stall-detection
// module, with a stand-in Java side (the JVM cannot run under
// ThreadSanitizer). The status machine and kernel faults are covered from
// the JVM (StallSessionTest).

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "AppScene.h"
#include "FrameDetection.h"
#include "GenlKernel.h"
#include "LogCapture.h"
#include "StallSession.h"
#include "VeltroStandIn.h"

namespace mqqoe {
namespace {

using namespace std::chrono_literals;
namespace genl = kemu::genl;

constexpr auto kWait = 5s;
constexpr int kUid = 10099;
constexpr int kCmdStart = 1;
constexpr int kCmdStop = 2;
constexpr char kLogTag[] = "ZvQoEJNI";

// The VM and the adapter as the session sees them: attaching may fail, the
// callback method may be missing; what arrives is recorded. Every field is
// read and written under the lock, through with().
class StandInJava : public StallWorkerVm {
public:
    struct State {
        bool attachFails = false;
        bool callbackMissing = false;
        int attached = 0;
        int held = 0;  // adapter references alive
        std::vector<StallReport> calls;
    };

    template <typename F>
    auto with(F&& f) {
        std::lock_guard<std::mutex> lock(mLock);
        mChanged.notify_all();
        return f(mState);
    }
    bool attach() override { return with([](State& s) { return !s.attachFails && ++s.attached > 0; }); }
    void detach(bool) override { with([](State& s) { return --s.attached; }); }
    StallSession::CallbackFactory factory() {
        return [this] { return std::make_shared<Callback>(*this); };
    }
    bool waitCalls(size_t count) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, kWait, [&] { return mState.calls.size() >= count; });
    }
    std::vector<StallReport> calls() { return with([](State& s) { return s.calls; }); }

private:
    struct Callback : StallCallback {
        explicit Callback(StandInJava& java) : mJava(java) { mJava.with([](State& s) { return ++s.held; }); }
        ~Callback() override { mJava.with([](State& s) { return --s.held; }); }
        int call(const StallReport& report) override {
            return mJava.with([&](State& s) { return s.callbackMissing ? -1 : (s.calls.push_back(report), 0); });
        }
        StandInJava& mJava;
    };

    std::mutex mLock;
    std::condition_variable mChanged;
    State mState;
};

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

class StallEmulator : public ::testing::Test {
protected:
    void SetUp() override { kemu::reset(); }
    void TearDown() override {
        (void)command(kStallCmdStop, scene::kVideoCall);
        EXPECT_TRUE(waitFor([] {
            genl::pushThroughputReport(kUid, 1, 1, 1, 1);
            return sessionSocketClosed();
        }));
        EXPECT_TRUE(session.waitIdle(kWait));
        EXPECT_EQ(0, java.with([](auto& s) { return s.attached + s.held; }));
    }
    int command(int cmd, int sceneCode, int uid = kUid, int algoType = 0, int userType = 0) {
        const SessionValues values{uid, sceneCode, algoType, userType};
        switch (cmd) {
            case kStallCmdStart:
                return session.start(values, java.factory());
            case kStallCmdStop:
                return session.stop(values);
            default:
                return session.stopAlgo(values);
        }
    }

    StandInJava java;
    StallSession session{java};
    testing::LogCapture log;
};

TEST_F(StallEmulator, VideoCallReportsFrameResultsAndSilenceThenStops) {
    ASSERT_EQ(0, command(kStallCmdStart, scene::kVideoCall));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 1; }));
    EXPECT_EQ(1, java.with([](auto& s) { return s.attached; }));
    // A stall (50 packets in two seconds) passes the service's latest result on.
    android::sp<VeltroFrameDetectListener> listener = new VeltroFrameDetectListener(session);
    listener->NotifyToQesta({5, 60, 0});
    ASSERT_TRUE(genl::pushThroughputReport(kUid, 50, 20, 4000, 900));
    ASSERT_TRUE(waitFor([this] { return session.snapshot().totalIn == 4000; }));
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 0, 0, 0, 0));
    ASSERT_TRUE(java.waitCalls(2));
    EXPECT_EQ((std::array<int, 4>{5, kReportKindFrame, 1, kReportKindStall}),
              (std::array<int, 4>{java.calls()[0].value, java.calls()[0].kind, java.calls()[1].value,
                                  java.calls()[1].kind}));
    // Traffic without a callback: once its bytes show in the totals, the worker
    // is past its status check and waiting for the next report.
    ASSERT_TRUE(genl::pushThroughputReport(kUid, 110, 50, 20000, 900));
    ASSERT_TRUE(waitFor([this] { return session.snapshot().totalIn == 24000; }));

    ASSERT_EQ(0, command(kStallCmdStop, scene::kVideoCall));
    // A start refused while the worker is still blocked stores its values all the same.
    EXPECT_EQ(-1, command(kStallCmdStart, scene::kVoiceCall, kUid + 1, 7, 3));
    const SessionValues stored = session.snapshot().values;
    EXPECT_EQ((std::array<int, 4>{kUid + 1, scene::kVoiceCall, 7, 3}),
              (std::array<int, 4>{stored.uid, stored.appScene, stored.algoType, stored.userType}));
    ASSERT_EQ(0, command(kStallCmdStop, scene::kVideoCall));  // drops the adapter the refused start took
    ASSERT_TRUE(genl::pushThroughputReport(kUid, 110, 50, 20000, 900));
    ASSERT_TRUE(waitFor(sessionSocketClosed));
    EXPECT_EQ(1u, sentCommands(kCmdStop));
    EXPECT_TRUE(session.waitIdle(kWait));
    EXPECT_EQ(kDetectStopped, session.snapshot().status);
}

TEST_F(StallEmulator, SetupAndJavaFailuresEndTheWorkerAndLeaveTheEngineFree) {
    // An unknown scene: the engine is stopped again.
    ASSERT_EQ(0, command(kStallCmdStart, 12345));
    ASSERT_TRUE(waitFor([this] { return log.contains(4, kLogTag, "Setup the detection type failed"); }));
    ASSERT_TRUE(session.waitIdle(kWait));
    EXPECT_TRUE(sessionSocketClosed());
    EXPECT_EQ(0u, sentCommands(kCmdStart));

    // The kernel refuses the START: the engine is stopped, nothing was collected.
    genl::nackNext(-1, 1);
    ASSERT_EQ(0, command(kStallCmdStart, scene::kVoiceCall));
    ASSERT_TRUE(session.waitIdle(kWait));
    EXPECT_TRUE(log.contains(4, kLogTag, "start collecting failed"));
    EXPECT_EQ(0u, sentCommands(kCmdStop));

    // No callback method: the first report ends the session.
    java.with([](auto& s) { return s.callbackMissing = true; });
    ASSERT_EQ(0, command(kStallCmdStart, scene::kVoiceCall));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 2; }));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 0, 0, 0, 0));
    ASSERT_TRUE(session.waitIdle(kWait));
    EXPECT_TRUE(sessionSocketClosed());
    EXPECT_EQ(1u, sentCommands(kCmdStop));
    EXPECT_TRUE(java.calls().empty());
    java.with([](auto& s) { return s.callbackMissing = false; });

    // No environment: nothing could be reported, so collection is stopped and
    // the socket closed, and the next start runs a whole session.
    java.with([](auto& s) { return s.attachFails = true; });
    ASSERT_EQ(0, command(kStallCmdStart, scene::kVoiceCall));
    ASSERT_TRUE(session.waitIdle(kWait));
    EXPECT_EQ(3u, sentCommands(kCmdStart));
    EXPECT_EQ(2u, sentCommands(kCmdStop));
    EXPECT_TRUE(sessionSocketClosed());
    java.with([](auto& s) { return s.attachFails = false; });
    ASSERT_EQ(0, command(kStallCmdStart, scene::kVoiceCall));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 4; }));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 0, 0, 0, 0));
    ASSERT_TRUE(java.waitCalls(1));
}

// The service registers the frame listener from a thread of its own, which
// may still hold it when a test ends: this session and its frame detection
// live as long as the process.
struct FrameFixture {
    StandInJava java;
    StallSession session{java};
    FrameDetection frames{session};
};

FrameFixture& frameFixture() {
    static FrameFixture* fixture = new FrameFixture();
    return *fixture;
}

// Starting detection forgets a result the service sent during an earlier run.
TEST(FrameDetectionStart, ClearsAResultLeftByAnEarlierRun) {
    FrameFixture& f = frameFixture();
    veltroStandInReset();
    ASSERT_EQ(1, f.frames.start(scene::kVideoCall));
    ASSERT_EQ(1, veltroStandInWaitRegistrations(1, 5000));
    veltroStandInNotify(7);
    ASSERT_EQ(7, f.session.snapshot().frameResult);
    ASSERT_EQ(1, f.frames.start(scene::kVideoCall));
    EXPECT_EQ(0, f.session.snapshot().frameResult);
    veltroStandInReset();
}

// Command 26 pauses the detector from the worker's next pass on: stalls are
// no longer found, while silence is still reported.
TEST_F(StallEmulator, StopAlgoPausesTheDetectorButNotTheSession) {
    ASSERT_EQ(0, command(kStallCmdStart, scene::kVoiceCall));
    ASSERT_TRUE(waitFor([] { return sentCommands(kCmdStart) == 1; }));
    EXPECT_EQ(0, command(kStallCmdStopAlgo, scene::kVoiceCall));
    EXPECT_EQ(-1, command(kStallCmdStopAlgo, scene::kVoiceCall));  // until the worker takes it
    for (int i = 0; i < 12; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 10, 10, 800, 800));
    ASSERT_TRUE(waitFor([this] { return session.snapshot().totalIn == 12 * 800; }));
    EXPECT_TRUE(java.calls().empty());
    EXPECT_EQ(kDetectRunning, session.snapshot().status);
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(genl::pushThroughputReport(kUid, 0, 0, 0, 0));
    ASSERT_TRUE(java.waitCalls(1));
    EXPECT_EQ(1, java.calls()[0].value);
}

// The algorithm type of a short-video start carries eight 4-bit parameters, lowest first.
TEST_F(StallEmulator, ShortVideoParametersComeOnePerNibble) {
    ASSERT_EQ(0, command(kStallCmdStart, scene::kShortVideo, kUid, static_cast<int>(0xFEDCBA98u), 2));
    EXPECT_TRUE(waitFor([this] {
        return log.contains(4, "Korun", "Aweme para: m1s=8, mR1s=9, m2s=10, mR2s=11, m3s=12, mR3s=13, m6s=14, "
                                        "mR6s=15, userType=2");
    }));
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
                if (command(cmd, random() % 2 ? scene::kVoiceCall : scene::kVideoCall) == 0 && cmd == kStallCmdStart) {
                    ++started;
                }
            }
        });
    }
    for (auto& caller : callers) caller.join();
    EXPECT_GE(started.load(), kCycles);
    (void)command(kStallCmdStop, scene::kVoiceCall);
    EXPECT_TRUE(waitFor(sessionSocketClosed));
    feeding = false;
    feeder.join();
}

}  // namespace
}  // namespace mqqoe
