#include "writeframe.h"

#include <algorithm>

#include "modbus_rtu.h"
#include "register_map.h"

namespace {

const int CONTROL_WORD_REGISTER = 0x1300;
const int COIL_ON = 0xFF;
const int COIL_OFF = 0x00;

/// Ends a write request and appends it. The acknowledgement carries no data.
void appendWriteFrame(FrameWriter& writer, const FRAME_PRO& frame, int expectLen) {
    writer.finish(expectLen, 0, 0);
    driver.frameList.append(frame);
}

/// Register `i` of the request's data, which holds the low byte first.
int dataWord(const VARIABLE& var, int i) {
    const unsigned char* lowByteFirst = var.data + 2 * static_cast<std::ptrdiff_t>(i);
    return lowByteFirst[1] << 8 | lowByteFirst[0];
}

void appendSingleWrite(const VARIABLE& var, int startRegister) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_WRITE_REGISTER);
    writer.addWord(startRegister);
    writer.addWord(dataWord(var, 0));
    appendWriteFrame(writer, frame, FIXED_FRAME_BYTES);
}

void appendMultiWrite(const VARIABLE& var, int startRegister) {
    const int count = std::max(var.count, 0);
    if (count > (DX7_DATA_BYTES - MULTI_WRITE_OVERHEAD) / 2) {
        return;
    }
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_WRITE_REGISTERS);
    writer.addWord(startRegister);
    writer.addWord(count);
    // Truncated to a byte from 128 registers on; staying below that is up to the host.
    writer.addByte(2 * count);
    for (int i = 0; i < count; ++i) {
        writer.addWord(dataWord(var, i));
    }
    appendWriteFrame(writer, frame, FIXED_FRAME_BYTES);
}

/// Register number of a type that is written with `functionCode`; `otherwise` for any other type.
int writeRegister(const VARIABLE& var, int functionCode, int otherwise) {
    const int row = registerRow(var.regType);
    const RegisterAccess& access = typeInRow(row).write;
    return access.function == functionCode ? registerNumber(row, access, var.address) : otherwise;
}

}  // namespace

void writeframe_bit(const VARIABLE& var) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_WRITE_COIL);
    writer.addWord(offsetRegister(registerRow(var.regType), var.address));
    writer.addByte(var.data[0] == 1 ? COIL_ON : COIL_OFF);
    writer.addByte(0);
    appendWriteFrame(writer, frame, var.station == 0 ? 0 : FIXED_FRAME_BYTES);
}

void writeframe_cwword(const VARIABLE& var) {
    if (var.count == 1) {
        appendSingleWrite(var, writeRegister(var, FC_WRITE_REGISTER, CONTROL_WORD_REGISTER));
    }
}

void writeframe_word(const VARIABLE& var) {
    const int startRegister = writeRegister(var, FC_WRITE_REGISTERS, 0);
    if (var.count == 1) {
        appendSingleWrite(var, startRegister);
    } else {
        appendMultiWrite(var, startRegister);
    }
}

void getWriteFrame(const VARIABLE& var) {
    switch (registerType(var.regType).write.function) {
        case FC_WRITE_COIL:
            writeframe_bit(var);
            break;
        case FC_WRITE_REGISTER:
            writeframe_cwword(var);
            break;
        case FC_WRITE_REGISTERS:
            writeframe_word(var);
            break;
        default:
            break;
    }
}
