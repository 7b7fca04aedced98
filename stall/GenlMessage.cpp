#include "GenlMessage.h"

#include "KorunProtocol.h"
#include "securec.h"

#include <cstring>

bool GenlBuilder::putHeaderCheck(uint16_t type, uint16_t flags, uint32_t seq, uint32_t pid, uint8_t cmd,
                                 uint8_t version) {
    if (mCapacity < korun::kGenlHeaderSize) return false;
    if (memset_s(mBuffer, mCapacity, 0, korun::kGenlHeaderSize) != EOK) return false;
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_flags = flags;
    header.nlmsg_seq = seq;
    header.nlmsg_pid = pid;
    genlmsghdr genl{};
    genl.cmd = cmd;
    genl.version = version;
    std::memcpy(mBuffer, &header, sizeof(header));
    std::memcpy(mBuffer + sizeof(header), &genl, sizeof(genl));
    mLength = korun::kGenlHeaderSize;
    storeLength();
    return true;
}

bool GenlBuilder::putAttrCheck(uint16_t type, const void* data, size_t length) {
    if (mLength < korun::kGenlHeaderSize) return false;  // no header yet
    size_t payloadRoom = genlAlign(length);
    if (length > UINT16_MAX - korun::kAttrHeaderSize || payloadRoom + korun::kAttrHeaderSize > mCapacity - mLength) {
        return false;
    }
    uint8_t* attr = mBuffer + mLength;
    uint16_t attrLen = static_cast<uint16_t>(length + korun::kAttrHeaderSize);
    std::memcpy(attr, &attrLen, sizeof(attrLen));
    std::memcpy(attr + sizeof(attrLen), &type, sizeof(type));
    uint8_t* payload = attr + korun::kAttrHeaderSize;
    if (memset_s(payload, payloadRoom, 0, payloadRoom) != EOK) return false;
    if (length > 0 && memcpy_s(payload, payloadRoom, data, length) != EOK) return false;
    mLength += korun::kAttrHeaderSize + payloadRoom;
    storeLength();
    return true;
}

bool GenlBuilder::putU32Check(uint16_t type, uint32_t value) { return putAttrCheck(type, &value, sizeof(value)); }

void GenlBuilder::storeLength() {
    uint32_t length = static_cast<uint32_t>(mLength);
    std::memcpy(mBuffer, &length, sizeof(length));
}

GenlAttrWalker::GenlAttrWalker(const uint8_t* buffer, size_t size)
    : mBuffer(buffer), mSize(size), mOffset(korun::kGenlHeaderSize) {}

bool GenlAttrWalker::next(GenlAttr* attr) {
    if (mOffset > mSize || mSize - mOffset < korun::kAttrHeaderSize) return false;
    uint16_t attrLen;
    uint16_t type;
    std::memcpy(&attrLen, mBuffer + mOffset, sizeof(attrLen));
    std::memcpy(&type, mBuffer + mOffset + sizeof(attrLen), sizeof(type));
    // A length below the header size is taken as an empty payload.
    size_t payloadLength = attrLen > korun::kAttrHeaderSize ? attrLen - korun::kAttrHeaderSize : 0;
    attr->type = type;
    attr->payloadOffset = mOffset + korun::kAttrHeaderSize;
    attr->payloadLength = payloadLength;
    mOffset = attr->payloadOffset + genlAlign(payloadLength);
    return true;
}

bool GenlAttrWalker::read(const GenlAttr& attr, void* out, size_t length) const {
    if (attr.payloadOffset > mSize || mSize - attr.payloadOffset < length) return false;
    return memcpy_s(out, length, mBuffer + attr.payloadOffset, length) == EOK;
}

bool GenlAttrWalker::readU32(const GenlAttr& attr, uint32_t* value) const {
    return read(attr, value, sizeof(*value));
}
