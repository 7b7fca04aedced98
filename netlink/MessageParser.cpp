#include "MessageParser.h"

#include "Netlink.h"
#include "securec.h"

namespace nl {

bool Attr::getFixed(void* out, size_t size) const {
    if (mLength != size) return false;
    return memcpy_s(out, size, mPayload, size) == EOK;
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
    if (memcpy_s(&header, sizeof(header), mNext, sizeof(header)) != EOK) return false;
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
    if (memcpy_s(&header, sizeof(header), buffer, sizeof(header)) != EOK) return false;
    if (header.nlmsg_len < kHeaderSize || header.nlmsg_len > received) return false;
    message->mBytes = static_cast<const uint8_t*>(buffer);
    message->mHeader = header;
    return true;
}

bool Message::genlHeader(genlmsghdr* header) const {
    if (length() < kGenlHeaderSize) return false;
    return memcpy_s(header, sizeof(*header), mBytes + kHeaderSize, sizeof(*header)) == EOK;
}

AttrWalker Message::genlAttrs() const {
    const uint8_t* end = mBytes + length();
    return {length() < kGenlHeaderSize ? end : mBytes + kGenlHeaderSize, end};
}

bool Message::errorCode(int32_t* error) const {
    if (length() < kHeaderSize + kErrorCodeSize) return false;
    return memcpy_s(error, sizeof(*error), mBytes + kHeaderSize, sizeof(*error)) == EOK;
}

}  // namespace nl
