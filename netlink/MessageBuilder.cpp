#include "MessageBuilder.h"

#include <cstring>

#include "Netlink.h"
#include "securec.h"

namespace nl {

// Only called after room() said yes, so the bounded calls cannot refuse.
void MessageBuilder::zero(size_t count) { (void)memset_s(mBuffer + mLength, mCapacity - mLength, 0, count); }

void MessageBuilder::copy(size_t offset, const void* data, size_t count) {
    if (count > 0) (void)memcpy_s(mBuffer + offset, mCapacity - offset, data, count);
}

void MessageBuilder::storeLength() {
    const auto length = static_cast<uint32_t>(mLength);
    copy(offsetof(nlmsghdr, nlmsg_len), &length, sizeof(length));
}

bool MessageBuilder::putHeader(uint16_t type, uint16_t flags, uint32_t seq, uint32_t pid) {
    if (mCapacity < kHeaderSize) return false;
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_flags = flags;
    header.nlmsg_seq = seq;
    header.nlmsg_pid = pid;
    copy(0, &header, sizeof(header));
    mLength = kHeaderSize;
    storeLength();
    return true;
}

bool MessageBuilder::putGenlHeader(uint8_t cmd, uint8_t version) {
    if (mLength != kHeaderSize) return false;
    genlmsghdr genl{};
    genl.cmd = cmd;
    genl.version = version;
    return put(genl);
}

bool MessageBuilder::putBytes(const void* data, size_t length) {
    if (mLength < kHeaderSize || !room(length)) return false;
    copy(mLength, data, length);
    mLength += length;
    storeLength();
    return true;
}

bool MessageBuilder::putAttr(uint16_t type, const void* data, size_t length) {
    if (mLength < kHeaderSize || length > UINT16_MAX - kAttrHeaderSize) return false;
    const size_t padded = align(length);
    if (!room(kAttrHeaderSize + padded)) return false;
    nlattr header{};
    header.nla_len = static_cast<uint16_t>(kAttrHeaderSize + length);
    header.nla_type = type;
    zero(kAttrHeaderSize + padded);
    copy(mLength, &header, sizeof(header));
    copy(mLength + kAttrHeaderSize, data, length);
    mLength += kAttrHeaderSize + padded;
    storeLength();
    return true;
}

bool MessageBuilder::setLength(size_t length) {
    if (mLength < kHeaderSize || length < mLength || length > mCapacity || length > UINT32_MAX) return false;
    zero(length - mLength);
    mLength = length;
    storeLength();
    return true;
}

}  // namespace nl
