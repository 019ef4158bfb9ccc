#include "addressing.h"

#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace {

/// Accepted addresses of one register type: minimum <= start and start + count <= limit.
struct AddressRange {
    int minimum;
    int limit;
};

// Parallel to REG_LIST. F and D accept the first item of the group after their last one; hosts rely on this
// margin.
const AddressRange ADDRESS_RANGES[REG_TYPE_COUNT] = {
    {0, 16},   // CW_bit
    {0, 16},   // SW_bit
    {1, 3},    // DO
    {1, 2},    // RO
    {1, 9},    // SDO
    {1, 7},    // DI
    {0, 4},    // AI
    {0, 1},    // FIN
    {0, 897},  // F
    {0, 113},  // D
    {0, 56},   // DE
    {0, 1},    // CW
    {0, 1},    // SW
    {1, 3},    // MOD
    {0, 1},    // FAS
};

enum AddressCheck {
    ADDRESS_VALID = 0,
    ADDRESS_KIND_MISMATCH = 1,
    ADDRESS_OUT_OF_RANGE = 2,
    ADDRESS_UNKNOWN_TYPE = 3,
    ADDRESS_MALFORMED = 4,
    ADDRESS_READ_ONLY = 6,
    ADDRESS_TOO_LONG = 16
};

enum {
    LONGEST_GROUPED_TEXT = 6,
    LONGEST_PLAIN_TEXT = 3,
    ACCESS_WRITE = 1,
    ACCESS_READ_WRITE = 2,
    BIT_DATA = -1
};

/// Whether addresses of the type are typed as group.sub.index.
bool isGroupedText(RegisterRow row) {
    return row == ROW_F || row == ROW_D;
}

bool isHexDigit(QChar character) {
    const ushort code = character.unicode();
    return (code >= '0' && code <= '9') || (code >= 'a' && code <= 'f') || (code >= 'A' && code <= 'F');
}

bool kindMatches(RegisterRow row, bool wordAccess) {
    return row == ROW_UNKNOWN || wordAccess == (row > ROW_DI);
}

AddressCheck checkRange(RegisterRow row, int address, int count) {
    const AddressRange& range = ADDRESS_RANGES[row];
    const qint64 end = static_cast<qint64>(address) + count;
    return address >= range.minimum && end <= range.limit ? ADDRESS_VALID : ADDRESS_OUT_OF_RANGE;
}

AddressCheck checkGroupedText(RegisterRow row, const QString& addrText, int* address, int count) {
    if (a2i_dddd_h_h_dd(addrText, address) == -1) {
        return ADDRESS_MALFORMED;
    }
    const AddressCheck inRange = checkRange(row, *address, count);
    if (inRange != ADDRESS_VALID) {
        return inRange;
    }
    const int index = addrText.split(QLatin1Char('.')).last().toInt();
    return index >= GROUP_ITEMS ? ADDRESS_OUT_OF_RANGE : ADDRESS_VALID;
}

/// Parses and range-checks the text of a known type.
AddressCheck checkText(RegisterRow row, const QString& addrText, int* address, int count) {
    if (isGroupedText(row)) {
        return checkGroupedText(row, addrText, address, count);
    }
    bool converted = false;
    *address = addrText.toInt(&converted);
    return converted ? checkRange(row, *address, count) : ADDRESS_MALFORMED;
}

/// The types that the second check keeps from being written. "FI" is no register type and stands here
/// deliberately: hosts rely on FIN and FAS not being refused.
bool isWriteRefused(const QString& regType) {
    static const char* const REFUSED[] = {"SW_bit", "DI", "AI", "FI", "DE", "D", "SW"};
    for (std::size_t i = 0; i < sizeof REFUSED / sizeof REFUSED[0]; ++i) {
        if (regType == QLatin1String(REFUSED[i])) {
            return true;
        }
    }
    return false;
}

QString unsignedText(int value, int base = 10) {
    return QString::number(static_cast<uint>(value), base);
}

int normalisedStep(RegisterRow row, int step) {
    if (step == -2) {
        return row <= ROW_DI ? 1 : 2;
    }
    return step < 1 ? 1 : step;
}

/// Whether multi-copy handles the type by groups. DE is among them although its addresses are typed as plain
/// numbers: its highest address reads as 4815 and its texts have three fields. Hosts rely on this.
bool isGroupedCopy(RegisterRow row) {
    return isGroupedText(row) || row == ROW_DE;
}

int highestAddress(RegisterRow row, const QString& highestText) {
    if (!isGroupedCopy(row)) {
        return highestText.toInt();
    }
    int highest = 0;
    a2i_dddd_h_h_dd(highestText, &highest);
    return highest;
}

QString copyText(RegisterRow row, int address) {
    if (!isGroupedCopy(row)) {
        return unsignedText(address);
    }
    return unsignedText(address / GROUP_ITEMS, 16) + QLatin1String(".0.") +
           unsignedText(address % GROUP_ITEMS);
}

}  // namespace

int a2i_dddd_h_h_dd(const QString& text, int* value) {
    const QStringList fields = text.split(QLatin1Char('.'));
    const QString& groupText = fields.first();
    if (groupText.isEmpty() || !isHexDigit(groupText.at(0))) {
        return -1;
    }
    // Only the index decides over success: a group that does not convert counts as 0.
    const unsigned group = static_cast<unsigned>(groupText.toInt(0, 16));
    bool indexConverted = false;
    const unsigned index = static_cast<unsigned>(fields.last().toInt(&indexConverted));
    *value = static_cast<int>(static_cast<unsigned>(GROUP_ITEMS) * group + index);
    return fields.size() == 3 && indexConverted ? 1 : -1;
}

int getRegAddressWeight(int station, const QString& regType, int address, int) {
    return static_cast<int>(addressWeight(station, placeOfType(regType), address));
}

int placeOfType(const QString& regType) {
    return driver.regNames.indexOf(regType) + 1;
}

unsigned addressWeight(int station, int place, int address) {
    return 327675U * static_cast<unsigned>(station) + 65535U * static_cast<unsigned>(place) +
           static_cast<unsigned>(address);
}

int _setBitValue(int value, int bit, int on) {
    const unsigned mask = 1U << (static_cast<unsigned>(bit) & 31U);
    const unsigned bits = static_cast<unsigned>(value);
    return static_cast<int>(on != 0 ? bits | mask : bits & ~mask);
}

int intf_checkAddrValidity(const QString& regType, const QString& addrText, int* address, int count,
                           int wordAccess) {
    const RegisterRow row = registerRow(regType);
    if (!kindMatches(row, wordAccess != 0)) {
        return ADDRESS_KIND_MISMATCH;
    }
    if (addrText.contains(QLatin1Char('-')) || addrText.contains(QLatin1Char('+'))) {
        return ADDRESS_MALFORMED;
    }
    return row == ROW_UNKNOWN ? ADDRESS_UNKNOWN_TYPE : checkText(row, addrText, address, count);
}

int intf_checkAddr(const QString& regType, const QString& addrText, int* address, int dataType, int count,
                   int accessMode) {
    const RegisterRow row = registerRow(regType);
    if (!kindMatches(row, dataType != BIT_DATA)) {
        return ADDRESS_KIND_MISMATCH;
    }
    if (addrText.size() > (isGroupedText(row) ? LONGEST_GROUPED_TEXT : LONGEST_PLAIN_TEXT)) {
        return ADDRESS_TOO_LONG;
    }
    if ((accessMode == ACCESS_WRITE || accessMode == ACCESS_READ_WRITE) && isWriteRefused(regType)) {
        return ADDRESS_READ_ONLY;
    }
    return row == ROW_UNKNOWN ? ADDRESS_VALID : checkText(row, addrText, address, count);
}

int intf_multiCopy(const QString& regType, int start, int copies, int step, QVector<QString>* texts,
                   QVector<int>* addresses) {
    enum { COPY_UNKNOWN_TYPE = 0, COPY_IN_RANGE = 1, COPY_CLAMPED = 2 };
    const RegisterRow row = registerRow(regType);
    if (row == ROW_UNKNOWN) {
        return COPY_UNKNOWN_TYPE;
    }
    const QString& highestText = registerDescription(row, COLUMN_HIGHEST);
    const int highest = highestAddress(row, highestText);
    const int stride = normalisedStep(row, step);

    int result = COPY_IN_RANGE;
    int address = start;
    for (int i = 0; i < copies; ++i) {
        if (address > highest) {
            addresses->append(highest);
            texts->append(highestText);
            result = COPY_CLAMPED;
        } else {
            addresses->append(address);
            texts->append(copyText(row, address));
        }
        address = addressAfter(address, stride);
    }
    return result;
}
