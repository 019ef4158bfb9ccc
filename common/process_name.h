/// \file
/// The names of running programs.
#ifndef DX7_COMMON_PROCESS_NAME_H
#define DX7_COMMON_PROCESS_NAME_H

#include <sys/types.h>

#include <string>

namespace dx7common {

/// The name of the program that runs as `process`, at most 15 bytes; empty when the system does not tell it.
/// Any thread may call it.
std::string processName(pid_t process);

}  // namespace dx7common

#endif
