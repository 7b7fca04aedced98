// The kernel channels' failures and recovery; the wire formats are checked
// through the natives from the JVM (PolicyChannelTest, QoeCommandTest).

#include <android/log.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "KernelChannel.h"
#include "KernelEmulator.h"
#include "LogCapture.h"
#include "MonitorCommand.h"
#include "PolicyChannel.h"
#include "UniqueFd.h"

namespace {

constexpr const char* kTag = "ZvQoEJNI";

TEST(KernelChannelTest, PolicyLengthsAreCheckedAndANullBufferSendsZeroedRoom) {
    kemu::reset();
    nl::UniqueFd fd(ntl_link_init());
    ASSERT_TRUE(fd.valid());
    char data[4] = {1, 2, 3, 4};
    for (int length : {-24, -1, -21, -25, INT_MIN}) {
        EXPECT_EQ(-1, send_msg_to_kernel(0, 0, data, length, fd.get())) << length;
    }
    EXPECT_TRUE(kemu::sent(kemu::kPolicyProtocol).empty());
    EXPECT_EQ(25, send_msg_to_kernel(3, 0, nullptr, 4, fd.get()));
    auto sent = kemu::sent(kemu::kPolicyProtocol);
    ASSERT_EQ(1u, sent.size());
    ASSERT_EQ(25u, sent[0].size());
    for (size_t i = 16; i < 25; ++i) EXPECT_EQ(0, sent[0][i]) << i;
}

TEST(KernelChannelTest, PolicySocketFailuresLogAndLeaveNothingOpen) {
    kemu::reset();
    mqqoe::testing::LogCapture log;
    kemu::failNextSocket(kemu::kPolicyProtocol, EMFILE);
    EXPECT_EQ(-1, ntl_link_init());
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kTag, "Cant create netlink socket\n")) << log.dump();
    kemu::failNextBind(kemu::kPolicyProtocol, EADDRINUSE);
    EXPECT_EQ(-1, ntl_link_init());
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kTag, "Cant bind netlink socket\n"));
    EXPECT_EQ(1u, kemu::socketsOpened(kemu::kPolicyProtocol));
    EXPECT_EQ(0u, kemu::openSockets(kemu::kPolicyProtocol));
}

// Each policy command: its code for a failed send, its failure lines, and a
// fresh channel (with a new registration) on the next call.
TEST(PolicyChannelTest, EachFailureGivesItsCodeAndLineAndTheNextCallRecovers) {
    const struct {
        const char* name;
        std::function<int(mqqoe::PolicyChannel&)> call;
        int sendFailure;
        const char* lines[3];
    } commands[] = {
        {"reset", [](auto& c) { return c.resetProcessSockets(1000); }, mqqoe::kPolicyResetFailed,
         {"mplk resetSK init ntl FAIL\n", "mplk resetSK reg FAIL\n", "mplk resetSK FAIL of 1000\n"}},
        {"close", [](auto& c) { return c.closeProcessSockets(5, 1000); }, mqqoe::kPolicyCloseFailed,
         {"mplk closeSK init ntl FAIL\n", "mplk closeSK reg FAIL\n", "mplk closeSK FAIL of 1000\n"}},
        {"bind", [](auto& c) { return c.bindUidProcessToNetwork(100, 1000); }, mqqoe::kPolicyBindFailed,
         {"mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n", "mplk bindNW FAIL of 1000\n"}},
        {"unbind", [](auto& c) { return c.bindUidProcessToNetwork(0, 1000); }, mqqoe::kPolicyUnbindFailed,
         {"mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n", "mplk unbindNW FAIL of 1000\n"}},
        {"dpi", [](auto& c) { return c.setDpiMarkRule(1, 2, 1); }, -1,
         {"Failed to initialize netlink socket\n", "Failed to register to kernel\n", "Failed to send msg to kernel\n"}},
    };
    for (const auto& c : commands) {
        kemu::reset();
        mqqoe::testing::LogCapture log;
        mqqoe::PolicyChannel channel;
        const bool dpi = c.sendFailure == -1;
        kemu::failNextSocket(kemu::kPolicyProtocol, EMFILE);
        EXPECT_EQ(dpi ? -1 : mqqoe::kPolicyInitFailed, c.call(channel)) << c.name;
        kemu::failSends(kemu::kPolicyProtocol, 1, ECONNREFUSED);
        EXPECT_EQ(dpi ? -1 : mqqoe::kPolicyRegisterFailed, c.call(channel)) << c.name;
        EXPECT_EQ(0u, kemu::openSockets(kemu::kPolicyProtocol)) << c.name;
        EXPECT_EQ(0, c.call(channel)) << c.name;
        kemu::failSends(kemu::kPolicyProtocol, 1, ENOBUFS);
        EXPECT_EQ(c.sendFailure, c.call(channel)) << c.name;
        EXPECT_EQ(0u, kemu::openSockets(kemu::kPolicyProtocol)) << c.name;
        const size_t before = kemu::sent(kemu::kPolicyProtocol).size();
        EXPECT_EQ(0, c.call(channel)) << c.name;
        EXPECT_EQ(21u, kemu::sent(kemu::kPolicyProtocol).at(before).size()) << c.name;  // registered afresh
        for (const char* line : c.lines) EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kTag, line)) << line;
    }
}

TEST(MonitorCommandTest, SilentKernelOrBrokenSocketGivesNothingAndTheNextCallWorks) {
    kemu::reset();
    mqqoe::testing::LogCapture log;
    const uint32_t words[10] = {};
    kemu::setMonitorReply(false, words);
    EXPECT_FALSE(mqqoe::sendQoeCommand(mqqoe::kCmdGetQestaInfo, 1));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, kTag, "Received invalid message info.hdr.nlmsg_type =  0\n"));
    kemu::setMonitorReply(true, words);
    kemu::failNextSocket(kemu::kMonitorProtocol, EMFILE);
    EXPECT_FALSE(mqqoe::sendQoeCommand(mqqoe::kCmdQueryTcp, 0));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kTag, "sendQoeCmd. open monitor_fd error"));
    kemu::failSends(kemu::kMonitorProtocol, 1, EIO);
    EXPECT_FALSE(mqqoe::sendQoeCommand(mqqoe::kCmdGetRtt, 0));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kTag, "send 7 to kernel fail!!!"));
    EXPECT_TRUE(mqqoe::sendQoeCommand(mqqoe::kCmdGetRtt, 0));
    EXPECT_EQ(0u, kemu::openSockets(kemu::kMonitorProtocol));
}

}  // namespace
