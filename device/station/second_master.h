/// \file
/// What another master on the same line gets to hear from a station.
#ifndef DX7_DEVICE_SECOND_MASTER_H
#define DX7_DEVICE_SECOND_MASTER_H

#include "device/line/device_time.h"
#include "device/line/frame.h"
#include "device/station/model.h"

namespace dx7sim {

/// The station's reply to a request that another master might have sent just now: same station, function code
/// and length as `reply`, a good CRC, another content. It is what the station holds at another address, of
/// the same register type where one differs; where none does (the status byte, an exception) the content is
/// invented. Nothing is carried out: a write that is confirmed wrote what is there already.
///
/// `reply` is the station's right one to `request`, which the engine accepted. `choice` picks the address.
Bytes replyToAnotherMaster(const Bytes& request, const Bytes& reply, const Model& model, Time now,
                           std::uint64_t choice);

}  // namespace dx7sim

#endif
