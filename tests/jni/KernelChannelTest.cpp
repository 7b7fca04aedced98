// Wire formats of the monitor and policy channels, checked on the bytes the
// emulated kernel receives.

#include <android/log.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <functional>

#include "KernelChannel.h"
#include "KernelEmulator.h"
#include "LogCapture.h"
#include "QoeTestSupport.h"
#include "ScopedResources.h"

using mqqoe::ScopedFd;
using mqqoe::testing::LogCapture;
using qoetest::valueAt;

namespace {

constexpr const char* kTag = "ZvQoEJNI";

class KernelChannelTest : public ::testing::Test {
protected:
    void SetUp() override { kemu::reset(); }
    LogCapture mLog;
};

TEST_F(KernelChannelTest, MonitorWrappersSendOneBareHeaderEach) {
    struct Case {
        std::function<int(int)> send;
        uint16_t type;
        uint16_t flags;
        uint32_t seq;
    };
    const Case cases[] = {
            {start_monitor, 0, 0, 0},
            {init_tcp_monitor, 0, 0, 0},
            {process_query_tcp, 1, 0, 0},
            {release_tcp_monitor, 2, 0, 0},
            {pause_monitor, 3, 0, 0},
            {[](int fd) { return notify_mcc(fd, 460); }, 5, 460, 0},
            {[](int fd) { return reset_rtt(fd, 0x12345); }, 6, 0x2345, 0},
            {[](int fd) { return get_rtt(fd, -1); }, 7, 0xFFFF, 0},
            // Only the QoE query repeats the whole argument in the sequence.
            {[](int fd) { return get_qesta_info(fd, 70000); }, 8, 4464, 70000},
    };
    ScopedFd fd(socket(AF_NETLINK, SOCK_RAW, kemu::kMonitorProtocol));
    ASSERT_TRUE(fd.valid());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        size_t before = kemu::sent(kemu::kMonitorProtocol).size();
        EXPECT_EQ(16, c.send(fd.get()));
        auto sent = kemu::sent(kemu::kMonitorProtocol);
        ASSERT_EQ(before + 1, sent.size());
        const auto& message = sent.back();
        ASSERT_EQ(16u, message.size());
        EXPECT_EQ(16u, valueAt<uint32_t>(message, 0));
        EXPECT_EQ(c.type, valueAt<uint16_t>(message, 4));
        EXPECT_EQ(c.flags, valueAt<uint16_t>(message, 6));
        EXPECT_EQ(c.seq, valueAt<uint32_t>(message, 8));
        EXPECT_EQ(static_cast<uint32_t>(getpid()), valueAt<uint32_t>(message, 12));
    }
}

TEST_F(KernelChannelTest, MonitorSendFailuresReturnMinusOneWithTheirLogLine) {
    ScopedFd fd(socket(AF_NETLINK, SOCK_RAW, kemu::kMonitorProtocol));
    kemu::failSends(kemu::kMonitorProtocol, 1, ENOBUFS);
    EXPECT_EQ(-1, get_qesta_info(fd.get(), 1));
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "send 8 to kernel fail!!!")) << mLog.dump();

    // Not a socket: the send time-out cannot be set and nothing goes out.
    int pipeFds[2];
    ASSERT_EQ(0, pipe(pipeFds));
    ScopedFd readEnd(pipeFds[0]), writeEnd(pipeFds[1]);
    EXPECT_EQ(-1, start_monitor(writeEnd.get()));
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, "socket option  SO_RCVTIMEO not support\n"));
    EXPECT_TRUE(kemu::sent(kemu::kMonitorProtocol).empty());
}

TEST_F(KernelChannelTest, PolicyMessagesAreLengthPlus21Bytes) {
    uint32_t boundPort = 0;
    kemu::setKernel(kemu::kPolicyProtocol, [&](kemu::Channel& channel, const kemu::Bytes&) {
        boundPort = channel.boundPort();
    });
    ScopedFd fd(ntl_link_init());
    ASSERT_TRUE(fd.valid());

    EXPECT_EQ(21, send_msg_to_kernel(0, 0, nullptr, 0, fd.get()));
    char data[mqqoe::kPolicyPayloadSize];
    for (size_t i = 0; i < sizeof(data); ++i) data[i] = static_cast<char>(0xA0 + i);
    EXPECT_EQ(45, send_msg_to_kernel(9, -7, data, sizeof(data), fd.get()));
    // A null buffer with a length still sends the zero-filled room.
    EXPECT_EQ(25, send_msg_to_kernel(3, 0, nullptr, 4, fd.get()));

    EXPECT_EQ(static_cast<uint32_t>(getpid()), boundPort);
    auto sent = kemu::sent(kemu::kPolicyProtocol);
    ASSERT_EQ(3u, sent.size());
    const auto& registration = sent[0];
    ASSERT_EQ(21u, registration.size());
    EXPECT_EQ(21u, valueAt<uint32_t>(registration, 0));
    EXPECT_EQ(0u, valueAt<uint16_t>(registration, 4));
    EXPECT_EQ(0u, valueAt<uint16_t>(registration, 6));
    EXPECT_EQ(0u, valueAt<uint32_t>(registration, 8));
    EXPECT_EQ(static_cast<uint32_t>(getpid()), valueAt<uint32_t>(registration, 12));
    EXPECT_EQ(0, valueAt<int32_t>(registration, 16));
    EXPECT_EQ(0, registration[20]);

    const auto& withData = sent[1];
    ASSERT_EQ(45u, withData.size());
    EXPECT_EQ(45u, valueAt<uint32_t>(withData, 0));
    EXPECT_EQ(9u, valueAt<uint16_t>(withData, 4));
    EXPECT_EQ(-7, valueAt<int32_t>(withData, 16));
    EXPECT_EQ(0, std::memcmp(withData.data() + 20, data, sizeof(data)));
    EXPECT_EQ(0, withData[44]);

    ASSERT_EQ(25u, sent[2].size());
    for (size_t i = 16; i < 25; ++i) EXPECT_EQ(0, sent[2][i]);
}

TEST_F(KernelChannelTest, NegativeLengthsAreRefusedBeforeAnythingIsSent) {
    ScopedFd fd(ntl_link_init());
    char data[4] = {};
    for (int length : {-24, -1, -21, -25, INT_MIN}) {
        EXPECT_EQ(-1, send_msg_to_kernel(0, 0, data, length, fd.get())) << length;
    }
    EXPECT_TRUE(kemu::sent(kemu::kPolicyProtocol).empty());
}

TEST_F(KernelChannelTest, PolicySocketFailuresLogAndLeaveNothingOpen) {
    kemu::failNextSocket(kemu::kPolicyProtocol, EMFILE);
    EXPECT_EQ(-1, ntl_link_init());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "Cant create netlink socket\n"));

    kemu::failNextBind(kemu::kPolicyProtocol, EADDRINUSE);
    EXPECT_EQ(-1, ntl_link_init());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "Cant bind netlink socket\n"));
    EXPECT_EQ(1u, kemu::socketsOpened(kemu::kPolicyProtocol));
    EXPECT_EQ(0u, kemu::openSockets(kemu::kPolicyProtocol));
}

}  // namespace
