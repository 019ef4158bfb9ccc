// A value's buffer has four bytes, of which a word takes two and a bit one; the others are the host's to use.
#include <QtCore/QByteArray>

#include "data_areas.h"
#include "line.h"
#include "support.h"
#include "write_path.h"

using namespace dx7test;

namespace {

class ValueBytes : public DriverTest {
protected:
    static QByteArray bytesOf(const unsigned char (&bytes)[4]) {
        return QByteArray(reinterpret_cast<const char*>(bytes), 4);
    }
    static _DATA_& marked(const char* regType) {
        _DATA_& area = areaOf(regType, 0);
        std::memcpy(area.value, "\x11\x12\x13\x14", 4);
        std::memcpy(area.writtenValue, "\x21\x22\x23\x24", 4);
        return area;
    }
};

TEST_F(ValueBytes, AWrittenWordIsTwo) {
    marked("MOD");
    const unsigned char data[4] = {0x31, 0x32, 0x33, 0x34};
    write_saveDataToArea(1, "MOD", 0, 1, data);
    EXPECT_EQ(hex("31 32 23 24"), bytesOf(areaOf("MOD", 0).writtenValue));
    EXPECT_EQ(hex("11 12 13 14"), bytesOf(areaOf("MOD", 0).value));
    _write_FailOrSuc(1, "MOD", 0, 1, 1);
    EXPECT_EQ(hex("31 32 13 14"), bytesOf(areaOf("MOD", 0).value));
}

TEST_F(ValueBytes, AWrittenBitIsOne) {
    marked("DO");
    const unsigned char data[4] = {1, 1, 1, 1};
    write_saveDataToArea(1, "DO", 0, 1, data);
    EXPECT_EQ(hex("01 22 23 24"), bytesOf(areaOf("DO", 0).writtenValue));
    _write_FailOrSuc(1, "DO", 0, 1, 1);
    EXPECT_EQ(hex("01 12 13 14"), bytesOf(areaOf("DO", 0).value));
}

TEST_F(ValueBytes, AReadWordIsTwo) {
    marked("CW");
    putReadOnLine("CW", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x4142})));
    EXPECT_EQ(hex("42 41 13 14"), bytesOf(areaOf("CW", 0).value));
    EXPECT_EQ(hex("21 22 23 24"), bytesOf(areaOf("CW", 0).writtenValue));
}

}  // namespace
