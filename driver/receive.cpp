#include "receive.h"

#include <algorithm>

#include "addressing.h"
#include "data_areas.h"
#include "frame_list.h"
#include "modbus_rtu.h"
#include "write_path.h"

namespace {

enum DealResult { DEAL_NO_FRAME = 0, DEAL_GOOD = 1, DEAL_GIVEN_UP = 2, DEAL_SEND_AGAIN = 8 };

/// A reply as it came. Bytes outside it read as 0.
class Reply {
public:
    explicit Reply(const QByteArray& bytes) : bytes_(bytes) {}

    unsigned char operator[](int index) const {
        return index >= 0 && index < bytes_.size() ? static_cast<unsigned char>(bytes_.at(index)) : 0;
    }

private:
    const QByteArray bytes_;
};

// Four numbers of up to 11 characters, and what stands between them.
const int LONGEST_INFO_NUMBERS = 4 * 11 + 5;

/// Appends the decimal text of `number` without an allocation of its own.
void appendNumber(QString& text, int number) {
    unsigned rest = number < 0 ? 0U - static_cast<unsigned>(number) : static_cast<unsigned>(number);
    char digits[12];
    int first = sizeof digits - 1;
    digits[first] = 0;
    do {
        digits[--first] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (number < 0) {
        digits[--first] = '-';
    }
    text += QLatin1String(digits + first);
}

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
        _DATA_& area = editDataArea(expected.station, expected.regType, item);
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
        _DATA_& area = editDataArea(expected.station, expected.regType, item);
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
    _DATA_& area = editDataArea(expected.station, expected.regType, expected.address);
    if (area.value[0] == status) {
        return;
    }
    if (area.pendingBits == 0) {
        area.writePending = 0;
    }
    area.value[0] = status;
    reportValueChange(driver.linkId, expected.station, expected.regType, expected.address);
}

struct RecipeBounds {
    int first;
    int last;
};

/// The recipe variables of the block being read; an empty range when the block list does not describe it.
RecipeBounds recipeBounds() {
    const RecipeBounds none = {0, 0};
    const int block = driver.recipeIndex;
    const int blocks = driver.recipeBlockStart.size();
    const int vars = driver.recipeVars.size();
    if (block < 0 || block >= blocks) {
        return none;
    }
    const RecipeBounds bounds = {driver.recipeBlockStart.at(block),
                                 block == blocks - 1 ? vars : driver.recipeBlockStart.at(block + 1)};
    return bounds.first >= 0 && bounds.last <= vars ? bounds : none;
}

void reportRecipeWord(int recipeWord) {
    reportValueChange(0, -1, QString::fromLatin1("RWI"), recipeWord);
}

/// Copies `bytes` reply bytes from `position` to the recipe memory, reversed: it holds the low byte first.
void copyReversed(const Reply& reply, int position, int bytes, int recipeWord) {
    unsigned char* target = driver.recipeMemory + 2 * static_cast<std::ptrdiff_t>(recipeWord);
    for (int i = 0; i < bytes; ++i) {
        target[i] = reply[addressAfter(position, bytes - 1 - i)];
    }
}

/// Copies a read recipe block to the host's recipe memory: one word per variable, or 32 bits when the frame's
/// type is not a word type.
void storeRecipe(const Expected& expected, const Reply& reply, const RecipeBounds& bounds) {
    if (bounds.first >= driver.recipeVars.size()) {
        return;
    }
    const bool words = registerKind(expected.regType) == KIND_WORD;
    const unsigned base = static_cast<unsigned>(driver.recipeVars.at(bounds.first).address);
    for (int k = bounds.first; k < bounds.last && k < driver.recipeVars.size(); ++k) {
        const _RCP_VAR_PRO& var = driver.recipeVars.at(k);
        const int recipeWord = var.recipeIndex;
        const unsigned distance = 2U * (static_cast<unsigned>(var.address) - base);
        copyReversed(reply, addressAfter(expected.dataOffset, static_cast<int>(distance)), words ? 2 : 4,
                     recipeWord);
        reportRecipeWord(recipeWord);
        if (!words) {
            reportRecipeWord(addressAfter(recipeWord, 1));
        }
    }
}

void storeReply(const Expected& expected, const Reply& reply) {
    // The bounds count from before the reports, the variables from after them.
    const bool isRecipe = driver.opKind == OP_RECIPE_READ;
    const RecipeBounds bounds = isRecipe ? recipeBounds() : RecipeBounds();
    switch (registerKind(expected.regType)) {
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
        storeRecipe(expected, reply, bounds);
    }
}

/// Marks the items of a failed read. Bits are marked in steps of 8 addresses per bit; hosts rely on this.
void markFailed(const Expected& expected) {
    const RegisterKind kind = registerKind(expected.regType);
    if (kind != KIND_BIT && kind != KIND_WORD) {
        return;
    }
    const int items = kind == KIND_BIT ? expected.dataCount : expected.dataCount / 2;
    const unsigned step = kind == KIND_BIT ? 8U : 1U;
    for (int i = 0; i < items; ++i) {
        const int item = addressAfter(expected.address, static_cast<int>(step * static_cast<unsigned>(i)));
        editDataArea(expected.station, expected.regType, item).commError = 1;
    }
}

/// Takes the answered frame off the wire and ends the operation when it was the last one.
void finishFrame() {
    removeFirstFrame();
    if (driver.frameList.isEmpty()) {
        dealListWhenFinish();
    }
    driver.badReplyCount = 0;
}

int dealBadReply() {
    ++driver.badReplyCount;
    if (driver.badReplyCount < driver.retryCount) {
        return DEAL_SEND_AGAIN;
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
    return DEAL_GIVEN_UP;
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

namespace {

/// Writes what getErrorInfo() returns into the host's own text.
void writeErrorInfo(const QByteArray& reply, QString& text) {
    const FRAME_PRO& head = driver.frameList.at(0);
    // Emptied in place, so that the host's text keeps its memory; data() makes that memory its own.
    text.resize(0);
    text.data();
    const QString regType(head.regType);
    text.reserve(regType.size() + LONGEST_INFO_NUMBERS);
    appendNumber(text, head.station);
    text += QLatin1Char('#');
    text += regType;
    appendNumber(text, head.address);
    text += QLatin1Char('(');
    appendNumber(text, head.count);
    text += QLatin1String(")(");
    appendNumber(text, reply.size());
    text += QLatin1Char(')');
}

}  // namespace

QString getErrorInfo(const QByteArray& reply) {
    QString text;
    writeErrorInfo(reply, text);
    return text;
}

int intf_dealRcvFrame(QByteArray& reply, QString& info) {
    if (driver.frameList.isEmpty()) {
        info = QString::fromLatin1("");
        return DEAL_NO_FRAME;
    }
    writeErrorInfo(reply, info);
    const DataAreaCall call;
    switch (check_rcv_data(reinterpret_cast<const unsigned char*>(reply.constData()), reply.size())) {
        case REPLY_DATA:
            driver.commFailed = 0;
            storeReply(expectedReply(), Reply(reply));
            finishFrame();
            return DEAL_GOOD;
        case REPLY_ACKNOWLEDGE: {
            const Expected expected = expectedReply();
            if (driver.opKind == OP_WRITE) {
                _write_FailOrSuc(expected.station, expected.regType, expected.address, expected.count, 1);
            }
            driver.commFailed = 0;
            finishFrame();
            return DEAL_GOOD;
        }
        default:
            return dealBadReply();
    }
}
