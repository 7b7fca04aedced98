#pragma once
// A bounded writer over a fixed message buffer: every put checks that the
// field lies inside the buffer and refuses to write otherwise.

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "securec.h"

namespace mqqoe {

class ByteWriter {
public:
    ByteWriter(void* buffer, size_t size) : mBuffer(static_cast<uint8_t*>(buffer)), mSize(size) {}

    [[nodiscard]] bool putBytes(size_t offset, const void* data, size_t count) {
        if (offset > mSize || count > mSize - offset) return false;
        return memcpy_s(mBuffer + offset, mSize - offset, data, count) == EOK;
    }

    // Host byte order; no alignment needed at `offset`.
    template <typename T>
    [[nodiscard]] bool put(size_t offset, T value) {
        static_assert(std::is_trivially_copyable_v<T>, "only plain values go on the wire");
        return putBytes(offset, &value, sizeof(value));
    }

private:
    uint8_t* mBuffer;
    size_t mSize;
};

}  // namespace mqqoe
