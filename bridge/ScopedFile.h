#pragma once
// Owns one stdio stream.

#include <cstdio>

namespace mqqoe {

class ScopedFile {
public:
    explicit ScopedFile(FILE* file = nullptr) : mFile(file) {}
    ~ScopedFile() { (void)close(); }
    ScopedFile(const ScopedFile&) = delete;
    ScopedFile& operator=(const ScopedFile&) = delete;

    FILE* get() const { return mFile; }
    // Closes now so the caller can see whether the close succeeded.
    [[nodiscard]] int close() {
        if (mFile == nullptr) return 0;
        int result = fclose(mFile);
        mFile = nullptr;
        return result;
    }

private:
    FILE* mFile;
};

}  // namespace mqqoe
