#include "GenlChannel.h"

#include "MessageBuilder.h"
#include "MessageParser.h"
#include "Netlink.h"
#include "securec.h"

#include <errno.h>
#include <sys/socket.h>

#include <cstring>

namespace nl {
namespace {

constexpr int kPollAttempts = 5;
constexpr uint8_t kCtrlVersion = 1;

ChannelFailure failureOf(ChannelError error, uint16_t type = 0) {
    ChannelFailure failure;
    failure.error = error;
    failure.messageType = type;
    return failure;
}

}  // namespace

ChannelFailure checkAck(const void* buffer, size_t received) {
    Message message;
    int32_t error = 0;
    // An acknowledgement too short for its error code is no acknowledgement.
    if (!Message::parse(buffer, received, &message) || (message.type() == kTypeError && !message.errorCode(&error))) {
        return failureOf(ChannelError::kMalformed);
    }
    if (message.type() != kTypeError) return failureOf(ChannelError::kNotAnAck, message.type());
    ChannelFailure failure;
    if (error != 0) {
        failure.error = ChannelError::kNack;
        failure.messageType = message.type();
        failure.nack = error;
    }
    return failure;
}

ChannelFailure parseFamilyReply(const void* buffer, size_t received, uint16_t* familyId) {
    Message message;
    if (!Message::parse(buffer, received, &message) || message.type() == kTypeError) {
        nlmsghdr header{};
        std::memcpy(&header, buffer, received < sizeof(header) ? received : sizeof(header));
        return failureOf(ChannelError::kMalformed, header.nlmsg_type);
    }
    AttrWalker walker = message.genlAttrs();
    Attr name;
    Attr id;
    uint16_t value = 0;
    if (!walker.next(&name) || !walker.next(&id) || id.type() != kCtrlAttrFamilyId || !id.getU16(&value)) {
        return failureOf(ChannelError::kNoFamilyId, message.type());
    }
    *familyId = value;
    return ChannelFailure{};
}

bool GenlChannel::fail(ChannelError error, int savedErrno) {
    mFailure = ChannelFailure{};
    mFailure.error = error;
    mFailure.savedErrno = savedErrno;
    return false;
}

bool GenlChannel::settle(const ChannelFailure& outcome) {
    mFailure = outcome;
    return mFailure.error == ChannelError::kNone;
}

bool GenlChannel::open(uint32_t port) {
    mFailure = ChannelFailure{};
    mPort = port;
    mSock.reset(socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_GENERIC));
    if (!mSock.valid()) {
        int error = errno;
        mSock.reset();
        return fail(ChannelError::kSocket, error);
    }
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_pid = port;
    local.nl_groups = 0;
    if (bind(mSock.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) < 0) {
        int error = errno;
        mSock.reset();
        return fail(ChannelError::kBind, error);
    }
    return true;
}

void GenlChannel::close() {
    mSock.reset();
    mPort = 0;
}

bool GenlChannel::send(const void* message, size_t length) {
    const auto* bytes = static_cast<const uint8_t*>(message);
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    size_t sent = 0;
    while (sent < length) {
        ssize_t n = sendto(mSock.get(), bytes + sent, length - sent, 0, reinterpret_cast<const sockaddr*>(&kernel),
                           sizeof(kernel));
        if (n < 1) {
            int error = errno;
            if (error == EAGAIN) continue;
            return fail(ChannelError::kSend, error);
        }
        sent += static_cast<size_t>(n);
    }
    return true;
}

int GenlChannel::pollSock(pollfd* fds, unsigned int count, int timeoutMs) {
    int ret = 0;
    for (int call = 0; call < kPollAttempts; ++call) {
        ret = poll(fds, count, timeoutMs);
        if (ret != -1 || errno != EINTR) break;
    }
    return ret;
}

ssize_t GenlChannel::receive(void* buffer, size_t capacity, int timeoutMs) {
    pollfd fds{mSock.get(), POLLIN, 0};
    int ready = pollSock(&fds, 1, timeoutMs);
    if (ready == -1) {
        fail(ChannelError::kPoll, errno);
        return -1;
    }
    if (ready == 0) {
        fail(ChannelError::kTimeout);
        return -1;
    }
    (void)memset_s(buffer, capacity, 0, capacity);
    ssize_t received = recv(mSock.get(), buffer, capacity, MSG_DONTWAIT);
    if (received < 0) {
        fail(ChannelError::kReceive, errno);
        return -1;
    }
    return received;
}

ssize_t GenlChannel::receiveNow(void* buffer, size_t capacity) {
    (void)memset_s(buffer, capacity, 0, capacity);
    ssize_t received = recv(mSock.get(), buffer, capacity, 0);
    if (received < 0) {
        fail(ChannelError::kReceive, errno);
        return -1;
    }
    return received;
}

bool GenlChannel::awaitAck(int timeoutMs) {
    uint8_t ack[kReceiveCapacity];
    ssize_t received = receive(ack, sizeof(ack), timeoutMs);
    if (received < 0) return false;
    return settle(checkAck(ack, static_cast<size_t>(received)));
}

bool GenlChannel::resolveFamily(const char* familyName, uint16_t* familyId) {
    uint8_t lookup[kMessageCapacity];
    (void)memset_s(lookup, sizeof(lookup), 0, sizeof(lookup));
    MessageBuilder builder(lookup, sizeof(lookup));
    if (!builder.putHeader(kCtrlType, kFlagsRequest, 0, mPort) || !builder.putGenlHeader(kCtrlCmdGetFamily, kCtrlVersion) ||
        !builder.putAttr(kCtrlAttrFamilyName, familyName, std::strlen(familyName) + 1)) {
        return fail(ChannelError::kTooLong, ENAMETOOLONG);
    }
    if (!send(lookup, builder.length())) return false;
    uint8_t reply[kReceiveCapacity];
    ssize_t received = receiveNow(reply, sizeof(reply));
    if (received < 0) return false;
    // The reply's checks keep the receive's errno for the caller's report.
    int afterReceive = errno;
    ChannelFailure failure = parseFamilyReply(reply, static_cast<size_t>(received), familyId);
    failure.savedErrno = failure.error == ChannelError::kNone ? 0 : afterReceive;
    return settle(failure);
}

}  // namespace nl
