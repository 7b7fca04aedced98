#pragma once
// Owns one file descriptor; -1 when empty.

#include <unistd.h>

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return mFd; }
    void reset(int fd = -1) {
        if (mFd != -1) ::close(mFd);
        mFd = fd;
    }

private:
    int mFd = -1;
};
