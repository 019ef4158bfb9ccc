/// \file
/// What a host needs to know of Modbus RTU frames to guard a line: the CRC and the names of codes (Modbus
/// over Serial Line V1.02, Modbus application protocol V1.1b3). Building and decoding frames is the driver's.
/// Pure functions, for any thread; none of them fails.
#ifndef DX7_HOST_RTU_FRAME_H
#define DX7_HOST_RTU_FRAME_H

#include <QByteArray>
#include <QString>

#include "common/modbus_limits.h"

namespace dx7 {

using dx7common::EXCEPTION_BIT;
using dx7common::EXCEPTION_FRAME_BYTES;
using dx7common::LONGEST_FRAME_BYTES;
using dx7common::SHORTEST_FRAME_BYTES;

/// At the end of every frame.
constexpr int CRC_BYTES = 2;
/// A request with function code 8, and its answer.
constexpr int DIAGNOSTIC_FRAME_BYTES = 8;
/// The acknowledgement of a write.
constexpr int WRITE_REPLY_BYTES = 8;
/// Of the reply to a read, besides the values.
constexpr int READ_OVERHEAD_BYTES = 5;
/// A request with function code 7.
constexpr int STATUS_REQUEST_BYTES = 4;
/// A request that reads, or writes one item.
constexpr int FIXED_REQUEST_BYTES = 8;

/// The function codes that write, and the value that function code 5 writes for 1.
constexpr int WRITE_COIL = 5;
constexpr int WRITE_REGISTER = 6;
constexpr int WRITE_COILS = 15;
constexpr int WRITE_REGISTERS = 16;
/// It writes registers, and reads others.
constexpr int READ_WRITE_REGISTERS = 23;
constexpr int COIL_ON = 0xFF00;

/// The two function codes that say nothing of any item.
constexpr int READ_EXCEPTION_STATUS = 7;
constexpr int DIAGNOSTICS = 8;

/// What the acknowledgement of a write repeats of its request: the address, then the value or the quantity.
constexpr int ECHO_START = 2;
constexpr int ECHO_BYTES = 4;

/// Exception codes with which the request may have been carried out all the same.
constexpr int EXCEPTION_ACKNOWLEDGE = 5;
constexpr int EXCEPTION_GATEWAY_TARGET = 11;

/// Whether the function code reads coils or discrete inputs, or registers.
inline bool readsBits(int function) {
    return function == 1 || function == 2;
}
inline bool readsWords(int function) {
    return function == 3 || function == 4;
}
/// Whether the function code writes coils or registers.
bool isWriteFunction(int function);

/// CRC-16 of Modbus over `length` bytes from `start`.
quint16 crc16(const QByteArray& bytes, int start, int length);

/// Appends the CRC of `frame` to it, low byte first.
void appendCrc(QByteArray& frame);

/// Whether the `length` bytes from `start` end with their own CRC, low byte first. False when they are too
/// few.
bool endsWithCrc(const QByteArray& bytes, int start, int length);

/// Makes `to` equal to `from` in its own memory.
void copyBytes(QByteArray& to, const QByteArray& from);

/// The byte at `index`, or -1 beyond the end.
inline int byteAt(const QByteArray& bytes, int index) {
    return index >= 0 && index < bytes.size() ? static_cast<quint8>(bytes.at(index)) : -1;
}

/// The two bytes from `index`, high byte first, or -1 beyond the end.
int wordAt(const QByteArray& bytes, int index);

/// Name of an exception code, such as "illegal data address"; "exception code 77" for an unknown one.
QString exceptionName(int code);

/// Name of a function code, such as "read coils"; "function code 77" for an unknown one.
QString functionName(int code);

/// The bytes in hexadecimal, separated by spaces.
QString hexText(const QByteArray& bytes);

}  // namespace dx7

#endif
