/// \file
/// Initial values from a TOML file:
///
///     [values]
///     "F:3.0.25" = 500        # every station
///     "AI:0@2" = -12          # station 2
///     "DI:1" = true
#ifndef DX7_DEVICE_VALUES_FILE_H
#define DX7_DEVICE_VALUES_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "device/station/notation.h"

namespace dx7sim {

/// A value to start from, of one station or of all.
struct InitialValue {
    Target target;
    std::uint16_t value = 0;
};

/// Reads the text of a values file, in the order in which values are to be set: those for every station
/// first. `name` is the file's name in errors. Throws UsageError "NAME:LINE:COLUMN: ..." for the first thing
/// that is wrong.
std::vector<InitialValue> parseValues(const std::string& text, const std::string& name,
                                      const std::vector<int>& stations);

/// The same from a file, read as a whole: the call waits for a pipe's end. UsageError also when it cannot be
/// read to its end.
std::vector<InitialValue> readValuesFile(const std::string& path, const std::vector<int>& stations);

}  // namespace dx7sim

#endif
