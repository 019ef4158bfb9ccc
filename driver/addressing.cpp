#include "addressing.h"

#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace {

const int LONGEST_GROUPED_TEXT = 6;
const int LONGEST_PLAIN_TEXT = 3;

// Access modes and the data type of intf_checkAddr.
const int ACCESS_WRITE = 1;
const int ACCESS_READ_WRITE = 2;
const int BIT_DATA = -1;

bool isHexDigit(QChar character) {
    const ushort code = character.unicode();
    return (code >= '0' && code <= '9') || (code >= 'a' && code <= 'f') || (code >= 'A' && code <= 'F');
}

bool kindMatches(const RegisterType& type, bool wordAccess) {
    return type.kind == KIND_UNKNOWN || wordAccess == (type.kind != KIND_BIT);
}

int checkRange(const RegisterType& type, int address, int count) {
    const qint64 end = static_cast<qint64>(address) + count;
    return address >= type.minimum && end <= type.limit ? DX7_ADDRESS_VALID : DX7_ADDRESS_OUT_OF_RANGE;
}

int checkGroupedText(const RegisterType& type, const QString& addrText, int* address, int count) {
    if (a2i_dddd_h_h_dd(addrText, address) == -1) {
        return DX7_ADDRESS_MALFORMED;
    }
    const int inRange = checkRange(type, *address, count);
    if (inRange != DX7_ADDRESS_VALID) {
        return inRange;
    }
    const int index = addrText.split(QLatin1Char('.')).last().toInt();
    return index >= GROUP_ITEMS ? DX7_ADDRESS_OUT_OF_RANGE : DX7_ADDRESS_VALID;
}

/// Parses and range-checks the text of a known type.
int checkText(const RegisterType& type, const QString& addrText, int* address, int count) {
    if (type.text == GROUPED_TEXT) {
        return checkGroupedText(type, addrText, address, count);
    }
    bool converted = false;
    *address = addrText.toInt(&converted);
    return converted ? checkRange(type, *address, count) : DX7_ADDRESS_MALFORMED;
}

/// Whether the second check keeps the type from being written. "FI", which is not a register type, is kept
/// from it, too: hosts rely on this.
bool isWriteRefused(const QString& regType) {
    return registerType(regType).refusesWrite || regType == QLatin1String("FI");
}

QString unsignedText(int value, int base = 10) {
    return QString::number(static_cast<uint>(value), base);
}

int normalisedStep(const RegisterType& type, int step) {
    if (step == -2) {
        return type.kind == KIND_BIT ? 1 : 2;
    }
    return step < 1 ? 1 : step;
}

/// Highest address that a copy may have. The text of DE, a plain number, is read as a grouped one and gives
/// 4815: hosts rely on this.
int highestAddress(const RegisterType& type, const QString& highestText) {
    if (!type.grouped) {
        return highestText.toInt();
    }
    int highest = 0;
    a2i_dddd_h_h_dd(highestText, &highest);
    return highest;
}

QString copyText(const RegisterType& type, int address) {
    if (!type.grouped) {
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
    const unsigned place = static_cast<unsigned>(driver.regNames.indexOf(regType) + 1);
    return static_cast<int>(327675U * static_cast<unsigned>(station) + 65535U * place +
                            static_cast<unsigned>(address));
}

int _setBitValue(int value, int bit, int on) {
    const unsigned mask = 1U << (static_cast<unsigned>(bit) & 31U);
    const unsigned bits = static_cast<unsigned>(value);
    return static_cast<int>(on != 0 ? bits | mask : bits & ~mask);
}

int intf_checkAddrValidity(const QString& regType, const QString& addrText, int* address, int count,
                           int wordAccess) {
    const RegisterType& type = registerType(regType);
    if (!kindMatches(type, wordAccess != 0)) {
        return DX7_ADDRESS_KIND_MISMATCH;
    }
    if (addrText.contains(QLatin1Char('-')) || addrText.contains(QLatin1Char('+'))) {
        return DX7_ADDRESS_MALFORMED;
    }
    return type.kind == KIND_UNKNOWN ? DX7_ADDRESS_UNKNOWN_TYPE : checkText(type, addrText, address, count);
}

int intf_checkAddr(const QString& regType, const QString& addrText, int* address, int dataType, int count,
                   int accessMode) {
    const RegisterType& type = registerType(regType);
    if (!kindMatches(type, dataType != BIT_DATA)) {
        return DX7_ADDRESS_KIND_MISMATCH;
    }
    if (addrText.size() > (type.text == GROUPED_TEXT ? LONGEST_GROUPED_TEXT : LONGEST_PLAIN_TEXT)) {
        return DX7_ADDRESS_TOO_LONG;
    }
    if ((accessMode == ACCESS_WRITE || accessMode == ACCESS_READ_WRITE) && isWriteRefused(regType)) {
        return DX7_ADDRESS_READ_ONLY;
    }
    return type.kind == KIND_UNKNOWN ? DX7_ADDRESS_VALID : checkText(type, addrText, address, count);
}

int intf_multiCopy(const QString& regType, int start, int copies, int step, QVector<QString>* texts,
                   QVector<int>* addresses) {
    const int row = registerRow(regType);
    if (row == ROW_UNKNOWN) {
        return DX7_COPY_UNKNOWN_TYPE;
    }
    const RegisterType& type = typeInRow(row);
    const QString& highestText = registerDescription(row, COLUMN_HIGHEST);
    const int highest = highestAddress(type, highestText);
    const int stride = normalisedStep(type, step);

    int result = DX7_COPY_IN_RANGE;
    int address = start;
    for (int i = 0; i < copies; ++i) {
        if (address > highest) {
            addresses->append(highest);
            texts->append(highestText);
            result = DX7_COPY_CLAMPED;
        } else {
            addresses->append(address);
            texts->append(copyText(type, address));
        }
        address = addressAfter(address, stride);
    }
    return result;
}
