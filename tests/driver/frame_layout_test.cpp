// The records as hosts see them: plain memory with fields at fixed offsets. A host built by another compiler,
// in another language, or against its own declaration of the records, shares nothing with the driver but
// these tables.
#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <algorithm>
#include <cstring>
#include <new>

#include "support.h"

namespace dx7test {
namespace {

/// Where FRAME_PRO's fields are from the text on; those before it have the same places everywhere.
struct FrameTable {
    size_t regType, address, count, varData, size;
};
const FrameTable FRAME =
    sizeof(void*) == 4 ? FrameTable{1052, 1056, 1060, 1064, 2088} : FrameTable{1056, 1064, 1068, 1072, 2096};

const size_t SEND_LEN = 1024;
const size_t EXPECT_LEN = 1028;
const size_t DATA_OFFSET = 1032;
const size_t DATA_COUNT = 1036;
const size_t FRAME_RESERVED = 1040;
const size_t OP_KIND = 1044;
const size_t STATION = 1048;

/// Where the fields of KEY_ADDRESS are that the driver reads, and its other two texts.
struct KeyTable {
    size_t hostText, station, regType, hostText2, address, bitOffset, length, size;
};
const KeyTable KEY = sizeof(void*) == 4 ? KeyTable{0, 12, 16, 20, 24, 28, 32, 1060}
                                        : KeyTable{0, 16, 24, 32, 40, 44, 48, 1080};

const unsigned char UNTOUCHED = 0xA5;

/// A host's memory for one record, with some bytes after it that are not the driver's.
class RawRecord {
public:
    explicit RawRecord(size_t size) : size_(size) { std::memset(bytes_, UNTOUCHED, sizeof bytes_); }

    unsigned char* data() { return bytes_; }
    size_t size() const { return size_; }

    /// The 32 bits at `offset`, little-endian.
    int number(size_t offset) const {
        unsigned value = 0;
        for (size_t i = 4; i-- > 0;)
            value = value << 8 | bytes_[offset + i];
        return static_cast<int>(value);
    }
    void setNumber(size_t offset, int value) {
        for (size_t i = 0; i < 4; ++i)
            bytes_[offset + i] = static_cast<unsigned char>(static_cast<unsigned>(value) >> 8 * i);
    }

    QByteArray part(size_t offset, size_t length) const {
        return QByteArray(reinterpret_cast<const char*>(bytes_ + offset), static_cast<int>(length));
    }
    bool isOnlyItself() const {
        return std::all_of(bytes_ + size_, bytes_ + sizeof bytes_,
                           [](unsigned char byte) { return byte == UNTOUCHED; });
    }

    QString& makeText(size_t offset, const QString& text) { return *new (bytes_ + offset) QString(text); }
    QString& text(size_t offset) { return *std::launder(reinterpret_cast<QString*>(bytes_ + offset)); }
    void destroyText(size_t offset) { text(offset).~QString(); }

private:
    alignas(8) unsigned char bytes_[2200];
    size_t size_;
};

class RawFrame : public DriverTest {
protected:
    RawFrame() : frame(FRAME.size) { frame.makeText(FRAME.regType, QString()); }
    ~RawFrame() override { frame.destroyText(FRAME.regType); }

    int getSendFrame() { return intf_getSendFrame(reinterpret_cast<FRAME_PRO*>(frame.data())); }

    RawRecord frame;
};

TEST_F(RawFrame, RecordsAreAsLargeAsTheirTables) {
    EXPECT_EQ(sizeof(FRAME_PRO), FRAME.size);
    EXPECT_EQ(sizeof(KEY_ADDRESS), KEY.size);
}

TEST_F(RawFrame, EveryFieldOfAReadIsAtItsOffset) {
    driver.conditionList << request(0x12345607, "D", 58, 3, 0x01020304);
    ASSERT_EQ(getSendFrame(), DX7_SEND_FRAME);

    EXPECT_EQ(frame.part(0, 8), withCrc(hex("07 03 D1 02 00 03")));
    EXPECT_EQ(frame.part(8, 1016), QByteArray(1016, '\0'));
    EXPECT_EQ(frame.number(SEND_LEN), 8);
    EXPECT_EQ(frame.number(EXPECT_LEN), 11);
    EXPECT_EQ(frame.number(DATA_OFFSET), 3);
    EXPECT_EQ(frame.number(DATA_COUNT), 6);
    EXPECT_EQ(frame.number(FRAME_RESERVED), 0);
    EXPECT_EQ(frame.number(OP_KIND), 0x01020304);
    EXPECT_EQ(frame.number(STATION), 0x12345607);
    EXPECT_EQ(frame.text(FRAME.regType), QString("D"));
    EXPECT_EQ(frame.number(FRAME.address), 58);
    EXPECT_EQ(frame.number(FRAME.count), 3);
    EXPECT_EQ(frame.part(FRAME.varData, 1024), QByteArray(1024, '\0'));
    EXPECT_TRUE(frame.isOnlyItself());
}

TEST_F(RawFrame, EveryFieldOfAWriteIsAtItsOffset) {
    unsigned char values[] = {0x0A, 0x00, 0x02, 0x01};
    ASSERT_EQ(intf_setData(9, "F", 57, 2, values, -7), DX7_DONE);
    ASSERT_EQ(getSendFrame(), DX7_SEND_FRAME);

    EXPECT_EQ(frame.part(0, 13), withCrc(hex("09 10 E1 01 00 02 04 00 0A 01 02")));
    EXPECT_EQ(frame.number(SEND_LEN), 13);
    EXPECT_EQ(frame.number(EXPECT_LEN), 8);
    EXPECT_EQ(frame.number(DATA_OFFSET), 0);
    EXPECT_EQ(frame.number(DATA_COUNT), 0);
    EXPECT_EQ(frame.number(FRAME_RESERVED), 0);
    EXPECT_EQ(frame.number(OP_KIND), -7);
    EXPECT_EQ(frame.number(STATION), 9);
    EXPECT_EQ(frame.text(FRAME.regType), QString("F"));
    EXPECT_EQ(frame.number(FRAME.address), 57);
    EXPECT_EQ(frame.number(FRAME.count), 2);
    EXPECT_EQ(frame.part(FRAME.varData, 5), hex("0A 00 02 01 00"));
    EXPECT_TRUE(frame.isOnlyItself());
}

TEST_F(RawFrame, AWholeConversationNeedsNothingButTheBytes) {
    unsigned char values[] = {0x34, 0x12};
    intf_setData(1, "MOD", 1, 1, values, 2);
    ASSERT_EQ(getSendFrame(), DX7_SEND_FRAME);
    const QByteArray sent = frame.part(0, static_cast<size_t>(frame.number(SEND_LEN)));
    EXPECT_EQ(sent, withCrc(hex("01 06 13 01 12 34")));

    QByteArray reply = sent;  // a device acknowledges this function code with an echo
    ASSERT_EQ(reply.size(), frame.number(EXPECT_LEN));
    QString info;
    EXPECT_EQ(intf_dealRcvFrame(reply, info), DX7_REPLY_GOOD);
    EXPECT_EQ(getSendFrame(), DX7_SEND_NOTHING);
}

TEST_F(RawFrame, IsLeftAloneWhenThereIsNothingToSend) {
    const QByteArray before = frame.part(0, frame.size());
    EXPECT_EQ(getSendFrame(), DX7_SEND_NOTHING);
    EXPECT_EQ(frame.part(0, frame.size()), before);
    EXPECT_TRUE(frame.isOnlyItself());
}

TEST_F(RawFrame, IsFilledAlikeWhenItIsHandedOutAgain) {
    driver.conditionList << request(1, "AI", 0, 4);
    ASSERT_EQ(getSendFrame(), DX7_SEND_FRAME);
    const QByteArray first = frame.part(0, frame.size());
    ASSERT_EQ(getSendFrame(), DX7_SEND_FRAME);
    EXPECT_EQ(frame.part(0, frame.size()), first);
}

TEST_F(RawFrame, ReleasesTheTextThatTheHostLeftInIt) {
    QString earlier = QString("an earlier frame's type").repeated(2);
    frame.text(FRAME.regType) = earlier;
    ASSERT_FALSE(earlier.isDetached());
    driver.conditionList << request(1, "AI", 0, 4);
    ASSERT_EQ(getSendFrame(), DX7_SEND_FRAME);
    EXPECT_TRUE(earlier.isDetached());
    EXPECT_EQ(frame.text(FRAME.regType), QString("AI"));
}

class RawKey : public DriverTest {
protected:
    RawKey() : key(KEY.size) {
        for (size_t text : {KEY.hostText, KEY.regType, KEY.hostText2})
            key.makeText(text, QString("host"));
    }
    ~RawKey() override {
        for (size_t text : {KEY.hostText, KEY.regType, KEY.hostText2})
            key.destroyText(text);
    }

    int addConditionRead(int tag) {
        return intf_addConditionRead(*reinterpret_cast<KEY_ADDRESS*>(key.data()), tag);
    }

    RawRecord key;
};

TEST_F(RawKey, IsReadAtItsOffsetsAndLeftAsItIs) {
    key.text(KEY.regType) = QString("SDO");
    key.setNumber(KEY.station, 0x01020304);
    key.setNumber(KEY.address, 3);
    key.setNumber(KEY.bitOffset, -1);
    key.setNumber(KEY.length, 5);
    const QByteArray before = key.part(0, key.size());

    ASSERT_EQ(addConditionRead(42), DX7_DONE);
    ASSERT_EQ(itemsOf(driver.conditionList), (ItemsList{{0x01020304, "SDO", 3, 5}}));
    EXPECT_EQ(driver.conditionList.at(0).opKind, 42);
    EXPECT_EQ(key.part(0, key.size()), before);
    EXPECT_TRUE(key.isOnlyItself());
}

TEST_F(RawKey, BitOffsetIsWhereItChoosesTheBlockLimit) {
    init("1#0#0#3#4");
    key.text(KEY.regType) = QString("SDO");
    key.setNumber(KEY.station, 1);
    key.setNumber(KEY.address, 0);
    key.setNumber(KEY.length, 8);
    for (int bitOffset : {-1, 0}) {
        driver.conditionList.clear();
        key.setNumber(KEY.bitOffset, bitOffset);
        addConditionRead(0);
        EXPECT_EQ(driver.conditionList.size(), bitOffset == -1 ? 1 : 2);
    }
}

}  // namespace
}  // namespace dx7test
