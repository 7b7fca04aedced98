// sendQoeCmd: which Java command sends which monitor message, and how the
// kernel's reply comes back.

#include <android/log.h>
#include <gtest/gtest.h>


#include "KernelEmulator.h"
#include "LogCapture.h"
#include "QoeCommandNatives.h"
#include "QoeTestSupport.h"

using mqqoe::sendQoeCmdImpl;
using mqqoe::testing::LogCapture;
using qoetest::valueAt;

namespace {

constexpr const char* kTag = "ZvQoEJNI";
constexpr uint32_t kWords[10] = {100, 101, 102, 103, 104, 105, 106, 107, 108, 0xFFFFFFF0};

class QoeCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        kemu::reset();
        kemu::setMonitorReply(true, kWords);
    }
    LogCapture mLog;
};

TEST_F(QoeCommandTest, RepliesComeBackAsW1ToW9ThenW0) {
    for (int code : {15, 19, 23}) {
        auto reply = sendQoeCmdImpl(code, 1234);
        ASSERT_TRUE(reply.has_value()) << code;
        const mqqoe::QoeReply expected = {101, 102, 103, 104, 105, 106, 107, 108, -16, 100};
        EXPECT_EQ(expected, *reply) << code;
    }
}

TEST_F(QoeCommandTest, SilentKernelGivesNothingAfterTheReceiveTimeout) {
    kemu::setMonitorReply(false, kWords);
    EXPECT_FALSE(sendQoeCmdImpl(23, 1).has_value());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_DEBUG, kTag, "Received invalid message info.hdr.nlmsg_type =  0\n"))
            << mLog.dump();
    EXPECT_EQ(0u, kemu::openSockets());
    // The next query is answered again.
    kemu::setMonitorReply(true, kWords);
    EXPECT_TRUE(sendQoeCmdImpl(23, 1).has_value());
}

TEST_F(QoeCommandTest, SocketAndSendFailuresGiveNothingAndCloseTheSocket) {
    kemu::failNextSocket(kemu::kMonitorProtocol, EMFILE);
    EXPECT_FALSE(sendQoeCmdImpl(15, 0).has_value());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "sendQoeCmd. open monitor_fd error"));
    EXPECT_TRUE(kemu::sent(kemu::kMonitorProtocol).empty());

    kemu::failSends(kemu::kMonitorProtocol, 1, EIO);
    EXPECT_FALSE(sendQoeCmdImpl(19, 5).has_value());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "send 7 to kernel fail!!!"));
    // No receive was attempted: the invalid-message line is absent.
    EXPECT_EQ(0u, mLog.count(kTag, "Received invalid message info.hdr.nlmsg_type =  0\n"));
    EXPECT_EQ(0u, kemu::openSockets());
    EXPECT_TRUE(sendQoeCmdImpl(19, 5).has_value());
}

TEST_F(QoeCommandTest, ManyCommandsLeakNoDescriptor) {
    size_t before = qoetest::openDescriptors();
    for (int i = 0; i < 300; ++i) {
        if (i % 50 == 0) kemu::failSends(kemu::kMonitorProtocol, 1, EIO);
        if (i % 70 == 0) kemu::failNextSocket(kemu::kMonitorProtocol, EMFILE);
        (void)sendQoeCmdImpl(10 + i % 14, i);
    }
    EXPECT_EQ(before, qoetest::openDescriptors());
    EXPECT_EQ(0u, kemu::openSockets());
}

}  // namespace
