// What of an item can be written, and which formats fit it.
#include <cfloat>
#include <cmath>

#include "host/error.h"
#include "host/items/item_notation.h"

namespace dx7 {

namespace {

// Of f32 the least single and the largest must be told apart, too.
void checkScale(const ValueFormat& format) {
    const bool single = format.presentation == Presentation::Float;
    const double largest = single ? static_cast<double>(FLT_MAX) : format.wide ? 0xFFFFFFFF : 0xFFFF;
    const QString scale = QString::number(format.scale, 'g', 15);
    if (!std::isfinite(format.scale * largest)) {
        throw UsageError(QStringLiteral("scale %1 is too large, its values could not be shown").arg(scale));
    }
    if (single && !std::isnormal(format.scale * static_cast<double>(FLT_TRUE_MIN))) {
        throw UsageError(QStringLiteral("scale %1 is too small, its values could not be shown").arg(scale));
    }
}

}  // namespace

void ItemNotation::checkWritable(const RegisterType& type, int station, int address, int count) {
    if (!type.writable) {
        throw UsageError(QStringLiteral("%1 is read-only").arg(type.name));
    }
    // The driver awaits a reply to every register write, and no station answers a broadcast.
    if (station == 0 && !type.bit) {
        throw UsageError(QStringLiteral("%1 cannot be broadcast (station 0), only bits can").arg(type.name));
    }
    if (type.beyondTable(address, count)) {
        throw UsageError(
            QStringLiteral("%1:%2 is beyond the end of %1 and can only be read (%1 has %3 to %4)")
                .arg(type.name, type.addressText(address + count - 1), type.lowest, type.highest));
    }
}

void ItemNotation::checkFormat(const RegisterType& type, int address, const ValueFormat& format) {
    if (type.bit && !format.bare) {
        throw UsageError(QStringLiteral("%1 holds bits, which have no format").arg(type.name));
    }
    if (type.bit && !format.names.bits.isEmpty()) {
        throw UsageError(
            QStringLiteral("%1 holds bits, each an item by itself; name what 0 and 1 are").arg(type.name));
    }
    if (format.scaled() &&
        (format.presentation == Presentation::Hex || format.presentation == Presentation::Binary)) {
        throw UsageError(QStringLiteral("a scale does not go with hex, hex32 or binary"));
    }
    checkScale(format);
    if (format.names.any() && (format.scaled() || format.presentation == Presentation::Float)) {
        throw UsageError(QStringLiteral("names do not go with a scale or f32"));
    }
    if (!format.wide) {
        if (format.lowWordFirst) {
            throw UsageError(QStringLiteral("low-first needs two words: u32, s32, f32 or hex32"));
        }
        return;
    }
    if (type.itemBytes() != 2) {
        throw UsageError(QStringLiteral("a 32-bit format needs words, %1 has none").arg(type.name));
    }
    if (type.runLength(address, 2) < 2) {
        throw UsageError(
            QStringLiteral("a 32-bit value at %1:%2 would cross from one run of register numbers into the "
                           "next")
                .arg(type.name, type.addressText(address)));
    }
}

}  // namespace dx7
