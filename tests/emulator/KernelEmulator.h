#pragma once
// A test double that plays the kernel's side of the library's netlink sockets.
//
// Linked into a test (or preloaded into the JVM), it interposes socket(),
// bind(), sendto() and close(): a netlink socket of an emulated protocol
// becomes one end of a local datagram pair whose other end is the "kernel".
// Everything else the library does on the descriptor (setsockopt time-outs,
// poll, recv with or without MSG_DONTWAIT) runs on a real socket. Sockets of
// other families and protocols go straight to the C library.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <linux/netlink.h>

#include "mqqoe_netlink.h"

namespace kemu {

using Bytes = std::vector<uint8_t>;

constexpr int kMonitorProtocol = QOE_MONITOR_PROTOCOL;
constexpr int kPolicyProtocol = QOE_POLICY_PROTOCOL;
constexpr int kGenericProtocol = NETLINK_GENERIC;

// The kernel end of one emulated socket, handed to a protocol's kernel.
class Channel {
public:
    Channel(int protocol, int kernelFd) : mProtocol(protocol), mKernelFd(kernelFd) {}
    int protocol() const { return mProtocol; }
    // Queues one datagram for the library to receive. False if it is closed.
    bool deliver(const Bytes& message) const;
    int kernelFd() const { return mKernelFd; }

private:
    int mProtocol;
    int mKernelFd;
};

// Forgets history and faults, and the kernels' settings.
void reset();

// Messages the library sent on a protocol, oldest first.
std::vector<Bytes> sent(int protocol);
// Waits until at least `count` messages were sent on the protocol.
bool waitForSent(int protocol, size_t count, std::chrono::milliseconds timeout);
// Emulated sockets currently open (all protocols when protocol is -1).
size_t openSockets(int protocol = -1);
// Sockets ever opened on the protocol since reset().
size_t socketsOpened(int protocol);
// Delivers an unsolicited message on the newest open socket of the protocol.
bool deliverToNewest(int protocol, const Bytes& message);

// Faults. The next socket()/bind() of the protocol fails with `err`; the next
// `count` sends fail with `err`.
void failNextSocket(int protocol, int err);
void failNextBind(int protocol, int err);
void failSends(int protocol, int count, int err);

// Monitor channel (protocol 24): whether query commands are answered, and the
// ten payload words W0..W9 of the 56-byte reply.
void setMonitorReply(bool answer, const uint32_t (&words)[QOE_MONITOR_REPLY_WORDS]);

}  // namespace kemu
