// Read and write requests.
#include <utility>

#include "model.h"

namespace model {

namespace {

// Register number of address 0, row by row.
const int tableOffsets[15] = {0x1000, 0x1100, 0x101F, 0x103F, 0x105F, 0x111F, 0x1200, 0x1203,
                              0x00F0, 0x00D0, 0x00DE, 0x1300, 0x1309, 0x1300, 0x0000};

int tableOffset(const Text& regType) {
    const int row = rowOf(regType);
    return row < 0 ? 0 : tableOffsets[row];
}

Byte low8(int value) {
    return static_cast<Byte>(static_cast<unsigned>(value) & 0xFFU);
}

Byte second8(int value) {
    return static_cast<Byte>((static_cast<unsigned>(value) >> 8) & 0xFFU);
}

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return 255;
}

// The index of a grouped address in packed decimal: the first two digits of its text.
Byte packed(int address) {
    const Byte index = low8(address % 56);
    const std::string text = std::to_string(static_cast<int>(index));
    if (text.size() == 1) {
        return index;
    }
    return low8(hexValue(text[0]) * 16 + hexValue(text[1]));
}

// Writes a request without its CRC into the frame, then the CRC.
Frame encode(std::vector<Byte> bytes, int expectLen) {
    const int crc = crcOf(bytes, bytes.size());
    bytes.push_back(low8(crc));
    bytes.push_back(second8(crc));
    Frame frame;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        frame.sendBuf[i] = bytes[i];
    }
    frame.sendLen = static_cast<int>(bytes.size());
    frame.expectLen = expectLen;
    return frame;
}

}  // namespace

int Model::ConvertHexChar(char digit) const {
    return hexValue(digit);
}

void Model::append(Frame frame, const Variable& var, int dataOffset, int dataCount) {
    frame.dataOffset = dataOffset;
    frame.dataCount = dataCount;
    frame.opKind = var.opKind;
    frame.station = var.station;
    frame.regType = var.regType;
    frame.address = var.address;
    frame.count = var.count;
    frame.varData = var.data;
    frameList.push_back(std::move(frame));
}

void Model::getReadFrame(const Variable& var) {
    const Text& t = var.regType;
    if (t == u"CW_bit" || t == u"DO" || t == u"RO" || t == u"SDO" || t == u"SW_bit" || t == u"DI") {
        readframe_bit(var);
    } else if (t == u"CW" || t == u"SW" || t == u"FIN") {
        readframe_oneword(var);
    } else if (t == u"FAS") {
        QueryStatusFrame(var);
    } else {
        readframe_word(var);
    }
}

void Model::readframe_bit(const Variable& var) {
    const int start = wrapAdd(tableOffset(var.regType), var.address);
    const Byte code = var.regType == u"SW_bit" || var.regType == u"DI" ? 2 : 1;
    const int expectLen = var.count / 8 + (var.count % 8 != 0 ? 1 : 0) + 5;
    append(encode({low8(var.station), code, second8(start), low8(start), second8(var.count), low8(var.count)},
                  expectLen),
           var, 3, var.count);
}

void Model::readframe_oneword(const Variable& var) {
    const int start = wrapAdd(tableOffset(var.regType), var.address);
    const Byte code = var.regType == u"FIN" ? 4 : 3;
    const int bytes = wrapMul(2, var.count);
    append(encode({low8(var.station), code, second8(start), low8(start), second8(var.count), low8(var.count)},
                  wrapAdd(bytes, 5)),
           var, 3, bytes);
}

void Model::readframe_word(const Variable& var) {
    Byte high = 0;
    Byte low = 0;
    Byte code = 3;
    if (var.regType == u"F") {
        high = low8(0xF0 + var.address / 56);
        low = packed(var.address);
    } else if (var.regType == u"D") {
        high = low8(0xD0 + var.address / 56);
        low = packed(var.address);
    } else if (var.regType == u"DE") {
        high = 0xDE;
        low = packed(var.address);
    } else if (var.regType == u"AI") {
        high = 0x12;
        low = low8(var.address);
        code = 4;
    } else if (var.regType == u"MOD") {
        high = 0x13;
        low = low8(var.address);
    }
    const int bytes = wrapMul(2, var.count);
    append(
        encode({low8(var.station), code, high, low, second8(var.count), low8(var.count)}, wrapAdd(bytes, 5)),
        var, 3, bytes);
}

void Model::QueryStatusFrame(const Variable& var) {
    append(encode({low8(var.station), 7}, 5), var, 2, 1);
}

void Model::getWriteFrame(const Variable& var) {
    const Text& t = var.regType;
    if (t == u"CW_bit" || t == u"DO" || t == u"RO" || t == u"SDO") {
        writeframe_bit(var);
    } else if (t == u"CW") {
        writeframe_cwword(var);
    } else if (t == u"F" || t == u"MOD") {
        writeframe_word(var);
    }
}

void Model::writeframe_bit(const Variable& var) {
    const int start = wrapAdd(tableOffset(var.regType), var.address);
    const Byte value = var.data[0] == 1 ? 0xFF : 0x00;
    append(encode({low8(var.station), 5, second8(start), low8(start), value, 0}, var.station != 0 ? 8 : 0),
           var, 0, 0);
}

void Model::writeframe_cwword(const Variable& var) {
    if (var.count != 1) {
        return;
    }
    append(encode({low8(var.station), 6, 0x13, 0x00, var.data[1], var.data[0]}, 8), var, 0, 0);
}

void Model::writeframe_word(const Variable& var) {
    Byte high = 0;
    Byte low = 0;
    if (var.regType == u"F") {
        high = low8(0xF0 + var.address / 56 - 0x10);
        low = packed(var.address);
    } else if (var.regType == u"MOD") {
        high = 0x13;
        low = low8(var.address);
    }
    if (var.count == 1) {
        append(encode({low8(var.station), 6, high, low, var.data[1], var.data[0]}, 8), var, 0, 0);
        return;
    }
    const int count = var.count < 0 ? 0 : var.count;
    if (2LL * count + 9 > 1024) {
        return;
    }
    std::vector<Byte> bytes = {low8(var.station),    0x10, high, low, second8(count), low8(count),
                               low8(low8(count) * 2)};
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        bytes.push_back(var.data[2 * i + 1]);
        bytes.push_back(var.data[2 * i]);
    }
    append(encode(bytes, 8), var, 0, 0);
}

}  // namespace model
