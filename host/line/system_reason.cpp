#include "host/line/system_reason.h"

#include <cerrno>
#include <cstring>

namespace dx7 {

const char* systemReasonBytes(int error) {
    switch (error) {
        case 0:
            return "the system gave no reason";
        case EBADF:
            return "it is closed";
        default:
            return std::strerror(error);
    }
}

QString systemReason(int error) {
    return QString::fromLocal8Bit(systemReasonBytes(error));
}

}  // namespace dx7
