#pragma once
// Owns one file descriptor and closes it once. Move only; -1 means none.

#include <unistd.h>

#include <utility>

namespace mbutil {

struct Fd {
    int value = -1;

    Fd() = default;
    explicit Fd(int fd) : value(fd) {}
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    Fd(Fd&& other) noexcept : value(other.release()) {}
    Fd& operator=(Fd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Fd() { reset(); }

    explicit operator bool() const { return value >= 0; }
    int release() { return std::exchange(value, -1); }
    // close() is not retried on EINTR: on Linux the number is free again either way.
    void reset(int fd = -1) {
        if (value >= 0) ::close(value);
        value = fd;
    }
};

}  // namespace mbutil
