/// \file
#ifndef DX7_DEVICE_DESCRIPTOR_H
#define DX7_DEVICE_DESCRIPTOR_H

#include <string>
#include <utility>

#include "device/line/crc16.h"

namespace dx7sim {

/// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }
    void close();

private:
    int m_fd = -1;
};

enum class ReadEnd { NothingMore, EndOfFile, Failed };

/// Appends to `bytes` what can be read from the non-blocking `fd` now, and says why it stopped; errno is set
/// for Failed.
ReadEnd readAvailable(int fd, Bytes& bytes);

/// Writes what the non-blocking `fd` takes; the rest is lost.
void writeAvailable(int fd, const Bytes& bytes);

/// The text for errno.
std::string errnoText();

}  // namespace dx7sim

#endif
