#include "writeframe.h"

#include <algorithm>

#include "frame_list.h"

namespace {

const int COIL_ON = 0xFF;
const int COIL_OFF = 0x00;
const int CONTROL_WORD_REGISTER = 0x1300;

// The device takes a parameter's new value 0x1000 registers below the place where it shows the value.
const int F_WRITE_BELOW_READ = 0x10;

/// Ends a write request and appends it. The acknowledgement carries no data.
void appendWriteFrame(FrameWriter& writer, const FRAME_PRO& frame, int expectLen) {
    writer.finish(expectLen, 0, 0);
    appendFrame(frame);
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
        return;  // would not fit the send buffer
    }
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_WRITE_REGISTERS);
    writer.addWord(startRegister);
    writer.addWord(count);
    writer.addByte(
        2 * count);  // truncated to a byte from 128 registers on; keeping within it is the host's affair
    for (int i = 0; i < count; ++i) {
        writer.addWord(dataWord(var, i));
    }
    appendWriteFrame(writer, frame, FIXED_FRAME_BYTES);
}

int writeRegister(const VARIABLE& var) {
    switch (registerRow(var.regType)) {
        case ROW_F:
            return groupedRegister(REG_F_OFFSETADDR[0] - F_WRITE_BELOW_READ, var.address);
        case ROW_MOD:
            return pageRegister(0x13, var.address);
        default:
            return 0;
    }
}

}  // namespace

void writeframe_bit(const VARIABLE& var) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_WRITE_COIL);
    writer.addWord(tableRegister(registerRow(var.regType), var.address));
    writer.addByte(var.data[0] == 1 ? COIL_ON : COIL_OFF);
    writer.addByte(0);
    appendWriteFrame(writer, frame, var.station == 0 ? 0 : FIXED_FRAME_BYTES);
}

void writeframe_cwword(const VARIABLE& var) {
    if (var.count == 1) {
        appendSingleWrite(var, CONTROL_WORD_REGISTER);
    }
}

void writeframe_word(const VARIABLE& var) {
    if (var.count == 1) {
        appendSingleWrite(var, writeRegister(var));
    } else {
        appendMultiWrite(var, writeRegister(var));
    }
}

void getWriteFrame(const VARIABLE& var) {
    switch (registerRow(var.regType)) {
        case ROW_CW_BIT:
        case ROW_DO:
        case ROW_RO:
        case ROW_SDO:
            writeframe_bit(var);
            break;
        case ROW_CW:
            writeframe_cwword(var);
            break;
        case ROW_F:
        case ROW_MOD:
            writeframe_word(var);
            break;
        default:
            break;
    }
}
