#include "readframe.h"

#include "frame_list.h"

namespace {

// Where the data of a reply begins: after station, function code and byte count, or after the first two.
const int READ_DATA_OFFSET = 3;
const int STATUS_DATA_OFFSET = 2;
const int STATUS_REPLY_BYTES = 5;

/// Appends the request for `var.count` items from `startRegister`.
void appendReadFrame(const VARIABLE& var, FunctionCode code, int startRegister, int expectLen,
                     int dataCount) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, code);
    writer.addWord(startRegister);
    writer.addWord(var.count);
    writer.finish(expectLen, READ_DATA_OFFSET, dataCount);
    appendFrame(frame);
}

void appendRegisterReadFrame(const VARIABLE& var, FunctionCode code, int startRegister) {
    const unsigned dataBytes = 2U * static_cast<unsigned>(var.count);
    appendReadFrame(var, code, startRegister,
                    static_cast<int>(dataBytes + static_cast<unsigned>(READ_REPLY_OVERHEAD)),
                    static_cast<int>(dataBytes));
}

}  // namespace

void readframe_bit(const VARIABLE& var) {
    const RegisterRow row = registerRow(var.regType);
    const FunctionCode code = row == ROW_SW_BIT || row == ROW_DI ? FC_READ_DISCRETE_INPUTS : FC_READ_COILS;
    const int dataBytes = var.count / 8 + (var.count % 8 != 0 ? 1 : 0);
    appendReadFrame(var, code, tableRegister(row, var.address), dataBytes + READ_REPLY_OVERHEAD, var.count);
}

void readframe_oneword(const VARIABLE& var) {
    const RegisterRow row = registerRow(var.regType);
    const FunctionCode code = row == ROW_FIN ? FC_READ_INPUT_REGISTERS : FC_READ_HOLDING_REGISTERS;
    appendRegisterReadFrame(var, code, tableRegister(row, var.address));
}

void readframe_word(const VARIABLE& var) {
    switch (registerRow(var.regType)) {
        case ROW_F:
            appendRegisterReadFrame(var, FC_READ_HOLDING_REGISTERS,
                                    groupedRegister(REG_F_OFFSETADDR[0], var.address));
            break;
        case ROW_D:
            appendRegisterReadFrame(var, FC_READ_HOLDING_REGISTERS,
                                    groupedRegister(REG_D_OFFSETADDR[0], var.address));
            break;
        case ROW_DE:
            // The device knows one group only, so the group of the address does not reach the wire.
            appendRegisterReadFrame(var, FC_READ_HOLDING_REGISTERS,
                                    groupedRegister(REG_OFFSETADDR[ROW_DE], var.address % GROUP_ITEMS));
            break;
        case ROW_AI:
            appendRegisterReadFrame(var, FC_READ_INPUT_REGISTERS, pageRegister(0x12, var.address));
            break;
        case ROW_MOD:
            appendRegisterReadFrame(var, FC_READ_HOLDING_REGISTERS, pageRegister(0x13, var.address));
            break;
        default:
            appendRegisterReadFrame(var, FC_READ_HOLDING_REGISTERS, 0);
    }
}

void QueryStatusFrame(const VARIABLE& var) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_STATUS_QUERY);
    writer.finish(STATUS_REPLY_BYTES, STATUS_DATA_OFFSET, 1);
    appendFrame(frame);
}

void getReadFrame(const VARIABLE& var) {
    switch (registerRow(var.regType)) {
        case ROW_CW_BIT:
        case ROW_SW_BIT:
        case ROW_DO:
        case ROW_RO:
        case ROW_SDO:
        case ROW_DI:
            readframe_bit(var);
            break;
        case ROW_CW:
        case ROW_SW:
        case ROW_FIN:
            readframe_oneword(var);
            break;
        case ROW_FAS:
            QueryStatusFrame(var);
            break;
        default:
            readframe_word(var);
    }
}
