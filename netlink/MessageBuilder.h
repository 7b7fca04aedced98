#pragma once
// Builds one netlink message in a caller's buffer. Every put checks the room
// left and refuses to write past the buffer (nothing is written then);
// nlmsg_len follows what was put.

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace nl {

class MessageBuilder {
public:
    MessageBuilder(void* buffer, size_t capacity) : mBuffer(static_cast<uint8_t*>(buffer)), mCapacity(capacity) {}
    MessageBuilder(const MessageBuilder&) = delete;
    MessageBuilder& operator=(const MessageBuilder&) = delete;

    // The netlink header; starts the message.
    [[nodiscard]] bool putHeader(uint16_t type, uint16_t flags, uint32_t seq, uint32_t pid);
    // The generic netlink header, right after the netlink header.
    [[nodiscard]] bool putGenlHeader(uint8_t cmd, uint8_t version);
    // Payload bytes after what was put, unpadded.
    [[nodiscard]] bool putBytes(const void* data, size_t length);
    template <typename T>
    [[nodiscard]] bool put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>, "only plain values go on the wire");
        return putBytes(&value, sizeof(value));
    }
    // One attribute: its header, the payload and zero padding to 4 bytes.
    [[nodiscard]] bool putAttr(uint16_t type, const void* data, size_t length);
    [[nodiscard]] bool putAttrU32(uint16_t type, uint32_t value) { return putAttr(type, &value, sizeof(value)); }
    // Declares a message length other than what was put (a peer may expect
    // trailing bytes); the bytes up to it are zeroed. Refused past the buffer.
    [[nodiscard]] bool setLength(size_t length);

    size_t length() const { return mLength; }
    const uint8_t* data() const { return mBuffer; }

private:
    bool room(size_t count) const { return mLength <= mCapacity && count <= mCapacity - mLength; }
    void zero(size_t count);
    void copy(size_t offset, const void* data, size_t count);
    void storeLength();

    uint8_t* mBuffer;
    size_t mCapacity;
    size_t mLength = 0;
};

}  // namespace nl
