/// \file
/// Where the items of a register type are on the wire, as the driver's own requests say.
#ifndef DX7_HOST_WIRE_ACCESS_H
#define DX7_HOST_WIRE_ACCESS_H

#include <QString>
#include <optional>

#include "host/driver/driver_session.h"
#include "host/driver/register_type.h"

namespace dx7 {

/// What a request addresses.
struct WireAccess {
    int function = 0;
    /// The register number of the first item; none of a function that addresses no register.
    std::optional<int> reg;
};

/// The driver's first request that reads, or writes, `count` items from `address` on; none where it has none.
/// Uses the session, which must not be in use; on its thread. Nothing is sent.
std::optional<WireAccess> readAccess(DriverSession& session, const RegisterType& type, int address,
                                     int count);
std::optional<WireAccess> writeAccess(DriverSession& session, const RegisterType& type, int address,
                                      int count);

/// The Modbus table that the function code reads: "coils", "discrete inputs", "holding registers", "input
/// registers", "exception status"; null for any other.
QString tableName(int function);
/// A register number as it is on the wire: four hexadecimal digits.
QString registerText(int reg);

}  // namespace dx7

#endif
