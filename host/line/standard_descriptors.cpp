#include "host/line/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace dx7 {

bool occupyStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        const bool closed = ::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF;
        // The lowest free number is the one that is given: those below are taken.
        if (closed && ::open("/dev/null", O_RDONLY) != descriptor) {
            return false;
        }
    }
    return true;
}

}  // namespace dx7
