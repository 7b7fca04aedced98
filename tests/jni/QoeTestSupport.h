#pragma once
// Small helpers shared by the JNI bridge tests.

#include <dirent.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace qoetest {

template <typename T>
T valueAt(const std::vector<uint8_t>& bytes, size_t offset) {
    T value{};
    if (offset + sizeof(T) <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

// Descriptors open in this process.
inline size_t openDescriptors() {
    size_t count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (readdir(dir) != nullptr) ++count;
        closedir(dir);
    }
    return count;
}

}  // namespace qoetest
