/// \file
/// Time as the simulated device sees it.
#ifndef DX7_DEVICE_TIME_H
#define DX7_DEVICE_TIME_H

#include <chrono>

namespace dx7sim {

/// Time since the device was switched on. It is handed in everywhere and read from a clock in one place only,
/// the server, so that everything else can be tested without waiting.
using Time = std::chrono::nanoseconds;

}  // namespace dx7sim

#endif
