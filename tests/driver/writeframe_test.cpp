// Write requests: what is sent for every writable register type, and what is never built.
#include "writeframe.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include "support.h"

using namespace dx7test;

namespace {

class WriteFrame : public DriverTest {
protected:
    static FRAME_PRO built(const VARIABLE& var) {
        driver.frameList.clear();
        getWriteFrame(var);
        EXPECT_EQ(1, driver.frameList.size());
        return driver.frameList.isEmpty() ? FRAME_PRO() : driver.frameList.first();
    }

    static bool buildsNothing(const VARIABLE& var) {
        driver.frameList.clear();
        getWriteFrame(var);
        return driver.frameList.isEmpty();
    }

    static VARIABLE words(int station, const char* regType, int address, int count) {
        VARIABLE var = request(station, regType, address, count, 2);
        for (int i = 0; i < DX7_DATA_BYTES; ++i)
            var.data[i] = static_cast<unsigned char>(i * 3 + 1);
        return var;
    }
};

TEST_F(WriteFrame, OfEveryBitTypeIsACoilWrite) {
    const struct {
        const char* regType;
        QByteArray on, off;
    } rows[] = {{"CW_bit", hex("01 05 10 03 FF 00"), hex("01 05 10 03 00 00")},
                {"DO", hex("01 05 10 22 FF 00"), hex("01 05 10 22 00 00")},
                {"RO", hex("01 05 10 42 FF 00"), hex("01 05 10 42 00 00")},
                {"SDO", hex("01 05 10 62 FF 00"), hex("01 05 10 62 00 00")}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.regType);
        const FRAME_PRO on = built(request(1, row.regType, 3, 1, 2, hex("01")));
        EXPECT_EQ(withCrc(row.on), sentBytes(on));
        EXPECT_EQ(8, on.sendLen);
        EXPECT_EQ(8, on.expectLen);
        EXPECT_EQ(0, on.dataOffset);
        EXPECT_EQ(0, on.dataCount);
        EXPECT_EQ(withCrc(row.off), sentBytes(built(request(1, row.regType, 3, 1, 2, hex("00")))));
    }
}

TEST_F(WriteFrame, GivesTheKnownRequests) {
    EXPECT_EQ(hex("01 05 10 20 FF 00 89 30"), sentBytes(built(request(1, "DO", 1, 1, 2, hex("01")))));
    EXPECT_EQ(hex("01 06 13 00 04 7F CE 6E"), sentBytes(built(request(1, "CW", 0, 1, 2, hex("7F 04")))));
    EXPECT_EQ(hex("01 06 E3 25 01 F4 AF 92"), sentBytes(built(request(1, "F", 193, 1, 2, hex("F4 01")))));
    EXPECT_EQ(hex("01 10 E0 10 00 02 04 00 0A 01 02 9B 34"),
              sentBytes(built(request(1, "F", 10, 2, 2, hex("0A 00 02 01")))));
}

TEST_F(WriteFrame, OfABitIsOnForTheValue1Only) {
    for (int value = 0; value < 256; ++value) {
        const FRAME_PRO frame = built(request(1, "DO", 1, 1, 2, QByteArray(1, static_cast<char>(value))));
        EXPECT_EQ(value == 1 ? 0xFF : 0x00, frame.sendBuf[4]) << value;
        EXPECT_EQ(0, frame.sendBuf[5]) << value;
    }
}

TEST_F(WriteFrame, OfManyBitsStillWritesTheFirstCoilOnly) {
    for (int count : {-1, 0, 2, 100}) {
        const FRAME_PRO frame = built(request(1, "DO", 1, count, 2, hex("01 00 00")));
        EXPECT_EQ(hex("01 05 10 20 FF 00 89 30"), sentBytes(frame));
        EXPECT_EQ(count, frame.count);
    }
}

TEST_F(WriteFrame, OfABitToStation0ExpectsNoReply) {
    for (const char* regType : {"CW_bit", "DO", "RO", "SDO"}) {
        EXPECT_EQ(0, built(request(0, regType, 1, 1)).expectLen) << regType;
        EXPECT_EQ(8, built(request(1, regType, 1, 1)).expectLen) << regType;
    }
}

TEST_F(WriteFrame, OfABitIsABroadcastOnlyWhenTheWholeStationIs0) {
    const FRAME_PRO frame = built(request(0x100, "DO", 1, 1));
    EXPECT_EQ(0, frame.sendBuf[0]);
    EXPECT_EQ(8, frame.expectLen);
}

TEST_F(WriteFrame, OfARegisterToStation0StillExpectsAReply) {
    EXPECT_EQ(8, built(request(0, "CW", 0, 1)).expectLen);
    EXPECT_EQ(8, built(request(0, "F", 0, 1)).expectLen);
    EXPECT_EQ(8, built(request(0, "F", 0, 2)).expectLen);
    EXPECT_EQ(8, built(request(0, "MOD", 1, 1)).expectLen);
}

TEST_F(WriteFrame, OfTheControlWordIgnoresTheAddress) {
    for (int address : {0, 5, 0x1234, -1}) {
        const FRAME_PRO frame = built(request(1, "CW", address, 1, 2, hex("7F 04")));
        EXPECT_EQ(hex("01 06 13 00 04 7F CE 6E"), sentBytes(frame));
        EXPECT_EQ(address, frame.address);
        EXPECT_EQ(8, frame.sendLen);
        EXPECT_EQ(8, frame.expectLen);
        EXPECT_EQ(0, frame.dataOffset);
        EXPECT_EQ(0, frame.dataCount);
    }
}

TEST_F(WriteFrame, OfTheControlWordIsBuiltForACountOf1Only) {
    for (int count : {-1, 0, 2, 3, 1000})
        EXPECT_TRUE(buildsNothing(request(1, "CW", 0, count))) << count;
}

TEST_F(WriteFrame, OfTypesThatCannotBeWrittenIsNotBuilt) {
    for (const char* regType :
         {"SW_bit", "DI", "SW", "FIN", "AI", "D", "DE", "FAS", "FW", "", "do", "f", "unknown"})
        for (int count : {0, 1, 2})
            EXPECT_TRUE(buildsNothing(request(1, regType, 1, count))) << regType << " count " << count;
}

TEST_F(WriteFrame, OfAParameterGoesToRegistersBelowThoseItIsReadFrom) {
    EXPECT_EQ(withCrc(hex("01 06 E1 00 00 00")), sentBytes(built(request(1, "F", 56, 1))));
    for (int group = 0; group < 16; ++group) {
        for (int index = 0; index < 56; ++index) {
            const FRAME_PRO frame = built(request(1, "F", 56 * group + index, 1));
            EXPECT_EQ(0xE0 + group, frame.sendBuf[2]);
            EXPECT_EQ(index / 10 * 16 + index % 10, frame.sendBuf[3]);
        }
    }
}

TEST_F(WriteFrame, OfParametersBeyondTheTableGoesOnByTheFormula) {
    EXPECT_EQ(withCrc(hex("01 06 F0 00 00 00")), sentBytes(built(request(1, "F", 16 * 56, 1))));
    EXPECT_EQ(withCrc(hex("01 06 DF 00 00 00")), sentBytes(built(request(1, "F", -56, 1))));
    EXPECT_EQ(withCrc(hex("01 06 E0 25 00 00")), sentBytes(built(request(1, "F", -5, 1))));
}

TEST_F(WriteFrame, OfModulesTakesNoCarryFromTheAddress) {
    EXPECT_EQ(withCrc(hex("01 06 13 05 12 34")),
              sentBytes(built(request(1, "MOD", 0x105, 1, 2, hex("34 12")))));
    EXPECT_EQ(withCrc(hex("01 06 13 FF 12 34")), sentBytes(built(request(1, "MOD", -1, 1, 2, hex("34 12")))));
    EXPECT_EQ(withCrc(hex("01 10 13 05 00 02 04 12 34 56 78")),
              sentBytes(built(request(1, "MOD", 0x105, 2, 2, hex("34 12 78 56")))));
}

TEST_F(WriteFrame, OfThreeModulesHas15BytesAndAByteCountOf6) {
    const FRAME_PRO frame = built(words(1, "MOD", 1, 3));
    EXPECT_EQ(15, frame.sendLen);
    EXPECT_EQ(6, frame.sendBuf[6]);
    EXPECT_EQ(8, frame.expectLen);
}

TEST_F(WriteFrame, OfSeveralRegistersSendsEachHighByteFirst) {
    for (const char* regType : {"F", "MOD"}) {
        for (int count : {2, 3, 8, 100, 127, 128, 200, 256, 300, 507}) {
            SCOPED_TRACE(testing::Message() << regType << " count " << count);
            const VARIABLE var = words(0x21, regType, 7, count);
            const FRAME_PRO frame = built(var);
            QByteArray body = hex(*regType == 'F' ? "21 10 E0 07" : "21 10 13 07");
            body.append(char(count >> 8)).append(char(count)).append(char((count & 0xFF) * 2));
            for (int i = 0; i < count; ++i)
                body.append(char(var.data[2 * i + 1])).append(char(var.data[2 * i]));
            EXPECT_EQ(withCrc(body), sentBytes(frame));
            EXPECT_EQ(2 * count + 9, frame.sendLen);
            EXPECT_EQ(8, frame.expectLen);
            EXPECT_EQ(0, frame.dataOffset);
            EXPECT_EQ(0, frame.dataCount);
        }
    }
}

TEST_F(WriteFrame, OfMoreRegistersThanAByteCanCountTruncatesTheByteCount) {
    EXPECT_EQ(254, built(words(1, "F", 0, 127)).sendBuf[6]);
    EXPECT_EQ(0, built(words(1, "F", 0, 128)).sendBuf[6]);
    EXPECT_EQ(2, built(words(1, "F", 0, 129)).sendBuf[6]);
    EXPECT_EQ(0, built(words(1, "F", 0, 256)).sendBuf[6]);
}

TEST_F(WriteFrame, OfNoRegisterOrFewerHasQuantity0AndNoData) {
    for (int count : {0, -1, -300}) {
        for (const char* regType : {"F", "MOD"}) {
            SCOPED_TRACE(testing::Message() << regType << " count " << count);
            const FRAME_PRO frame = built(words(1, regType, 2, count));
            EXPECT_EQ(withCrc(hex(*regType == 'F' ? "01 10 E0 02 00 00 00" : "01 10 13 02 00 00 00")),
                      sentBytes(frame));
            EXPECT_EQ(9, frame.sendLen);
            EXPECT_EQ(8, frame.expectLen);
            EXPECT_EQ(count, frame.count);
        }
    }
}

TEST_F(WriteFrame, ThatWouldExceedTheSendBufferIsNotBuilt) {
    EXPECT_FALSE(buildsNothing(words(1, "F", 0, 507)));
    for (int count : {508, 512, 1000, 100000, 0x7FFFFFFF})
        EXPECT_TRUE(buildsNothing(words(1, "F", 0, count))) << count;
}

TEST_F(WriteFrame, CarriesEveryFieldOfItsRequest) {
    for (const char* regType : {"DO", "CW", "F", "MOD"}) {
        SCOPED_TRACE(regType);
        VARIABLE var = words(0x305, regType, 2, 1);
        var.opKind = 0x12345;
        const FRAME_PRO frame = built(var);
        EXPECT_EQ(5, frame.sendBuf[0]);
        EXPECT_EQ(0x12345, frame.opKind);
        EXPECT_EQ(0x305, frame.station);
        EXPECT_EQ(QString(regType), frame.regType);
        EXPECT_EQ(2, frame.address);
        EXPECT_EQ(1, frame.count);
        EXPECT_EQ(0, frame.frameReserved);
        EXPECT_EQ(0, std::memcmp(var.data, frame.varData, DX7_DATA_BYTES));
        for (int i = frame.sendLen; i < DX7_DATA_BYTES; ++i)
            ASSERT_EQ(0, frame.sendBuf[i]) << "byte " << i;
    }
}

TEST_F(WriteFrame, IsAppendedToTheFramesAlreadyThere) {
    getWriteFrame(request(1, "DO", 1, 1));
    getWriteFrame(request(1, "D", 0, 1));
    getWriteFrame(request(1, "CW", 0, 1));
    ASSERT_EQ(2, driver.frameList.size());
    EXPECT_EQ(QString("DO"), driver.frameList.at(0).regType);
    EXPECT_EQ(QString("CW"), driver.frameList.at(1).regType);
}

TEST_F(WriteFrame, BuilderOfRegistersGivesAnyOtherTypeRegister0) {
    writeframe_word(request(1, "AI", 3, 1, 2, hex("34 12")));
    writeframe_word(request(1, "AI", 3, 2, 2, hex("34 12 78 56")));
    ASSERT_EQ(2, driver.frameList.size());
    EXPECT_EQ(withCrc(hex("01 06 00 00 12 34")), sentBytes(driver.frameList.at(0)));
    EXPECT_EQ(withCrc(hex("01 10 00 00 00 02 04 12 34 56 78")), sentBytes(driver.frameList.at(1)));
}

}  // namespace
