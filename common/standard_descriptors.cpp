#include "common/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace dx7common {

bool occupyStandardDescriptors(LostOutput output) {
    const int flags = output == LostOutput::Vanishes ? O_RDWR : O_RDONLY;
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        const bool closed = ::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF;
        // The lowest free number is the one that is given: those below are taken.
        if (closed && ::open("/dev/null", flags) != descriptor) {
            return false;
        }
    }
    return true;
}

}  // namespace dx7common
