/// \file
/// The driver more than once in a process: a driver keeps all its state in one object, so a set of monitored
/// items needs a library of its own.
#ifndef DX7_BENCH_DRIVER_COPY_H
#define DX7_BENCH_DRIVER_COPY_H

#include <QTemporaryDir>
#include <memory>

#include "driver_library.h"

namespace dx7bench {

/// A copy of the library's file, loaded beside the others; its functions and its state.
class DriverCopy {
public:
    /// Copies the library that this program was built with, or the one that the environment variable
    /// DX7_DRIVER names. Throws std::runtime_error when that cannot be done.
    DriverCopy();

    const dx7::DriverFunctions& functions() const { return library_->functions(); }
    korvalent_dx7& state() const { return *state_; }

private:
    QTemporaryDir folder_;
    std::unique_ptr<dx7::DriverLibrary> library_;
    korvalent_dx7* state_ = nullptr;
};

}  // namespace dx7bench

#endif
