#pragma once
// One generic netlink socket to a kernel family: opened and bound at a port
// of the caller's choosing, whole messages sent to the kernel, one message
// awaited (bounded or not), acknowledgements checked, family names resolved
// through the controller.
//
// Nothing here logs: a failed call leaves its kind, the errno of the system
// call that failed (taken as it returned) and what the offending message
// said in failure(), for the caller to report in its own words.

#include "UniqueFd.h"

#include <poll.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace nl {

enum class ChannelError : uint8_t {
    kNone,
    kSocket,      // socket() failed
    kBind,        // bind() failed
    kSend,        // sendto() failed (EAGAIN is retried, never reported)
    kTooLong,     // the message does not fit the send buffer; nothing sent
    kPoll,        // poll() failed
    kTimeout,     // nothing arrived in time
    kReceive,     // recv() failed
    kMalformed,   // shorter than its header, or nlmsg_len outside the bytes received
    kNotAnAck,    // an acknowledgement was awaited and something else came
    kNack,        // the acknowledgement carries an error
    kNoFamilyId,  // the controller's reply names no family id
};

struct ChannelFailure {
    ChannelError error = ChannelError::kNone;
    int savedErrno = 0;        // errno of the failing call; 0 when no call failed
    uint16_t messageType = 0;  // nlmsg_type of the offending message
    int32_t nack = 0;          // the error an acknowledgement carried
};

// Checks on a received buffer, apart from any socket; nothing is read past
// `received` or the message's own nlmsg_len.
// An acknowledgement: NLMSG_ERROR with a zero error code.
ChannelFailure checkAck(const void* buffer, size_t received);
// The controller's reply to a family lookup: the name first (passed over
// whatever it is), then the 16-bit family id.
ChannelFailure parseFamilyReply(const void* buffer, size_t received, uint16_t* familyId);

class GenlChannel {
public:
    // Commands are built in this many bytes; one message is received into at
    // most kReceiveCapacity (both headers more).
    static constexpr size_t kMessageCapacity = 1024;
    static constexpr size_t kReceiveCapacity = 1044;
    // A negative wait has no limit.
    static constexpr int kNoTimeout = -1;

    GenlChannel() = default;
    GenlChannel(const GenlChannel&) = delete;
    GenlChannel& operator=(const GenlChannel&) = delete;

    // A datagram socket of protocol NETLINK_GENERIC bound at `port`; a failed
    // bind closes it again.
    [[nodiscard]] bool open(uint32_t port);
    void close();
    bool isOpen() const { return mSock.valid(); }
    int fd() const { return mSock.get(); }
    uint32_t port() const { return mPort; }

    // Sends every byte of `message` to the kernel (port 0), one sendto after
    // another; EAGAIN is tried again at once.
    [[nodiscard]] bool send(const void* message, size_t length);
    // poll(), called again while it fails with EINTR, five calls at most.
    static int pollSock(pollfd* fds, unsigned int count, int timeoutMs);
    // Waits for one message and takes it without blocking into the zeroed
    // `buffer`; the bytes received, or -1.
    [[nodiscard]] ssize_t receive(void* buffer, size_t capacity, int timeoutMs);
    // One blocking receive into the zeroed `buffer`; the bytes received, or -1.
    [[nodiscard]] ssize_t receiveNow(void* buffer, size_t capacity);
    // The next message must be a positive acknowledgement.
    [[nodiscard]] bool awaitAck(int timeoutMs);
    // The id of `familyName`, asked of the controller (request without ack).
    [[nodiscard]] bool resolveFamily(const char* familyName, uint16_t* familyId);

    const ChannelFailure& failure() const { return mFailure; }

private:
    bool fail(ChannelError error, int savedErrno = 0);
    // Keeps `outcome`; true when it is no failure.
    bool settle(const ChannelFailure& outcome);

    UniqueFd mSock;
    uint32_t mPort = 0;
    ChannelFailure mFailure;
};

}  // namespace nl
