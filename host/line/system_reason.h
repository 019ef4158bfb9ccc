/// \file
/// The reason of a failed system call, for the user.
#ifndef DX7_HOST_SYSTEM_REASON_H
#define DX7_HOST_SYSTEM_REASON_H

#include <QString>

namespace dx7 {

/// What the error number of a failed call on a file, a port or a connection says, in the locale's encoding.
/// Where the system's own words say nothing of use ("Success", "Bad file descriptor"), what they mean. Never
/// null.
const char* systemReasonBytes(int error);
QString systemReason(int error);

}  // namespace dx7

#endif
