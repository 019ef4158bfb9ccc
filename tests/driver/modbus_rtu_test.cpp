// The wire format by itself: checksum, packed decimal, register numbers and frame assembly.
#include "modbus_rtu.h"

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <random>
#include <vector>

#include "support.h"
#include "tests/kit/crc.h"

namespace {

quint16 tableCrc(const std::vector<unsigned char>& bytes) {
    return crc16(bytes.data(), static_cast<int>(bytes.size()));
}

TEST(Crc16, GivesTheStandardCheckValue) {
    const unsigned char digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(0x4B37, crc16(digits, 9));
}

TEST(Crc16, OfNoBytesIsTheStartValue) {
    const unsigned char unused = 0;
    EXPECT_EQ(0xFFFF, crc16(&unused, 0));
}

TEST(Crc16, GivesTheKnownSumsOfWholeRequests) {
    EXPECT_EQ(0xE241, tableCrc({0x01, 0x07}));
    EXPECT_EQ(0xC638, tableCrc({0x01, 0x01, 0x10, 0x20, 0x00, 0x08}));
    EXPECT_EQ(0x85A6, tableCrc({0x01, 0x03, 0xF3, 0x25, 0x00, 0x01}));
}

TEST(Crc16, EqualsThePlainSumForEverySingleByte) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const std::vector<unsigned char> bytes(1, static_cast<unsigned char>(byte));
        EXPECT_EQ(kit::crcOf(bytes), tableCrc(bytes)) << "byte " << byte;
    }
}

TEST(Crc16, EqualsThePlainSumForRandomBytesOfManyLengths) {
    std::mt19937 random(20240607);
    for (size_t length = 2; length < 600; length += 7) {
        std::vector<unsigned char> bytes(length);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        EXPECT_EQ(kit::crcOf(bytes), tableCrc(bytes)) << "length " << length;
    }
}

TEST(Crc16, CanBeContinued) {
    const unsigned char digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    for (int first = 0; first <= 9; ++first)
        EXPECT_EQ(0x4B37, crc16(digits + first, 9 - first, crc16(digits, first))) << "split at " << first;
}

TEST(Crc16, ContinuedOverZerosEqualsTheSumOfThoseZeros) {
    for (int zeros : {0, 1, 2, 7, 255, 65534}) {
        std::vector<unsigned char> bytes = {0x11, 0x03};
        const quint16 start = tableCrc(bytes);
        bytes.insert(bytes.end(), static_cast<size_t>(zeros), 0);
        EXPECT_EQ(kit::crcOf(bytes), crc16OfZeros(zeros, start)) << zeros << " zeros";
    }
}

VARIABLE someRequest() {
    VARIABLE request;
    request.opKind = 77;
    request.station = 0x1FE;
    request.regType = QString::fromLatin1("MOD");
    request.address = -5;
    request.count = 123456;
    for (int i = 0; i < DX7_DATA_BYTES; ++i)
        request.data[i] = static_cast<unsigned char>(i * 7 + 1);
    return request;
}

TEST(FrameAssembly, CopiesTheRequestAndWritesStationAndFunctionCode) {
    const VARIABLE request = someRequest();
    FRAME_PRO frame;
    FrameWriter writer(frame, request, FC_STATUS_QUERY);
    writer.finish(5, 2, 1);
    EXPECT_EQ(0xFE, frame.sendBuf[0]);
    EXPECT_EQ(0x07, frame.sendBuf[1]);
    EXPECT_EQ(4, frame.sendLen);
    EXPECT_EQ(5, frame.expectLen);
    EXPECT_EQ(2, frame.dataOffset);
    EXPECT_EQ(1, frame.dataCount);
    EXPECT_EQ(0, frame.frameReserved);
    EXPECT_EQ(77, frame.opKind);
    EXPECT_EQ(0x1FE, frame.station);
    EXPECT_EQ(QString::fromLatin1("MOD"), frame.regType);
    EXPECT_EQ(-5, frame.address);
    EXPECT_EQ(123456, frame.count);
    EXPECT_EQ(0, std::memcmp(request.data, frame.varData, DX7_DATA_BYTES));
}

TEST(FrameAssembly, PutsWordsHighByteFirstAndTheSumLowByteFirst) {
    VARIABLE request;
    request.station = 1;
    FRAME_PRO frame;
    FrameWriter writer(frame, request, FC_READ_COILS);
    writer.addWord(0x1020);
    writer.addByte(0x100);
    writer.addByte(8);
    writer.finish(6, 3, 8);
    const unsigned char expected[] = {0x01, 0x01, 0x10, 0x20, 0x00, 0x08, 0x38, 0xC6};
    ASSERT_EQ(8, frame.sendLen);
    EXPECT_EQ(0, std::memcmp(expected, frame.sendBuf, 8));
}

TEST(FrameAssembly, BeginsAtTheFirstByteOfAFrameThatWasUsedBefore) {
    VARIABLE request;
    request.station = 1;
    FRAME_PRO frame;
    frame.sendLen = 500;
    FrameWriter writer(frame, request, FC_STATUS_QUERY);
    writer.finish(5, 2, 1);
    EXPECT_EQ(4, frame.sendLen);
    EXPECT_EQ(1, frame.sendBuf[0]);
    EXPECT_EQ(7, frame.sendBuf[1]);
}

TEST(FrameAssembly, TruncatesWordsTo16Bits) {
    VARIABLE request;
    FRAME_PRO frame;
    FrameWriter writer(frame, request, FC_READ_COILS);
    writer.addWord(0x12345);
    writer.addWord(-2);
    writer.finish(0, 0, 0);
    EXPECT_EQ(0x23, frame.sendBuf[2]);
    EXPECT_EQ(0x45, frame.sendBuf[3]);
    EXPECT_EQ(0xFF, frame.sendBuf[4]);
    EXPECT_EQ(0xFE, frame.sendBuf[5]);
}

}  // namespace
