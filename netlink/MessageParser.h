#pragma once
// Reads one received netlink message, libmnl-style: the message is checked
// against the bytes received, attributes are walked only inside nlmsg_len,
// and each attribute's declared length is checked against the type read
// from it before a byte of its payload is used.

#include <cstddef>
#include <cstdint>

#include <linux/genetlink.h>
#include <linux/netlink.h>

namespace nl {

// One attribute; its payload lies inside the message.
class Attr {
public:
    Attr() = default;
    Attr(uint16_t type, const uint8_t* payload, size_t length) : mType(type), mPayload(payload), mLength(length) {}

    uint16_t type() const { return mType; }
    size_t payloadLength() const { return mLength; }

    // False unless the payload is exactly as long as the value read.
    [[nodiscard]] bool getU16(uint16_t* value) const { return getFixed(value, sizeof(*value)); }
    [[nodiscard]] bool getU32(uint32_t* value) const { return getFixed(value, sizeof(*value)); }
    [[nodiscard]] bool getFixed(void* out, size_t size) const;
    // A NUL-terminated string filling the payload.
    [[nodiscard]] bool getString(const char** text) const;

private:
    uint16_t mType = 0;
    const uint8_t* mPayload = nullptr;
    size_t mLength = 0;
};

// Walks the attributes between two bounds of a message, one after the other.
class AttrWalker {
public:
    AttrWalker(const uint8_t* begin, const uint8_t* end) : mNext(begin), mEnd(end) {}

    // The next attribute. False at the end, and for an attribute whose header
    // or declared length does not fit before the end: the walk stops there.
    [[nodiscard]] bool next(Attr* attr);

private:
    const uint8_t* mNext;
    const uint8_t* mEnd;
};

// One message in a receive buffer.
class Message {
public:
    // False unless at least a header was received and nlmsg_len lies between
    // the header size and the bytes received.
    [[nodiscard]] static bool parse(const void* buffer, size_t received, Message* message);

    uint16_t type() const { return mHeader.nlmsg_type; }
    uint32_t length() const { return mHeader.nlmsg_len; }

    // The generic netlink header; false when the message is too short for it.
    [[nodiscard]] bool genlHeader(genlmsghdr* header) const;
    // The attributes after the generic netlink header (none when too short).
    AttrWalker genlAttrs() const;
    // The error code of an NLMSG_ERROR message (0 acknowledges); false when too short.
    [[nodiscard]] bool errorCode(int32_t* error) const;

private:
    const uint8_t* mBytes = nullptr;
    nlmsghdr mHeader{};
};

}  // namespace nl
