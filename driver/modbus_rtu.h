/// \file
/// The Modbus RTU wire format (Modbus over Serial Line V1.02): CRC-16, byte order, register numbers and frame
/// assembly. Nothing here knows the driver object.
#ifndef KORVALENT_DX7_MODBUS_RTU_H
#define KORVALENT_DX7_MODBUS_RTU_H

#include <QtCore/QtGlobal>

#include "records.h"
#include "register_types.h"

enum FunctionCode {
    FC_READ_COILS = 1,
    FC_READ_DISCRETE_INPUTS = 2,
    FC_READ_HOLDING_REGISTERS = 3,
    FC_READ_INPUT_REGISTERS = 4,
    FC_WRITE_COIL = 5,
    FC_WRITE_REGISTER = 6,
    FC_STATUS_QUERY = 7,
    FC_WRITE_REGISTERS = 16
};

const int CRC_BYTES = 2;
const int READ_REPLY_OVERHEAD =
    5;  ///< Station, function code, byte count and CRC around the data of a read reply.
const int FIXED_FRAME_BYTES = 8;     ///< Station, function code, two 16-bit fields and CRC.
const int MULTI_WRITE_OVERHEAD = 9;  ///< All bytes but the registers of a function-code-16 request.

/// CRC-16 of Modbus (reflected 0x8005, start 0xFFFF) over `length` bytes. Continues `crc` when one is given.
quint16 crc16(const unsigned char* bytes, int length, quint16 crc = 0xFFFF);

/// CRC-16 continued over `length` zero bytes.
quint16 crc16OfZeros(int length, quint16 crc);

/// Value of a hexadecimal digit, 255 for any other character.
unsigned char ConvertHexChar(char digit);

/// Packed decimal of an index: its tens digit in the high nibble, its ones digit in the low one. Of an index
/// with three digits the first two count.
unsigned char packedDecimal(unsigned char index);

/// Register number of an item of the grouped types, high byte `firstHigh` + group, low byte the packed index;
/// the low 16 bits count.
int groupedRegister(int firstHigh, int address);

/// Register number `offset` + `address` of the types at a table offset (0 when the type is unknown).
int tableRegister(RegisterRow row, int address);

/// Register number with a fixed high byte; no carry from the address reaches it.
int pageRegister(int high, int address);

/// Assembles one request in a FRAME_PRO.
class FrameWriter {
public:
    /// Starts a frame for `var`: station and function code, and the copies of the request's fields.
    FrameWriter(FRAME_PRO& frame, const VARIABLE& var, FunctionCode code);

    void addByte(int value);  ///< The low 8 bits.
    void addWord(int value);  ///< The low 16 bits, high byte first.

    /// Appends the CRC and describes the expected reply.
    void finish(int expectLen, int dataOffset, int dataCount);

private:
    FRAME_PRO& frame_;
};

#endif
