#include "readframe.h"

#include "modbus_rtu.h"
#include "register_map.h"

namespace {

// Where the data of a reply begins: after station, function code and byte count, or after the first two.
const int READ_DATA_OFFSET = 3;
const int STATUS_DATA_OFFSET = 2;
const int STATUS_REPLY_BYTES = 5;

/// Appends the request for `var.count` items from `startRegister`.
void appendReadFrame(const VARIABLE& var, int functionCode, int startRegister, int expectLen, int dataCount) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, functionCode);
    writer.addWord(startRegister);
    writer.addWord(var.count);
    writer.finish(expectLen, READ_DATA_OFFSET, dataCount);
    driver.frameList.append(frame);
}

void appendRegisterReadFrame(const VARIABLE& var, int functionCode, int startRegister) {
    const unsigned dataBytes = 2U * static_cast<unsigned>(var.count);
    appendReadFrame(var, functionCode, startRegister,
                    static_cast<int>(dataBytes + static_cast<unsigned>(READ_REPLY_OVERHEAD)),
                    static_cast<int>(dataBytes));
}

/// Whether the type is read with this function code at its offset.
bool isReadAtOffset(const RegisterType& type, int functionCode) {
    return type.read.numbering == BY_OFFSET && type.read.function == functionCode;
}

}  // namespace

void readframe_bit(const VARIABLE& var) {
    const int row = registerRow(var.regType);
    const bool isInput = isReadAtOffset(typeInRow(row), FC_READ_DISCRETE_INPUTS);
    const int dataBytes = var.count / 8 + (var.count % 8 != 0 ? 1 : 0);
    appendReadFrame(var, isInput ? FC_READ_DISCRETE_INPUTS : FC_READ_COILS, offsetRegister(row, var.address),
                    dataBytes + READ_REPLY_OVERHEAD, var.count);
}

void readframe_oneword(const VARIABLE& var) {
    const int row = registerRow(var.regType);
    const bool isInput = isReadAtOffset(typeInRow(row), FC_READ_INPUT_REGISTERS);
    appendRegisterReadFrame(var, isInput ? FC_READ_INPUT_REGISTERS : FC_READ_HOLDING_REGISTERS,
                            offsetRegister(row, var.address));
}

void readframe_word(const VARIABLE& var) {
    const int row = registerRow(var.regType);
    const RegisterAccess& own = typeInRow(row).read;
    const bool isComposed = own.numbering != BY_OFFSET && own.numbering != NOWHERE;
    const RegisterAccess& access = isComposed ? own : typeInRow(ROW_UNKNOWN).read;
    appendRegisterReadFrame(var, access.function, registerNumber(row, access, var.address));
}

void QueryStatusFrame(const VARIABLE& var) {
    FRAME_PRO frame;
    FrameWriter writer(frame, var, FC_STATUS_QUERY);
    writer.finish(STATUS_REPLY_BYTES, STATUS_DATA_OFFSET, 1);
    driver.frameList.append(frame);
}

void getReadFrame(const VARIABLE& var) {
    const RegisterType& type = registerType(var.regType);
    if (type.kind == KIND_BIT) {
        readframe_bit(var);
    } else if (type.kind == KIND_STATUS) {
        QueryStatusFrame(var);
    } else if (type.read.numbering == BY_OFFSET) {
        readframe_oneword(var);
    } else {
        readframe_word(var);
    }
}
