#include "common/system_reason.h"

#include <cerrno>
#include <cstring>

namespace dx7common {

std::string systemReason(int error) {
    switch (error) {
        case 0:
            return "the system gave no reason";
        case EBADF:
            return "it is closed";
        default:
            return std::strerror(error);
    }
}

}  // namespace dx7common
