// Policy channel edge cases the natives cannot reach from Java; the wire
// formats themselves are checked from the JVM (PolicyChannelTest, QoeCommandTest).

#include <android/log.h>
#include <gtest/gtest.h>

#include <climits>

#include "KernelChannel.h"
#include "KernelEmulator.h"
#include "LogCapture.h"
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

}  // namespace
