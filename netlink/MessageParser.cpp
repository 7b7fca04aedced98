#include "MessageParser.h"

#include <cstring>

#include "Netlink.h"

// Every copy below follows a bounds check of its own, so plain memcpy is
// safe; it is also what keeps a report's parse at a few loads.

namespace nl {

bool Attr::getFixed(void* out, size_t size) const {
    if (mLength != size) return false;
    std::memcpy(out, mPayload, size);
    return true;
}

bool Attr::getString(const char** text) const {
    if (mLength == 0 || mPayload[mLength - 1] != '\0') return false;
    *text = reinterpret_cast<const char*>(mPayload);
    return true;
}

bool AttrWalker::next(Attr* attr) {
    const auto left = static_cast<size_t>(mEnd - mNext);
    if (mNext >= mEnd || left < kAttrHeaderSize) return false;
    nlattr header;
    std::memcpy(&header, mNext, sizeof(header));
    if (header.nla_len < kAttrHeaderSize || header.nla_len > left) {
        mNext = mEnd;
        return false;
    }
    *attr = Attr(header.nla_type, mNext + kAttrHeaderSize, header.nla_len - kAttrHeaderSize);
    // The last attribute's padding may be missing.
    mNext += align(header.nla_len) < left ? align(header.nla_len) : left;
    return true;
}

bool Message::parse(const void* buffer, size_t received, Message* message) {
    if (received < kHeaderSize) return false;
    nlmsghdr header;
    std::memcpy(&header, buffer, sizeof(header));
    if (header.nlmsg_len < kHeaderSize || header.nlmsg_len > received) return false;
    message->mBytes = static_cast<const uint8_t*>(buffer);
    message->mHeader = header;
    return true;
}

bool Message::genlHeader(genlmsghdr* header) const {
    if (length() < kGenlHeaderSize) return false;
    std::memcpy(header, mBytes + kHeaderSize, sizeof(*header));
    return true;
}

AttrWalker Message::genlAttrs() const {
    const uint8_t* end = mBytes + length();
    return {length() < kGenlHeaderSize ? end : mBytes + kGenlHeaderSize, end};
}

bool Message::errorCode(int32_t* error) const {
    if (length() < kHeaderSize + kErrorCodeSize) return false;
    std::memcpy(error, mBytes + kHeaderSize, sizeof(*error));
    return true;
}

}  // namespace nl
