// The generic netlink channel on its own: opening, sending, waiting for a
// message, acknowledgements and the family lookup, with each failure's kind
// and the errno of the call that failed.

#include "GenlChannel.h"

#include <GenlKernel.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstring>

using kemu::Bytes;
using nl::ChannelError;
namespace genl = kemu::genl;

namespace {

constexpr uint32_t kPort = 4242;
// Long enough for a queued message to be there; only reached when nothing is.
constexpr int kBoundedWaitMs = 200;
using Attrs = std::vector<std::pair<int, Bytes>>;

Bytes errorMessage(int32_t error, uint32_t nlmsgLen) {
    Bytes m(NLMSG_HDRLEN + sizeof(error) + NLMSG_HDRLEN, 0);
    const uint16_t type = NLMSG_ERROR;
    std::memcpy(m.data(), &nlmsgLen, sizeof(nlmsgLen));
    std::memcpy(m.data() + 4, &type, sizeof(type));
    std::memcpy(m.data() + NLMSG_HDRLEN, &error, sizeof(error));
    return m;
}

class ChannelTest : public ::testing::Test {
protected:
    void SetUp() override {
        kemu::reset();
        genl::reset();
        ASSERT_TRUE(channel.open(kPort));
    }
    nl::GenlChannel channel;
};

}  // namespace

TEST_F(ChannelTest, OpensBoundAtItsPortAndResolvesFamilies) {
    EXPECT_TRUE(channel.isOpen());
    EXPECT_EQ(kPort, channel.port());
    uint16_t id = 0;
    ASSERT_TRUE(channel.resolveFamily("zvkorun", &id));
    EXPECT_EQ(genl::kDefaultFamilyId, id);
    const Bytes lookup = genl::sentMessages().back();
    EXPECT_EQ((std::vector<int>{GENL_ID_CTRL, CTRL_CMD_GETFAMILY, NLM_F_REQUEST, 1, static_cast<int>(kPort)}),
              (std::vector<int>{genl::typeOf(lookup), genl::commandOf(lookup), genl::flagsOf(lookup),
                                genl::versionOf(lookup), genl::pidOf(lookup)}));
    EXPECT_EQ(Bytes({'z', 'v', 'k', 'o', 'r', 'u', 'n', 0}), genl::attrOf(lookup, CTRL_ATTR_FAMILY_NAME));

    // The emulated controller answers an unknown name with an error message.
    EXPECT_FALSE(channel.resolveFamily("absent", &id));
    EXPECT_EQ(ChannelError::kMalformed, channel.failure().error);
    EXPECT_EQ(NLMSG_ERROR, channel.failure().messageType);
    const std::string tooLong(nl::GenlChannel::kMessageCapacity, 'x');
    EXPECT_FALSE(channel.resolveFamily(tooLong.c_str(), &id));
    EXPECT_EQ(ChannelError::kTooLong, channel.failure().error);

    channel.close();
    EXPECT_FALSE(channel.isOpen());
    EXPECT_EQ(0u, channel.port());
    EXPECT_EQ(0u, kemu::openSockets(kemu::kGenericProtocol));
}

TEST(ChannelOpen, AFailedSocketOrBindLeavesItClosedWithTheCallsErrno) {
    const struct {
        void (*fault)(int, int);
        ChannelError error;
        int err;
    } cases[] = {{kemu::failNextSocket, ChannelError::kSocket, EMFILE},
                 {kemu::failNextBind, ChannelError::kBind, EADDRINUSE}};
    for (const auto& c : cases) {
        kemu::reset();
        c.fault(kemu::kGenericProtocol, c.err);
        nl::GenlChannel channel;
        errno = 0;
        EXPECT_FALSE(channel.open(kPort));
        EXPECT_FALSE(channel.isOpen());
        EXPECT_EQ(c.error, channel.failure().error);
        EXPECT_EQ(c.err, channel.failure().savedErrno);
        EXPECT_EQ(0u, kemu::openSockets(kemu::kGenericProtocol));
    }
}

TEST_F(ChannelTest, SendRetriesEagainAndKeepsTheErrnoOfAFailedSend) {
    const Bytes message = genl::message(genl::kDefaultFamilyId, 3, Attrs{{1, genl::u32Payload(7)}});
    const size_t before = genl::sentMessages().size();
    kemu::failSends(kemu::kGenericProtocol, 3, EAGAIN);
    ASSERT_TRUE(channel.send(message.data(), message.size()));
    ASSERT_EQ(before + 1, genl::sentMessages().size());
    EXPECT_EQ(message, genl::sentMessages().back());

    kemu::failSends(kemu::kGenericProtocol, 1, EIO);
    EXPECT_FALSE(channel.send(message.data(), message.size()));
    errno = ENOENT;  // whatever runs after the failure does not change what is kept
    EXPECT_EQ(ChannelError::kSend, channel.failure().error);
    EXPECT_EQ(EIO, channel.failure().savedErrno);
    EXPECT_EQ(before + 1, genl::sentMessages().size());
}

// What arrives while an acknowledgement is awaited decides the wait: only an
// NLMSG_ERROR with a zero code, long enough to carry it, acknowledges.
TEST_F(ChannelTest, OnlyAPositiveErrorMessageAcknowledges) {
    const Bytes report = genl::message(genl::kDefaultFamilyId, 5, Attrs{{1, genl::u32Payload(1)}});
    const struct {
        const char* name;
        Bytes queued;  // empty: nothing arrives
        ChannelError error;
        uint16_t messageType;
        int32_t nack;
    } cases[] = {
        {"ack", errorMessage(0, 36), ChannelError::kNone, 0, 0},
        {"nack", errorMessage(-2, 36), ChannelError::kNack, NLMSG_ERROR, -2},
        {"a report before the ack", report, ChannelError::kNotAnAck, genl::kDefaultFamilyId, 0},
        {"too short for its code", errorMessage(0, NLMSG_HDRLEN), ChannelError::kMalformed, 0, 0},
        {"longer than received", errorMessage(0, 64), ChannelError::kMalformed, 0, 0},
        {"nothing", {}, ChannelError::kTimeout, 0, 0},
    };
    for (const auto& c : cases) {
        if (!c.queued.empty()) {
            ASSERT_TRUE(genl::pushRaw(c.queued)) << c.name;
        }
        EXPECT_EQ(c.error == ChannelError::kNone, channel.awaitAck(kBoundedWaitMs)) << c.name;
        EXPECT_EQ(c.error, channel.failure().error) << c.name;
        EXPECT_EQ(c.messageType, channel.failure().messageType) << c.name;
        EXPECT_EQ(c.nack, channel.failure().nack) << c.name;
    }
}

// Whatever a received message claims, nothing is read past the bytes
// received or its own nlmsg_len.
TEST(ChannelReplies, AreBoundedByTheirLength) {
    const Bytes name = {'z', 0};
    const Bytes reply = genl::message(GENL_ID_CTRL, CTRL_CMD_NEWFAMILY, Attrs{{2, name}, {1, {27, 0}}});
    const struct {
        const char* name;
        Bytes message;
        size_t received;  // 0: the whole message
        ChannelError error;
    } cases[] = {
        {"family id", reply, 0, ChannelError::kNone},
        {"four-byte family id", genl::message(GENL_ID_CTRL, 1, Attrs{{2, name}, {1, genl::u32Payload(27)}}), 0,
         ChannelError::kNoFamilyId},
        {"id past the bytes received", reply, reply.size() - 4, ChannelError::kMalformed},
        {"id first", genl::message(GENL_ID_CTRL, 1, Attrs{{1, {27, 0}}, {2, name}}), 0, ChannelError::kNoFamilyId},
        {"an error message", errorMessage(-2, 36), 0, ChannelError::kMalformed},
        {"shorter than a header", reply, NLMSG_HDRLEN - 1, ChannelError::kMalformed},
    };
    for (const auto& c : cases) {
        uint16_t id = 0;
        const size_t received = c.received != 0 ? c.received : c.message.size();
        const nl::ChannelFailure failure = nl::parseFamilyReply(c.message.data(), received, &id);
        EXPECT_EQ(c.error, failure.error) << c.name;
        EXPECT_EQ(c.error == ChannelError::kNone ? 27 : 0, id) << c.name;
    }
}
