// Faults between the stall session and the real stall module: each ends in
// a state the session rules allow, with nothing crashed or left behind on
// either side (the harness fails the run on any kernel warning).

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "AppScene.h"
#include "LogCapture.h"
#include "NetlinkHandler.h"
#include "StallModule.h"
#include "StallSession.h"
#include "TrafficPeer.h"

namespace mqqoe {
namespace {

using namespace std::chrono_literals;

constexpr int kUid = static_cast<int>(ktest::kAppUid);
constexpr char kJniTag[] = "ZvQoEJNI";
constexpr char kKorunTag[] = "Korun";

// The Java side as the session sees it: always attached, every call recorded.
class StandInJava : public StallWorkerVm {
public:
    bool attach() override { return true; }
    void detach(bool) override {}
    StallSession::CallbackFactory factory() {
        return [this] { return std::make_shared<Callback>(*this); };
    }
    size_t calls() {
        std::lock_guard<std::mutex> lock(mLock);
        return mCalls;
    }

private:
    struct Callback : StallCallback {
        explicit Callback(StandInJava& java) : mJava(java) {}
        int call(const StallReport&) override {
            std::lock_guard<std::mutex> lock(mJava.mLock);
            ++mJava.mCalls;
            return 0;
        }
        StandInJava& mJava;
    };
    std::mutex mLock;
    size_t mCalls = 0;
};

const SessionValues kVoiceCall{kUid, scene::kVoiceCall, 0, 0};

class StallFault : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ktest::stallModuleLoaded()) {
            ASSERT_TRUE(ktest::loadStallModule());
        }
        ASSERT_EQ(0, ktest::openStallSessions());
    }
    void TearDown() override {
        if (!ktest::stallModuleLoaded()) {
            EXPECT_TRUE(ktest::loadStallModule());
        }
        EXPECT_TRUE(ktest::waitUntil([] { return ktest::openStallSessions() == 0; }));
    }
    // Starts a voice-call session and waits until the module holds it.
    void startSession(StallSession& session) {
        ASSERT_EQ(0, session.start(kVoiceCall, java.factory()));
        ASSERT_TRUE(ktest::waitUntil([] { return ktest::openStallSessions() == 1; }));
    }
    // Stops it; the worker leaves at its next report.
    void stopSession(StallSession& session) {
        EXPECT_EQ(0, session.stop(kVoiceCall));
        EXPECT_TRUE(session.waitIdle(10s));
        EXPECT_EQ(kDetectStopped, session.snapshot().status);
    }

    bool hasLineStarting(const std::string& tag, const std::string& prefix) const {
        for (const testing::LogLine& line : log.lines()) {
            if (line.tag == tag && line.message.rfind(prefix, 0) == 0) return true;
        }
        return false;
    }

    StandInJava java;
    testing::LogCapture log;
};

TEST_F(StallFault, AbsentModuleFailsTheStartAndAReloadedOneWorks) {
    ASSERT_TRUE(ktest::unloadStallModule());
    {
        StallSession session(java);
        // The worker is created; its family lookup fails and it ends on its own.
        ASSERT_EQ(0, session.start(kVoiceCall, java.factory()));
        ASSERT_TRUE(session.waitIdle(10s));
        EXPECT_EQ(kDetectStopped, session.snapshot().status);
        EXPECT_TRUE(log.contains(kJniTag, "Get NetlinkHandler Instance or start failed")) << log.dump();
        // The controller answers with an error message: no call failed, so
        // the line carries whatever errno held.
        EXPECT_TRUE(hasLineStarting(kKorunTag, "netlink header is invalid when get family ID(type:2):"))
                << log.dump();
        ASSERT_TRUE(ktest::loadStallModule());
        startSession(session);
        stopSession(session);
    }
}

TEST_F(StallFault, UnloadingTheModuleUnderAnOpenSessionLeavesTheWorkerWaitingWithoutLimit) {
    // At the 1000 ms interval the report wait has no time limit, by design:
    // a module that goes away leaves the worker waiting. Run in a child so
    // that the stuck worker goes with it.
    int gone[2], report[2];
    ASSERT_EQ(0, pipe(gone));
    ASSERT_EQ(0, pipe(report));
    ktest::Child service = ktest::spawn([&] {
        StandInJava childJava;
        auto* session = new StallSession(childJava);
        if (session->start(kVoiceCall, childJava.factory()) != 0) return 1;
        char byte;
        if (read(gone[0], &byte, 1) != 1) return 2;  // the module is gone now
        std::this_thread::sleep_for(1500ms);
        int32_t seen[3] = {session->snapshot().status, 0, 0};
        seen[1] = session->stop(kVoiceCall);
        seen[2] = session->waitIdle(1s) ? 1 : 0;
        return write(report[1], seen, sizeof(seen)) == sizeof(seen) ? 0 : 3;
    });
    ASSERT_TRUE(ktest::waitUntil([] { return ktest::openStallSessions() == 1; }));
    ASSERT_TRUE(ktest::unloadStallModule());
    char byte = 1;
    ASSERT_EQ(1, write(gone[1], &byte, 1));
    int32_t seen[3] = {};
    ASSERT_EQ(static_cast<ssize_t>(sizeof(seen)), read(report[0], seen, sizeof(seen)));
    EXPECT_EQ(kDetectRunning, seen[0]);  // still waiting for a report
    EXPECT_EQ(0, seen[1]);               // the stop is taken...
    EXPECT_EQ(0, seen[2]);               // ...but the worker only sees it with a report
    service.kill();
    for (int fd : {gone[0], gone[1], report[0], report[1]}) close(fd);
    // A fresh module serves a fresh process.
    ASSERT_TRUE(ktest::loadStallModule());
    StallSession session(java);
    startSession(session);
    stopSession(session);
}

TEST_F(StallFault, AReportFloodEndsTheSessionWithAStopAndANewStartWorks) {
    StallSession session(java);
    startSession(session);
    ASSERT_TRUE(ktest::floodReports(20000));
    // The receive buffer overflows: the next receive fails with ENOBUFS and
    // the worker leaves its loop, stopping collection on its way out.
    ASSERT_TRUE(session.waitIdle(20s));
    EXPECT_EQ(kDetectStopped, session.snapshot().status);
    EXPECT_TRUE(log.contains(kKorunTag, "recv family ID fail")) << log.dump();
    EXPECT_TRUE(log.contains(kJniTag, "StopMonitor enter"));
    EXPECT_TRUE(ktest::waitUntil([] { return ktest::openStallSessions() == 0; }));
    startSession(session);
    stopSession(session);
}

TEST(StallPort, AMessageForgedByAnUnprivilegedProcessIsRefusedByTheKernel) {
    NetlinkHandler handler;
    ASSERT_EQ(0, handler.start());
    const uint32_t port = handler.portId();
    // Any message will do: the kernel refuses a user-to-user unicast on the
    // generic netlink protocol to anyone without CAP_NET_ADMIN.
    auto forge = [port] {
        int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC);
        if (fd < 0) return -errno;
        nlmsghdr message = {sizeof(nlmsghdr), NLMSG_NOOP, 0, 0, 0};
        sockaddr_nl to = {};
        to.nl_family = AF_NETLINK;
        to.nl_pid = port;
        ssize_t sent = sendto(fd, &message, sizeof(message), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
        int error = sent < 0 ? errno : 0;
        close(fd);
        return error;
    };
    ktest::Child unprivileged = ktest::spawn([&] { return forge() == EPERM ? 0 : 1; }, ktest::kAppUid);
    EXPECT_EQ(0, unprivileged.wait());
    pollfd ready = {handler.socketFd(), POLLIN, 0};
    EXPECT_EQ(0, poll(&ready, 1, 200)) << "nothing reached the library's port";
    // The same send with the capability goes through: the port is reachable.
    EXPECT_EQ(0, forge());
    EXPECT_EQ(1, poll(&ready, 1, 2000));
    EXPECT_EQ(0, handler.stop());
}

}  // namespace
}  // namespace mqqoe
