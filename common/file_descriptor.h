/// \file
/// An owner for what the system gives as a number.
#ifndef DX7_COMMON_FILE_DESCRIPTOR_H
#define DX7_COMMON_FILE_DESCRIPTOR_H

#include <sys/types.h>

#include <utility>

namespace dx7common {

/// A descriptor that is closed with its owner. Not open: -1. One thread at a time; another
/// thread may take it over.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// Owns what is open already.
    explicit FileDescriptor(int number) : number_(number) {}
    /// As open(2), close-on-exec; a signal does not end it. `errno` says why it is not open.
    FileDescriptor(const char* path, int flags, mode_t mode = 0) { open(path, flags, mode); }
    FileDescriptor(FileDescriptor&& other) noexcept : number_(other.release()) {}
    /// `other` owns, and closes, what this one owned.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor() { close(); }

    /// As the constructor, in place of what was open. False when it is not open then.
    bool open(const char* path, int flags, mode_t mode = 0);
    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    /// False with `errno` when closing failed: bytes may be lost. It is not open any more in any case.
    bool close();

private:
    int release() { return std::exchange(number_, -1); }

    int number_ = -1;
};

}  // namespace dx7common

#endif
