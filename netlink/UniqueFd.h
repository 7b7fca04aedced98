#pragma once
// Owns one file descriptor; -1 when empty.

#include <unistd.h>

namespace nl {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    UniqueFd(UniqueFd&& other) noexcept : mFd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
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
    int mFd = -1;
};

}  // namespace nl
