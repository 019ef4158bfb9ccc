/// \file
/// The reason of a failed system call, for the user.
#ifndef DX7_COMMON_SYSTEM_REASON_H
#define DX7_COMMON_SYSTEM_REASON_H

#include <string>

namespace dx7common {

/// What the error number of a failed call on a file, a port or a connection says, in the locale's encoding.
/// Where the system's own words say nothing of use ("Success", "Bad file descriptor"), what they mean.
std::string systemReason(int error);

}  // namespace dx7common

#endif
