#include "host/exchange/frame_shape.h"

#include "common/modbus_limits.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int RUN_OVERHEAD_BYTES = 9;
constexpr int MOST_BITS = 2000;
constexpr int MOST_REPLY_BYTES = 250;
constexpr int LOWEST_FUNCTION = 1;

bool within(int number, int lowest, int highest) {
    return number >= lowest && number <= highest;
}

// `length` where a field that may be missing yet (-1) is in its range.
int lengthIf(int field, int lowest, int highest, int length) {
    return field < 0 ? LENGTH_OPEN : within(field, lowest, highest) ? length : 0;
}

// A frame that request and reply have alike: codes 5, 6 and 8.
int alikeLength(int function, const QByteArray& bytes, int start) {
    if (function == WRITE_COIL) {
        const int value = wordAt(bytes, start + 4);
        return value < 0 ? LENGTH_OPEN : value == 0 || value == COIL_ON ? WRITE_REPLY_BYTES : 0;
    }
    return function == DIAGNOSTICS ? lengthIf(byteAt(bytes, start + 2), 0, 0, WRITE_REPLY_BYTES)
                                   : WRITE_REPLY_BYTES;
}

int runRequestLength(int function, const QByteArray& bytes, int start) {
    const int quantity = wordAt(bytes, start + 4);
    const int count = byteAt(bytes, start + 6);
    if (count < 0) {
        return LENGTH_OPEN;
    }
    const int needed = function == WRITE_COILS ? (quantity + 7) / 8 : 2 * quantity;
    return count > 0 && count == needed ? RUN_OVERHEAD_BYTES + count : 0;
}

}  // namespace

bool tellsItsLength(int function) {
    return within(function, LOWEST_FUNCTION, DIAGNOSTICS) || function == WRITE_COILS ||
           function == WRITE_REGISTERS;
}

int requestLength(const QByteArray& bytes, int start) {
    const int function = byteAt(bytes, start + 1);
    if (function < 0) {
        return LENGTH_OPEN;
    }
    const int lowest = isWriteFunction(function) ? 0 : dx7common::LOWEST_STATION;
    if (!tellsItsLength(function) || !within(byteAt(bytes, start), lowest, dx7common::HIGHEST_STATION)) {
        return 0;
    }
    if (readsBits(function) || readsWords(function)) {
        const int most = readsBits(function) ? MOST_BITS : int(dx7common::MOST_REGISTERS);
        return lengthIf(wordAt(bytes, start + 4), 1, most, FIXED_REQUEST_BYTES);
    }
    if (function == READ_EXCEPTION_STATUS) {
        return STATUS_REQUEST_BYTES;
    }
    return function == WRITE_COILS || function == WRITE_REGISTERS ? runRequestLength(function, bytes, start)
                                                                  : alikeLength(function, bytes, start);
}

int replyLength(const QByteArray& bytes, int start) {
    const int function = byteAt(bytes, start + 1);
    const int third = byteAt(bytes, start + 2);
    if (function < 0) {
        return LENGTH_OPEN;
    }
    if (!within(byteAt(bytes, start), dx7common::LOWEST_STATION, dx7common::HIGHEST_STATION) ||
        !tellsItsLength(function & ~EXCEPTION_BIT)) {
        return 0;
    }
    if ((function & EXCEPTION_BIT) != 0) {
        return lengthIf(third, 1, EXCEPTION_GATEWAY_TARGET, EXCEPTION_FRAME_BYTES);
    }
    if (readsBits(function) || readsWords(function)) {
        const bool odd = readsWords(function) && third > 0 && third % 2 != 0;
        return odd ? 0 : lengthIf(third, 1, MOST_REPLY_BYTES, READ_OVERHEAD_BYTES + third);
    }
    if (function == READ_EXCEPTION_STATUS) {
        return EXCEPTION_FRAME_BYTES;
    }
    return function == WRITE_COILS || function == WRITE_REGISTERS
               ? lengthIf(wordAt(bytes, start + 4), 1, MOST_BITS, WRITE_REPLY_BYTES)
               : alikeLength(function, bytes, start);
}

}  // namespace dx7
