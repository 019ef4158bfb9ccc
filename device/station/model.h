/// \file
/// The values of one simulated station.
///
/// What moves by itself is a pure function of time and address:
///   - AI n (and FIN 0, the same register as AI 3): a ramp 0..999, one step in 100 ms, AI n starting at 250 x
///   n
///   - DI n: changes over every n seconds, starting with OFF
///   - D g.i: 1000 x (g + 1) + 10 x i plus a last digit that counts on every 1 + i mod 5 seconds
///   - SW: bit 0 ready (1), bits 1..3 the control word's bits 0..2, bit 9 remote (1), bit 15 changes over
///   every second
///   - FAS: bits 0..6 of SW, and SW's bit 15 as bit 7
/// What does not move: F g.i starts as 100 x g + i, DE i is 7000 + i, everything else starts as 0.
///
/// A value that was written or set holds: it no longer moves by itself.
///
/// With Movement::All everything moves, so that each value tells which item it is of and when it was current.
/// With s as the number of whole steps of 0.25 s so far and r the number the item is read at:
///   - a word is 256 x (i mod 256) plus s mod 256, where i is the low byte of r, 89 x its high byte and 61 x
///   the station added up: the items of two neighbouring groups of parameters differ in i
///   - a bit is bit (r mod 8) of (s + 37 x station) mod 256, FAS is that whole byte
/// CW and SW are such words, their bits bits of them.
#ifndef DX7_DEVICE_MODEL_H
#define DX7_DEVICE_MODEL_H

#include <cstdint>
#include <map>
#include <utility>

#include "device/line/device_time.h"
#include "device/station/register_map.h"

namespace dx7sim {

/// Which values move by themselves.
enum class Movement {
    /// As a device would behave.
    Natural,
    /// Every value is a function of time, station and number.
    All
};

/// The values of one station, raw as they are on the line: 16-bit words and bits. It has no clock: every call
/// gets the time since the device was switched on. One thread uses it at a time.
class Model {
public:
    explicit Model(Movement movement = Movement::Natural, int station = 1)
        : movement_(movement), station_(station) {}

    /// The value of an existing item at `now`; 0 or 1 for bits, 0..255 for FAS.
    std::uint16_t value(const Item& item, Time now) const;

    /// Sets an existing item, whether or not it can be written over the line. CW_bit and CW (SW_bit and SW,
    /// FIN 0 and AI 3) are two views of one value. `now` decides what the other bits of a moving word are
    /// held at.
    void set(const Item& item, std::uint16_t value, Time now);

private:
    using Key = std::pair<RegisterType, int>;

    std::uint16_t naturalValue(const Item& item, Time now) const;
    std::uint16_t movingValue(const Item& item, Time now) const;

    Movement movement_;
    int station_;
    std::map<Key, std::uint16_t> held_;
};

}  // namespace dx7sim

#endif
