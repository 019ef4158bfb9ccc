#include "common/file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace dx7common {

bool FileDescriptor::open(const char* path, int flags, mode_t mode) {
    close();
    do {
        number_ = ::open(path, flags | O_CLOEXEC, mode);
    } while (number_ < 0 && errno == EINTR);
    return isOpen();
}

bool FileDescriptor::close() {
    const int number = release();
    // Linux closes it although a signal came.
    return number < 0 || ::close(number) == 0 || errno == EINTR;
}

}  // namespace dx7common
