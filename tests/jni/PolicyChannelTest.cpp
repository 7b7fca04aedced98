// The socket policy natives: payload records, the lazily registered channel,
// result codes and recovery after failures.

#include <android/log.h>
#include <gtest/gtest.h>

#include <functional>

#include "KernelEmulator.h"
#include "LogCapture.h"
#include "NetdClientStandIn.h"
#include "QoeCommandNatives.h"
#include "QoeTestSupport.h"

using namespace mqqoe;
using mqqoe::testing::LogCapture;
using qoetest::valueAt;

namespace {

constexpr const char* kTag = "ZvQoEJNI";
constexpr int kPolicy = kemu::kPolicyProtocol;

class PolicyChannelTest : public ::testing::Test {
protected:
    void SetUp() override {
        closePolicyChannel();
        kemu::reset();
        netdStandInReset();
    }
    void TearDown() override { closePolicyChannel(); }

    static std::vector<uint16_t> sentTypes() {
        std::vector<uint16_t> types;
        for (const auto& message : kemu::sent(kPolicy)) types.push_back(valueAt<uint16_t>(message, 4));
        return types;
    }
    LogCapture mLog;
};

TEST_F(PolicyChannelTest, DpiRuleRegistersEnablesThenSendsTheRecord) {
    EXPECT_EQ(0, setDpiMarkRuleImpl(0x0A0B0C0D, 0x1FF, 1));
    EXPECT_EQ((std::vector<uint16_t>{0, 5, 3}), sentTypes());
    auto sent = kemu::sent(kPolicy);
    EXPECT_EQ(21u, sent[1].size());
    ASSERT_EQ(45u, sent[2].size());
    EXPECT_EQ(45u, valueAt<uint32_t>(sent[2], 0));
    const uint8_t expected[24] = {0x0D, 0x0C, 0x0B, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0,
                                  1,    0,    0,    0,    0xFF, 0, 0, 0, 90, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(sent[2].data() + 20, expected, sizeof(expected)));
    for (const char* line : {"Netlink socket created OK\n", "Netlink registered OK\n", "Set DPI Mark rule OK!\n"}) {
        EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, line)) << line;
    }

    mLog.clear();
    EXPECT_EQ(0, setDpiMarkRuleImpl(7, 8, 0));
    EXPECT_EQ((std::vector<uint16_t>{0, 5, 3, 4}), sentTypes());
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_INFO, kTag, "Disable DPI\n"));
    EXPECT_EQ(0u, mLog.count(kTag, "Netlink socket created OK\n"));  // registered once only
    EXPECT_EQ(1u, kemu::socketsOpened(kPolicy));
}

TEST_F(PolicyChannelTest, FailuresGiveTheirCodeAndTheNextCallRecovers) {
    struct Native {
        std::function<int()> call;
        int initCode, registerCode, sendCode;
        const char *initLog, *registerLog, *sendLog;
    };
    const Native natives[] = {
            {[] { return resetProcessSocketsImpl(1000); }, kPolicyInitFailed, kPolicyRegisterFailed,
             kPolicyResetFailed, "mplk resetSK init ntl FAIL\n", "mplk resetSK reg FAIL\n",
             "mplk resetSK FAIL of 1000\n"},
            {[] { return closeProcessSocketsImpl(77, 1000); }, kPolicyInitFailed, kPolicyRegisterFailed,
             kPolicyCloseFailed, "mplk closeSK init ntl FAIL\n", "mplk closeSK reg FAIL\n",
             "mplk closeSK FAIL of 1000\n"},
            {[] { return bindUidProcessToNetworkImpl(100, 1000); }, kPolicyInitFailed, kPolicyRegisterFailed,
             kPolicyBindFailed, "mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n", "mplk bindNW FAIL of 1000\n"},
            {[] { return bindUidProcessToNetworkImpl(0, 1000); }, kPolicyInitFailed, kPolicyRegisterFailed,
             kPolicyUnbindFailed, "mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n",
             "mplk unbindNW FAIL of 1000\n"},
            {[] { return setDpiMarkRuleImpl(1, 2, 0); }, -1, -1, -1, "Failed to initialize netlink socket\n",
             "Failed to register to kernel\n", "Failed to send msg to kernel\n"},
    };
    for (const Native& n : natives) {
        SCOPED_TRACE(n.sendLog);
        kemu::reset();
        kemu::failNextSocket(kPolicy, EMFILE);
        EXPECT_EQ(n.initCode, n.call());
        EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, n.initLog));

        kemu::failSends(kPolicy, 1, ECONNREFUSED);  // the registration
        EXPECT_EQ(n.registerCode, n.call());
        EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, n.registerLog));
        EXPECT_EQ(0u, kemu::openSockets(kPolicy));

        ASSERT_EQ(n.initCode == -1 ? 0 : kPolicyOk, n.call());  // opens the channel
        kemu::failSends(kPolicy, 1, ENOBUFS);
        EXPECT_EQ(n.sendCode, n.call());
        EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, n.sendLog)) << mLog.dump();
        EXPECT_EQ(0u, kemu::openSockets(kPolicy));

        size_t registrations = kemu::sent(kPolicy).size();
        EXPECT_EQ(n.initCode == -1 ? 0 : kPolicyOk, n.call());
        EXPECT_EQ(0u, valueAt<uint16_t>(kemu::sent(kPolicy)[registrations], 4));  // registered afresh
        EXPECT_EQ(3u, kemu::socketsOpened(kPolicy));
        closePolicyChannel();
        mLog.clear();
    }
}

TEST_F(PolicyChannelTest, FailedDpiRuleAfterEnableDropsTheChannel) {
    // The kernel takes the enable and then refuses the rule itself.
    kemu::setKernel(kPolicy, [](kemu::Channel&, const kemu::Bytes& message) {
        if (valueAt<uint16_t>(message, 4) == 5) kemu::failSends(kPolicy, 1, EPERM);
    });
    EXPECT_EQ(-1, setDpiMarkRuleImpl(1, 2, 1));
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "Failed to add qinglongzhan rule\n"));
    EXPECT_EQ(0u, kemu::openSockets(kPolicy));
    EXPECT_EQ((std::vector<uint16_t>{0, 5}), sentTypes());
}

TEST_F(PolicyChannelTest, DnsBindingComesFirstAndItsFailureSendsNothing) {
    netdStandInSetResult(22);
    EXPECT_EQ(22, bindUidProcessToNetworkImpl(100, 10123));
    EXPECT_TRUE(mLog.contains(ANDROID_LOG_ERROR, kTag, "mplk bindNW for DNS 10123 to 100 FAIL for cause 22\n"));
    EXPECT_EQ(100u, netdStandInLastNetId());
    EXPECT_EQ(10123u, netdStandInLastUid());
    EXPECT_EQ(0u, kemu::socketsOpened(kPolicy));

    // Even when the kernel channel then fails, the resolver was asked first.
    netdStandInReset();
    kemu::failNextSocket(kPolicy, EMFILE);
    EXPECT_EQ(kPolicyInitFailed, bindUidProcessToNetworkImpl(100, 10123));
    EXPECT_EQ(1, netdStandInCallCount());
}

TEST_F(PolicyChannelTest, ManyCallsWithFailuresLeakNoDescriptor) {
    size_t before = qoetest::openDescriptors();
    for (int i = 0; i < 400; ++i) {
        if (i % 7 == 0) kemu::failSends(kPolicy, 1, ENOBUFS);
        if (i % 11 == 0) kemu::failNextSocket(kPolicy, EMFILE);
        if (i % 13 == 0) kemu::failNextBind(kPolicy, EADDRINUSE);
        switch (i % 4) {
            case 0: (void)resetProcessSocketsImpl(i); break;
            case 1: (void)closeProcessSocketsImpl(i, i + 1); break;
            case 2: (void)bindUidProcessToNetworkImpl(i % 3, i); break;
            default: (void)setDpiMarkRuleImpl(i, i, i % 2); break;
        }
        EXPECT_LE(kemu::openSockets(kPolicy), 1u);
    }
    closePolicyChannel();
    EXPECT_EQ(before, qoetest::openDescriptors());
    EXPECT_EQ(0u, kemu::openSockets());
}

}  // namespace
