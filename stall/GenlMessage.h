#pragma once
// Bounded generic netlink message building and attribute walking. The
// builder refuses to write past its buffer; the walker refuses to read past
// its buffer, whatever the lengths inside the message claim.

#include <cstddef>
#include <cstdint>

class GenlBuilder {
public:
    GenlBuilder(uint8_t* buffer, size_t capacity) : mBuffer(buffer), mCapacity(capacity) {}

    // Writes both headers (nlmsg_len kept up to date by every put).
    [[nodiscard]] bool putHeaderCheck(uint16_t type, uint16_t flags, uint32_t seq, uint32_t pid, uint8_t cmd,
                                      uint8_t version);
    // Appends one attribute, its payload padded to a multiple of 4.
    [[nodiscard]] bool putAttrCheck(uint16_t type, const void* data, size_t length);
    [[nodiscard]] bool putU32Check(uint16_t type, uint32_t value);
    size_t length() const { return mLength; }

private:
    void storeLength();

    uint8_t* mBuffer;
    size_t mCapacity;
    size_t mLength = 0;
};

// One attribute as found in the buffer.
struct GenlAttr {
    uint16_t type;
    size_t payloadOffset;  // from the start of the buffer
    size_t payloadLength;  // as declared by the attribute
};

// Walks the attributes that follow the generic netlink header, one after
// the other, stepping by each declared length rounded up to 4.
class GenlAttrWalker {
public:
    GenlAttrWalker(const uint8_t* buffer, size_t size);

    // The next attribute header; false when it would not lie inside the buffer.
    [[nodiscard]] bool next(GenlAttr* attr);
    // Reads `length` bytes of payload starting at the attribute's payload;
    // false when they would not lie inside the buffer.
    [[nodiscard]] bool read(const GenlAttr& attr, void* out, size_t length) const;
    [[nodiscard]] bool readU32(const GenlAttr& attr, uint32_t* value) const;

private:
    const uint8_t* mBuffer;
    size_t mSize;
    size_t mOffset;
};

constexpr size_t genlAlign(size_t length) { return (length + 3) & ~static_cast<size_t>(3); }
