// File descriptors on Linux: an owner, and descriptors as handles.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "internal/rvsystem_.h"

namespace rv {

inline bool fail(int nError) noexcept {
    errno = nError;
    return false;
}

// A descriptor that is closed with its scope, unless it was handed on.
class Descriptor {
    int m_fd;

public:
    explicit Descriptor(int fd) noexcept : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor() {
        const int nError = errno;  // the reason of the failure that ends the scope
        if (m_fd >= 0) ::close(m_fd);
        errno = nError;
    }
    int get() const noexcept { return m_fd; }
    int release() noexcept { return std::exchange(m_fd, -1); }
    explicit operator bool() const noexcept { return m_fd >= 0; }
};

inline bool isDescriptor(const void* hFile) noexcept {
    return reinterpret_cast<uintptr_t>(hFile) < kSysDescriptorEnd || fail(EBADF);
}
inline int descriptorOf(const void* hFile) noexcept { return int(reinterpret_cast<uintptr_t>(hFile)); }

}  // namespace rv
