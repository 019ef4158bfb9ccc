/// \file
/// The Modbus RTU wire format (Modbus over Serial Line V1.02): CRC-16, byte order and frame assembly. Nothing
/// here knows the driver object or how the device numbers its registers.
#ifndef KORVALENT_DX7_MODBUS_RTU_H
#define KORVALENT_DX7_MODBUS_RTU_H

#include <QtCore/QByteArray>

#include "records.h"

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
/// Station, function code, byte count and CRC around the data of a read reply.
const int READ_REPLY_OVERHEAD = 5;
/// Station, function code, two 16-bit fields and CRC.
const int FIXED_FRAME_BYTES = 8;
/// All bytes but the registers of a function-code-16 request.
const int MULTI_WRITE_OVERHEAD = 9;

/// CRC-16 of Modbus (reflected 0x8005, start 0xFFFF) over `length` bytes. Continues `crc` when one is given.
quint16 crc16(const unsigned char* bytes, int length, quint16 crc = 0xFFFF);

/// CRC-16 continued over `length` zero bytes, for replies whose length wraps at 16 bits (check_rcv_data).
quint16 crc16OfZeros(int length, quint16 crc);

/// Assembles one request in a FRAME_PRO.
class FrameWriter {
public:
    /// Starts a frame for `var`: station and function code, and the copies of the request's fields.
    FrameWriter(FRAME_PRO& frame, const VARIABLE& var, int functionCode);

    /// The low 8 bits.
    void addByte(int value);
    /// The low 16 bits, high byte first.
    void addWord(int value);

    /// Appends the CRC and describes the expected reply.
    void finish(int expectLen, int dataOffset, int dataCount);

private:
    FRAME_PRO& frame_;
};

/// A reply as it came, whatever the host does to its own bytes meanwhile. Bytes outside it read as 0.
class Reply {
public:
    explicit Reply(const QByteArray& bytes)
        : bytes_(bytes),
          first_(reinterpret_cast<const unsigned char*>(bytes_.constData())),
          size_(static_cast<unsigned>(bytes_.size())) {}

    unsigned char operator[](int index) const {
        return static_cast<unsigned>(index) < size_ ? first_[index] : 0;
    }

private:
    const QByteArray bytes_;
    const unsigned char* first_;
    unsigned size_;
};

#endif
