#include "write_path.h"

#include <algorithm>
#include <cstring>

#include "addressing.h"
#include "data_areas.h"
#include "register_map.h"
#include "request_lists.h"

namespace {

int wordOf(const unsigned char* lowByteFirst) {
    return lowByteFirst[0] + 256 * lowByteFirst[1];
}

/// Queues the write of `count` items. `data` holds `dataBytes` bytes for them, of which a request carries at
/// most DX7_DATA_BYTES.
void queueWrite(int station, const QString& regType, int address, int count, const unsigned char* data,
                int dataBytes, int tag) {
    VARIABLE var;
    var.opKind = tag;
    var.station = station;
    var.regType = regType;
    var.address = address;
    var.count = count;
    if (dataBytes > 0) {
        std::memcpy(var.data, data, static_cast<std::size_t>(std::min<int>(dataBytes, sizeof var.data)));
    }
    addVarToList(driver.writeList, var);
}

int wordBytes(int words) {
    return words > 0 ? 2 * std::min<int>(words, DX7_DATA_BYTES / 2) : 0;
}

/// Splits a word write by the block limit. A limit below 1 does not split.
void queueWordWrites(int station, const QString& regType, int address, int count, const unsigned char* data,
                     int tag) {
    const int limit = driver.maxBlockWordsCopy;
    if (limit < 1) {
        if (count != 0) {
            queueWrite(station, regType, address, count, data, wordBytes(count), tag);
        }
        return;
    }
    const int rest = count % limit;
    const int blocks = count / limit + (rest != 0 ? 1 : 0);
    for (int k = 0; k < blocks; ++k) {
        const int words = rest != 0 && k == blocks - 1 ? rest : limit;
        const unsigned char* blockData = data + 2 * static_cast<std::ptrdiff_t>(k) * limit;
        queueWrite(station, regType, addressAfter(address, k * limit), words, blockData, wordBytes(words),
                   tag);
    }
}

void storeWord(int station, const QString& regType, int address, const unsigned char* bytes) {
    const unsigned char written[2] = {bytes[0], bytes[1]};
    const _DATA_& seen = dataArea(station, regType, address);
    const int shown = wordOf(seen.writePending == 1 ? seen.writtenValue : seen.value);
    const int next = wordOf(written);
    _wordDataChange(&shown, &next, station, regType, address, 0);

    _DATA_& area = dataArea(station, regType, address);
    std::memcpy(area.writtenValue, written, sizeof written);
    area.writePending = 1;
}

void storeBit(int station, const QString& regType, int address, unsigned char written) {
    const int group = bitGroupBase(address);
    const _DATA_& seen = dataArea(station, regType, group);
    const unsigned char shown = seen.writePending == 1 ? seen.writtenValue[0] : seen.value[0];
    if (shown != written) {
        reportValueChange(driver.linkId, station, regType, address);
    }

    _DATA_& area = dataArea(station, regType, group);
    area.writtenValue[0] = written;
    area.writePending = 1;
}

void completeWord(int station, const QString& regType, int address, bool success) {
    _DATA_& area = dataArea(station, regType, address);
    area.writePending = 0;
    if (success) {
        std::memcpy(area.value, area.writtenValue, 2);
        return;
    }
    const int read = wordOf(area.value);
    const int written = wordOf(area.writtenValue);
    _wordDataChange(&read, &written, station, regType, address, 0);
}

void completeBit(int station, const QString& regType, int address, bool success) {
    const int group = bitGroupBase(address);
    _DATA_& area = dataArea(station, regType, group);
    area.pendingBits = _setBitValue(area.pendingBits, bitNumberInGroup(address), 0);
    if (area.pendingBits == 0) {
        area.writePending = 0;
    }
    if (success) {
        area.value[0] = area.writtenValue[0];
        return;
    }
    const unsigned char read = area.value[0];
    const unsigned char written = area.writtenValue[0];
    _byteDataChange(&read, &written, station, regType, group);
}

}  // namespace

void write_saveDataToArea(int station, const QString& regType, int address, int count,
                          const unsigned char* data) {
    const RegisterKind kind = registerType(regType).kind;
    for (int i = 0; i < count; ++i) {
        const int item = addressAfter(address, i);
        if (kind == KIND_WORD) {
            storeWord(station, regType, item, data + 2 * static_cast<std::ptrdiff_t>(i));
        } else if (kind == KIND_BIT) {
            storeBit(station, regType, item, data[i]);
        } else {
            return;
        }
    }
}

void _write_FailOrSuc(int station, const QString& regType, int address, int count, int success) {
    const RegisterKind kind = registerType(regType).kind;
    for (int i = 0; i < count; ++i) {
        const int item = addressAfter(address, i);
        if (kind == KIND_WORD) {
            completeWord(station, regType, item, success == 1);
        } else if (kind == KIND_BIT) {
            completeBit(station, regType, item, success == 1);
        } else {
            return;
        }
    }
}

int intf_setData(int station, const QString& regType, int address, int count, unsigned char* data, int tag) {
    // A copy: the host's text may change inside a report.
    const QString type(canonicalName(regType));
    if (driver.propField1 == 0) {
        switch (registerType(type).kind) {
            case KIND_BIT:
                queueWrite(station, type, address, count, data, count, tag);
                break;
            case KIND_WORD:
                queueWordWrites(station, type, address, count, data, tag);
                break;
            default:
                break;
        }
    }
    write_saveDataToArea(station, type, address, count, data);
    return DX7_DONE;
}
