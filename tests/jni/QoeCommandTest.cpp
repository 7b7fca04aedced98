// sendQoeCmd: which Java command sends which monitor message, and how the
// kernel's reply comes back.

#include <android/log.h>
#include <gtest/gtest.h>

#include <climits>
#include <map>

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

struct Expected {
    uint16_t type;
    bool passesArgument;
    bool replies;
};

const std::map<int, Expected> kTable = {
        {10, {0, false, false}}, {11, {3, false, false}}, {15, {1, false, true}}, {17, {5, true, false}},
        {18, {6, true, false}},  {19, {7, true, true}},   {23, {8, true, true}},
};

class QoeCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        kemu::reset();
        kemu::setMonitorReply(true, kWords);
    }
    LogCapture mLog;
};

TEST_F(QoeCommandTest, EveryJavaCodeSendsExactlyItsTableMessage) {
    const int argument = 70000;
    std::vector<int> codes;
    for (int code = -2; code <= 30; ++code) codes.push_back(code);
    codes.insert(codes.end(), {INT_MIN, INT_MAX, 0x1000A});
    for (int code : codes) {
        SCOPED_TRACE(code);
        size_t before = kemu::sent(kemu::kMonitorProtocol).size();
        auto reply = sendQoeCmdImpl(code, argument);
        auto sent = kemu::sent(kemu::kMonitorProtocol);
        EXPECT_EQ(0u, kemu::openSockets());
        auto it = kTable.find(code);
        if (it == kTable.end()) {
            EXPECT_EQ(before, sent.size());
            EXPECT_FALSE(reply.has_value());
            continue;
        }
        const Expected& e = it->second;
        ASSERT_EQ(before + 1, sent.size());
        EXPECT_EQ(e.type, valueAt<uint16_t>(sent.back(), 4));
        EXPECT_EQ(e.passesArgument ? 70000u % 65536u : 0u, valueAt<uint16_t>(sent.back(), 6));
        EXPECT_EQ(e.type == 8 ? 70000u : 0u, valueAt<uint32_t>(sent.back(), 8));
        EXPECT_EQ(e.replies, reply.has_value());
    }
    EXPECT_EQ(1u, mLog.count(kTag, "######### CMD_START_MONITOR ########\n"));
    EXPECT_EQ(1u, mLog.count(kTag, "######### CMD_STOP_MONITOR ########\n"));
}

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
