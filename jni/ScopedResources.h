#pragma once
// RAII holders for a file descriptor and a stdio stream.

#include <unistd.h>

#include <cstdio>

namespace mqqoe {

class ScopedFd {
public:
    explicit ScopedFd(int fd = -1) : mFd(fd) {}
    ~ScopedFd() { reset(); }
    ScopedFd(const ScopedFd&) = delete;
    ScopedFd& operator=(const ScopedFd&) = delete;
    ScopedFd(ScopedFd&& other) noexcept : mFd(other.release()) {}
    ScopedFd& operator=(ScopedFd&& other) noexcept {
        reset(other.release());
        return *this;
    }

    int get() const { return mFd; }
    bool valid() const { return mFd >= 0; }
    void reset(int fd = -1) {
        if (mFd >= 0) ::close(mFd);
        mFd = fd;
    }
    [[nodiscard]] int release() {
        int fd = mFd;
        mFd = -1;
        return fd;
    }

private:
    int mFd;
};

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
