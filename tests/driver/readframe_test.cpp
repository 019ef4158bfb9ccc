// Read requests: what is sent for every register type, and how the reply is announced.
#include "readframe.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include "support.h"

using namespace dx7test;

namespace {

class ReadFrame : public DriverTest {
protected:
    // The frame that a request becomes.
    static FRAME_PRO built(const VARIABLE& var) {
        driver.frameList.clear();
        getReadFrame(var);
        EXPECT_EQ(1, driver.frameList.size());
        return driver.frameList.isEmpty() ? FRAME_PRO() : driver.frameList.first();
    }

    static QByteArray sent(const VARIABLE& var) { return sentBytes(built(var)); }

    // Start register on the wire.
    static int startOf(const VARIABLE& var) {
        const QByteArray bytes = sent(var);
        return static_cast<unsigned char>(bytes[2]) * 256 + static_cast<unsigned char>(bytes[3]);
    }
};

struct TypeRow {
    const char* regType;
    int address;
    int functionCode;
    int startRegister;
    bool bits;
};

// One row per type and one for a name that is not a type; the address 3 is group 0, index 3 of grouped types.
const TypeRow TYPE_ROWS[] = {
    {"CW_bit", 3, 1, 0x1003, true}, {"SW_bit", 3, 2, 0x1103, true}, {"DO", 3, 1, 0x1022, true},
    {"RO", 3, 1, 0x1042, true},     {"SDO", 3, 1, 0x1062, true},    {"DI", 3, 2, 0x1122, true},
    {"CW", 3, 3, 0x1303, false},    {"SW", 3, 3, 0x130C, false},    {"FIN", 3, 4, 0x1206, false},
    {"F", 3, 3, 0xF003, false},     {"D", 3, 3, 0xD003, false},     {"DE", 3, 3, 0xDE03, false},
    {"AI", 3, 4, 0x1203, false},    {"MOD", 3, 3, 0x1303, false},   {"unknown", 3, 3, 0x0000, false},
    {"", 3, 3, 0x0000, false},      {"do", 3, 3, 0x0000, false},    {"FW", 3, 3, 0x0000, false},
};

TEST_F(ReadFrame, OfEveryTypeHasItsFunctionCodeRegisterAndReplyDescription) {
    for (const TypeRow& row : TYPE_ROWS) {
        for (int count : {1, 2, 7, 8, 9, 16, 17, 40}) {
            SCOPED_TRACE(testing::Message() << row.regType << " count " << count);
            const FRAME_PRO frame = built(request(0x11, row.regType, row.address, count, 4));
            QByteArray body;
            body.append(char(0x11)).append(char(row.functionCode));
            body.append(char(row.startRegister >> 8)).append(char(row.startRegister & 0xFF));
            body.append(char(0)).append(char(count));
            EXPECT_EQ(withCrc(body), sentBytes(frame));
            EXPECT_EQ(8, frame.sendLen);
            EXPECT_EQ(3, frame.dataOffset);
            EXPECT_EQ(row.bits ? (count + 7) / 8 + 5 : 2 * count + 5, frame.expectLen);
            EXPECT_EQ(row.bits ? count : 2 * count, frame.dataCount);
        }
    }
}

TEST_F(ReadFrame, OfTheStatusIsFourBytesWhateverAddressAndCount) {
    for (int address : {0, 1, 500, -3}) {
        for (int count : {0, 1, 9, -1}) {
            const FRAME_PRO frame = built(request(1, "FAS", address, count));
            EXPECT_EQ(hex("01 07 41 E2"), sentBytes(frame));
            EXPECT_EQ(4, frame.sendLen);
            EXPECT_EQ(5, frame.expectLen);
            EXPECT_EQ(2, frame.dataOffset);
            EXPECT_EQ(1, frame.dataCount);
            EXPECT_EQ(address, frame.address);
            EXPECT_EQ(count, frame.count);
        }
    }
}

TEST_F(ReadFrame, CarriesEveryFieldOfItsRequest) {
    for (const char* regType : {"DO", "CW", "F", "FAS", "unknown"}) {
        SCOPED_TRACE(regType);
        VARIABLE var = request(3, regType, 2, 1, 0x12345);
        for (int i = 0; i < DX7_DATA_BYTES; ++i)
            var.data[i] = static_cast<unsigned char>(i * 13 + 5);
        const FRAME_PRO frame = built(var);
        EXPECT_EQ(0x12345, frame.opKind);
        EXPECT_EQ(3, frame.station);
        EXPECT_EQ(QString(regType), frame.regType);
        EXPECT_EQ(2, frame.address);
        EXPECT_EQ(1, frame.count);
        EXPECT_EQ(0, frame.frameReserved);
        EXPECT_EQ(0, std::memcmp(var.data, frame.varData, DX7_DATA_BYTES));
    }
}

TEST_F(ReadFrame, LeavesNoStrayByteAfterTheRequest) {
    for (const char* regType : {"DO", "CW", "F", "FAS", "unknown"}) {
        const FRAME_PRO frame = built(request(3, regType, 2, 1));
        for (int i = frame.sendLen; i < DX7_DATA_BYTES; ++i)
            ASSERT_EQ(0, frame.sendBuf[i]) << regType << " byte " << i;
    }
}

TEST_F(ReadFrame, OfEightOutputsIsTheKnownRequest) {
    const FRAME_PRO frame = built(request(1, "DO", 1, 8));
    EXPECT_EQ(hex("01 01 10 20 00 08 38 C6"), sentBytes(frame));
    EXPECT_EQ(6, frame.expectLen);
    EXPECT_EQ(8, frame.dataCount);
}

TEST_F(ReadFrame, OfOneParameterIsTheKnownRequest) {
    EXPECT_EQ(hex("01 03 F3 25 00 01 A6 85"), sent(request(1, "F", 193, 1)));
}

TEST_F(ReadFrame, OfBitsExpectsAByteForEveryEightBitsBegun) {
    EXPECT_EQ(5, built(request(1, "DO", 1, 0)).expectLen);
    EXPECT_EQ(6, built(request(1, "DO", 1, 1)).expectLen);
    EXPECT_EQ(7, built(request(1, "DO", 1, 9)).expectLen);
    EXPECT_EQ(7, built(request(1, "DO", 1, 16)).expectLen);
    EXPECT_EQ(8, built(request(1, "DO", 1, 17)).expectLen);
}

TEST_F(ReadFrame, OfANegativeCountFollowsTheSameArithmetic) {
    const struct {
        const char* regType;
        int count, expectLen, dataCount;
    } rows[] = {{"DO", -1, 6, -1},   {"DO", -8, 4, -8},     {"DO", -9, 5, -9}, {"DO", -24, 2, -24},
                {"DO", -40, 0, -40}, {"CW", -1, 3, -2},     {"F", -2, 1, -4},  {"AI", -3, -1, -6},
                {"CW", 0, 5, 0},     {"unknown", -1, 3, -2}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.regType << " count " << row.count);
        const FRAME_PRO frame = built(request(1, row.regType, 0, row.count));
        EXPECT_EQ(row.expectLen, frame.expectLen);
        EXPECT_EQ(row.dataCount, frame.dataCount);
        EXPECT_EQ(8, frame.sendLen);
        EXPECT_EQ((row.count >> 8) & 0xFF, frame.sendBuf[4]);
        EXPECT_EQ(row.count & 0xFF, frame.sendBuf[5]);
    }
}

TEST_F(ReadFrame, OfGroupedTypesPacksTheIndexAsDecimalDigits) {
    EXPECT_EQ(0xF009, startOf(request(1, "F", 9, 1)));
    EXPECT_EQ(0xF010, startOf(request(1, "F", 10, 1)));
    EXPECT_EQ(0xF055, startOf(request(1, "F", 55, 1)));
    EXPECT_EQ(0xF100, startOf(request(1, "F", 56, 1)));
    for (int group = 0; group < 16; ++group)
        for (int index = 0; index < 56; ++index)
            EXPECT_EQ((0xF0 + group) * 256 + index / 10 * 16 + index % 10,
                      startOf(request(1, "F", 56 * group + index, 1)));
    for (int group = 0; group < 2; ++group)
        for (int index = 0; index < 56; ++index)
            EXPECT_EQ((0xD0 + group) * 256 + index / 10 * 16 + index % 10,
                      startOf(request(1, "D", 56 * group + index, 1)));
}

TEST_F(ReadFrame, OfDeKeepsItsHighByteWhateverTheGroup) {
    EXPECT_EQ(0xDE12, startOf(request(1, "DE", 56 * 5 + 12, 1)));
    EXPECT_EQ(0xDE00, startOf(request(1, "DE", 56, 1)));
    EXPECT_EQ(0xDE55, startOf(request(1, "DE", 55, 1)));
}

TEST_F(ReadFrame, OfGroupsBeyondTheTablesGoesOnByTheFormula) {
    EXPECT_EQ(0x0000, startOf(request(1, "F", 16 * 56, 1)));
    EXPECT_EQ(0x0107, startOf(request(1, "F", 17 * 56 + 7, 1)));
    EXPECT_EQ(0xD210, startOf(request(1, "D", 2 * 56 + 10, 1)));
    EXPECT_EQ(0xEF00, startOf(request(1, "F", -56, 1)));
    EXPECT_EQ(0xCF00, startOf(request(1, "D", -56, 1)));
    EXPECT_EQ(0xCE00, startOf(request(1, "D", -112, 1)));
}

TEST_F(ReadFrame, OfANegativeIndexPacksTheFirstTwoDigitsOfItsLowByte) {
    EXPECT_EQ(0xF025, startOf(request(1, "F", -1, 1)));   // 255
    EXPECT_EQ(0xF025, startOf(request(1, "F", -5, 1)));   // 251
    EXPECT_EQ(0xF024, startOf(request(1, "F", -7, 1)));   // 249
    EXPECT_EQ(0xD020, startOf(request(1, "D", -55, 1)));  // 201
    EXPECT_EQ(0xDE25, startOf(request(1, "DE", -1, 1)));
}

TEST_F(ReadFrame, OfAnalogInputsAndModulesTakesNoCarryFromTheAddress) {
    EXPECT_EQ(0x1205, startOf(request(1, "AI", 0x105, 1)));
    EXPECT_EQ(0x1305, startOf(request(1, "MOD", 0x105, 1)));
    EXPECT_EQ(0x12FF, startOf(request(1, "AI", -1, 1)));
    EXPECT_EQ(0x13FF, startOf(request(1, "MOD", -1, 1)));
}

TEST_F(ReadFrame, OfTableTypesCarriesIntoTheHighByte) {
    EXPECT_EQ(0x1405, startOf(request(1, "CW", 0x105, 1)));
    EXPECT_EQ(0x1308, startOf(request(1, "SW", -1, 1)));
    EXPECT_EQ(0x0FFF, startOf(request(1, "CW_bit", -1, 1)));
}

TEST_F(ReadFrame, TruncatesAddressAndCountBeyond16Bits) {
    const QByteArray bytes = sent(request(1, "CW", 0x10000, 0x12345));
    EXPECT_EQ(withCrc(hex("01 03 13 00 23 45")), bytes);
}

TEST_F(ReadFrame, SendsTheLowByteOfTheStationAndKeepsTheWholeStation) {
    const FRAME_PRO frame = built(request(0x101, "DO", 1, 8));
    EXPECT_EQ(hex("01 01 10 20 00 08 38 C6"), sentBytes(frame));
    EXPECT_EQ(0x101, frame.station);
    EXPECT_EQ(QByteArray(1, char(0xFF)), sent(request(-1, "FAS", 0, 1)).left(1));
}

TEST_F(ReadFrame, OfStation0StillExpectsAReply) {
    EXPECT_EQ(6, built(request(0, "DO", 1, 8)).expectLen);
    EXPECT_EQ(7, built(request(0, "CW", 0, 1)).expectLen);
    EXPECT_EQ(5, built(request(0, "FAS", 0, 1)).expectLen);
}

TEST_F(ReadFrame, IsAppendedToTheFramesAlreadyThere) {
    getReadFrame(request(1, "DO", 1, 1));
    getReadFrame(request(1, "CW", 0, 1));
    ASSERT_EQ(2, driver.frameList.size());
    EXPECT_EQ(QString("DO"), driver.frameList.at(0).regType);
    EXPECT_EQ(QString("CW"), driver.frameList.at(1).regType);
}

TEST_F(ReadFrame, BuiltForANameThatIsInNoTableStartsAtTheAddressItself) {
    readframe_bit(request(1, "unknown", 0x21, 1));
    readframe_oneword(request(1, "unknown", 0x22, 1));
    readframe_word(request(1, "unknown", 0x23, 1));
    ASSERT_EQ(3, driver.frameList.size());
    EXPECT_EQ(withCrc(hex("01 01 00 21 00 01")), sentBytes(driver.frameList.at(0)));
    EXPECT_EQ(withCrc(hex("01 03 00 22 00 01")), sentBytes(driver.frameList.at(1)));
    EXPECT_EQ(withCrc(hex("01 03 00 00 00 01")), sentBytes(driver.frameList.at(2)));
}

TEST_F(ReadFrame, BuildersCanBeCalledOneByOne) {
    readframe_bit(request(1, "DI", 1, 6));
    readframe_oneword(request(1, "FIN", 0, 1));
    readframe_word(request(1, "AI", 2, 1));
    QueryStatusFrame(request(1, "FAS", 0, 1));
    ASSERT_EQ(4, driver.frameList.size());
    EXPECT_EQ(withCrc(hex("01 02 11 20 00 06")), sentBytes(driver.frameList.at(0)));
    EXPECT_EQ(withCrc(hex("01 04 12 03 00 01")), sentBytes(driver.frameList.at(1)));
    EXPECT_EQ(withCrc(hex("01 04 12 02 00 01")), sentBytes(driver.frameList.at(2)));
    EXPECT_EQ(hex("01 07 41 E2"), sentBytes(driver.frameList.at(3)));
}

TEST_F(ReadFrame, BuildersTakeOnlyWhatIsTheirsFromOtherTypes) {
    readframe_bit(request(1, "F", 1, 6));
    readframe_bit(request(1, "FIN", 1, 6));
    readframe_oneword(request(1, "AI", 2, 1));
    readframe_oneword(request(1, "SW_bit", 2, 1));
    readframe_word(request(1, "CW", 2, 1));
    readframe_word(request(1, "FAS", 2, 1));
    readframe_word(request(1, "DI", 2, 1));
    ASSERT_EQ(7, driver.frameList.size());
    EXPECT_EQ(withCrc(hex("01 01 00 F1 00 06")), sentBytes(driver.frameList.at(0)));
    EXPECT_EQ(withCrc(hex("01 01 12 04 00 06")), sentBytes(driver.frameList.at(1)));
    EXPECT_EQ(withCrc(hex("01 03 12 02 00 01")), sentBytes(driver.frameList.at(2)));
    EXPECT_EQ(withCrc(hex("01 03 11 02 00 01")), sentBytes(driver.frameList.at(3)));
    for (int i = 4; i < 7; ++i)
        EXPECT_EQ(withCrc(hex("01 03 00 00 00 01")), sentBytes(driver.frameList.at(i))) << i;
}

TEST_F(ReadFrame, TouchesNothingButTheFrameList) {
    driver.opKind = 6;
    driver.burstCount = 2;
    getReadFrame(request(1, "CW", 0, 1));
    EXPECT_EQ(6, driver.opKind);
    EXPECT_EQ(2, driver.burstCount);
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(reports.empty());
}

}  // namespace
