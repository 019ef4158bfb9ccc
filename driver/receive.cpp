#include "receive.h"

#include <QtCore/QStringBuilder>
#include <algorithm>

#include "addressing.h"
#include "data_areas.h"
#include "modbus_rtu.h"
#include "register_map.h"
#include "write_path.h"

namespace {

/// What the frame on the wire says about its reply. A copy, since the frame list may change inside a report.
struct Expected {
    int dataCount;
    int dataOffset;
    int station;
    QString regType;
    int address;
    int count;
};

Expected expectedReply() {
    const FRAME_PRO& head = driver.frameList.at(0);
    return {head.dataCount, head.dataOffset, head.station, head.regType, head.address, head.count};
}

/// The change test looks at the whole reply byte at the item's position, not at the item's bit. Hosts rely on
/// this.
void storeBits(const Expected& expected, const Reply& reply) {
    for (int i = 0; i < expected.dataCount; ++i) {
        const int item = addressAfter(expected.address, i);
        const unsigned char bit = reply[addressAfter(expected.dataOffset, i / 8)] >> (i % 8) & 1;
        _DATA_& area = dataArea(expected.station, expected.regType, item);
        const bool changed = area.value[0] != reply[addressAfter(expected.dataOffset, i)];
        area.commError = 0;
        area.value[0] = bit;
        if (changed) {
            area.writePending = 0;
            reportValueChange(driver.linkId, expected.station, expected.regType, item);
        }
    }
}

void storeWords(const Expected& expected, const Reply& reply) {
    for (int i = 0; i < expected.dataCount / 2; ++i) {
        const int item = addressAfter(expected.address, i);
        const unsigned char high = reply[addressAfter(expected.dataOffset, 2 * i)];
        const unsigned char low = reply[addressAfter(expected.dataOffset, 2 * i + 1)];
        _DATA_& area = dataArea(expected.station, expected.regType, item);
        const int oldWord = area.value[0] + 256 * area.value[1];
        const int newWord = low + 256 * high;
        area.commError = 0;
        if (oldWord == newWord) {
            continue;
        }
        if (area.pendingBits == 0) {
            area.writePending = 0;
        }
        area.value[0] = low;
        area.value[1] = high;
        _wordDataChange(&oldWord, &newWord, expected.station, expected.regType, item, 0);
    }
}

/// Leaves commError as it is; hosts rely on this.
void storeStatus(const Expected& expected, const Reply& reply) {
    const unsigned char status = reply[expected.dataOffset];
    _DATA_& area = dataArea(expected.station, expected.regType, expected.address);
    if (area.value[0] == status) {
        return;
    }
    if (area.pendingBits == 0) {
        area.writePending = 0;
    }
    area.value[0] = status;
    reportValueChange(driver.linkId, expected.station, expected.regType, expected.address);
}

void storeReply(const Expected& expected, const Reply& reply) {
    // Which variables the block has is settled before the reports; the variables are read after them.
    const bool isRecipe = driver.opKind == OP_RECIPE_READ;
    const RecipeBounds bounds = isRecipe ? recipeBounds() : RecipeBounds();
    switch (registerType(expected.regType).kind) {
        case KIND_BIT:
            storeBits(expected, reply);
            break;
        case KIND_WORD:
            storeWords(expected, reply);
            break;
        case KIND_STATUS:
            storeStatus(expected, reply);
            break;
        default:
            break;
    }
    if (isRecipe) {
        storeRecipe(expected.regType, expected.dataOffset, reply, bounds);
    }
}

/// Marks the items of a failed read. Bits are marked in steps of 8 addresses per bit; hosts rely on this.
void markFailed(const Expected& expected) {
    const RegisterKind kind = registerType(expected.regType).kind;
    if (kind != KIND_BIT && kind != KIND_WORD) {
        return;
    }
    const int items = kind == KIND_BIT ? expected.dataCount : expected.dataCount / 2;
    const unsigned step = kind == KIND_BIT ? 8U : 1U;
    for (int i = 0; i < items; ++i) {
        const int item = addressAfter(expected.address, static_cast<int>(step * static_cast<unsigned>(i)));
        dataArea(expected.station, expected.regType, item).commError = 1;
    }
}

/// Takes the answered frame off the wire and ends the operation when it was the last one.
void finishFrame() {
    if (!driver.frameList.isEmpty()) {
        driver.frameList.removeFirst();
    }
    if (driver.frameList.isEmpty()) {
        dealListWhenFinish();
    }
    driver.badReplyCount = 0;
}

int dealBadReply() {
    ++driver.badReplyCount;
    if (driver.badReplyCount < driver.retryCount) {
        return DX7_REPLY_SEND_AGAIN;
    }
    const Expected expected = expectedReply();
    driver.commFailed = 1;
    if (driver.opKind == OP_WRITE) {
        _write_FailOrSuc(expected.station, expected.regType, expected.address, expected.count, 0);
    }
    markFailed(expected);
    driver.frameList.clear();
    driver.badReplyCount = 0;
    dealListWhenFinish();
    return DX7_REPLY_GIVEN_UP;
}

}  // namespace

int check_rcv_data(const unsigned char* buf, int len) {
    Q_ASSERT(!driver.frameList.isEmpty());
    const FRAME_PRO& head = driver.frameList.at(0);
    if (len == 0) {
        return head.expectLen == 0 ? REPLY_ACKNOWLEDGE : REPLY_BAD;
    }
    if (len != head.expectLen) {
        return REPLY_BAD;
    }
    // The byte count of the CRC wraps at 16 bits, and what lies beyond the reply counts as zero bytes: both
    // only show with lengths that no reply on a serial line has.
    const int covered = (len - CRC_BYTES) & 0xFFFF;
    const int present = std::min(covered, len);
    const quint16 crc = crc16OfZeros(covered - present, crc16(buf, present));
    const int lowByte = len >= CRC_BYTES ? buf[len - 2] : 0;
    if (lowByte != (crc & 0xFF) || buf[len - 1] != crc >> 8) {
        return REPLY_BAD;
    }
    return head.dataCount != 0 ? REPLY_DATA : REPLY_ACKNOWLEDGE;
}

QString getErrorInfo(const QByteArray& reply) {
    const FRAME_PRO& head = driver.frameList.at(0);
    return QString::number(head.station) % QLatin1Char('#') % head.regType % QString::number(head.address) %
           QLatin1Char('(') % QString::number(head.count) % QLatin1String(")(") %
           QString::number(reply.size()) % QLatin1Char(')');
}

int intf_dealRcvFrame(QByteArray& reply, QString& info) {
    info = QString::fromLatin1("");
    if (driver.frameList.isEmpty()) {
        return DX7_REPLY_UNEXPECTED;
    }
    info = getErrorInfo(reply);
    switch (check_rcv_data(reinterpret_cast<const unsigned char*>(reply.constData()), reply.size())) {
        case REPLY_DATA:
            driver.commFailed = 0;
            storeReply(expectedReply(), Reply(reply));
            finishFrame();
            return DX7_REPLY_GOOD;
        case REPLY_ACKNOWLEDGE: {
            const Expected expected = expectedReply();
            if (driver.opKind == OP_WRITE) {
                _write_FailOrSuc(expected.station, expected.regType, expected.address, expected.count, 1);
            }
            driver.commFailed = 0;
            finishFrame();
            return DX7_REPLY_GOOD;
        }
        default:
            return dealBadReply();
    }
}
