// Good replies: what they store and report, for every register type; and the text about a frame.
#include "receive.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <vector>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class Receive : public DriverTest {};
class ReceiveText : public DriverTest {};

TEST_F(Receive, NeverLooksAtStationOrFunctionCode) {
    putReadOnLine("CW", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(withCrc(hex("63 55 77 12 34"))));
    EXPECT_EQ(0x34, areaOf("CW", 0).value[0]);
    EXPECT_EQ(0x12, areaOf("CW", 0).value[1]);
}

TEST_F(Receive, OfBitsTakesTheLowestBitFirst) {
    for (const char* type : BIT_TYPES) {
        SCOPED_TRACE(type);
        putReadOnLine(type, 1, 10);
        ASSERT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("A5 02"))));
        unsigned char out[10];
        intf_getData(1, type, 1, 10, out);
        EXPECT_EQ(hex("01 00 01 00 00 01 00 01 00 01"), QByteArray(reinterpret_cast<char*>(out), 10));
    }
}

TEST_F(Receive, OfBitsReportsWhetherMonitoredOrNot) {
    putReadOnLine("DO", 1, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("01"))));
    EXPECT_EQ((Reports{{1, 1, "DO", 1}}), takeReports());
}

TEST_F(Receive, OfBitsComparesEachWithAWholeReplyByte) {
    // Data byte 2A, checksum bytes nn nn, then nothing: the stored zeros differ from the first three.
    putReadOnLine("DO", 1, 6);
    const QByteArray reply = bitReply(1, 1, hex("2A"));
    ASSERT_NE(0, reply[4]);
    ASSERT_NE(0, reply[5]);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(reply));
    EXPECT_EQ((Reports{{1, 1, "DO", 1}, {1, 1, "DO", 2}, {1, 1, "DO", 3}}), takeReports());
    // The bits are 0 1 0 1 0 1 now; the same reply again differs at items 4 and 6, where bytes beyond it read
    // as 0.
    putReadOnLine("DO", 1, 6);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(reply));
    EXPECT_EQ((Reports{{1, 1, "DO", 1}, {1, 1, "DO", 2}, {1, 1, "DO", 3}, {1, 1, "DO", 4}, {1, 1, "DO", 6}}),
              takeReports());
}

TEST_F(Receive, OfBitsCanMissAChange) {
    // Item 4 goes from 0 to 1, yet the reply has no byte at its place: 0 equals 0.
    putReadOnLine("DO", 1, 4);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("08"))));
    for (const Report& report : takeReports())
        EXPECT_NE(4, report.address);
    EXPECT_EQ(1, areaOf("DO", 4).value[0]);
}

TEST_F(Receive, OfUnchangedBitsStillReportsByWholeBytes) {
    for (int i = 0; i < 8; ++i)
        areaOf("SDO", 1 + i).value[0] = 1;
    putReadOnLine("SDO", 1, 8);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("FF"))));
    const Reports all = takeReports();
    EXPECT_EQ((Report{1, 1, "SDO", 1}), all.front()) << "1 differs from FF";
    EXPECT_EQ((Report{1, 1, "SDO", 8}), all.back()) << "1 differs from the 0 beyond the reply";
}

TEST_F(Receive, OfAFewBitsAgreesWithAPlainModelForEveryDataByte) {
    for (int data = 0; data < 256; ++data) {
        driver.dataAreas.clear();
        takeReports();
        std::vector<int> stored(12, 0);
        for (int pass = 0; pass < 2; ++pass) {
            const QByteArray reply = bitReply(1, 1, hex("00 05").replace(0, 1, QByteArray(1, char(data))));
            putReadOnLine("CW_bit", 2, 12);
            ASSERT_EQ(DX7_REPLY_GOOD, answer(reply));
            Reports expected;
            for (int i = 0; i < 12; ++i) {
                const int whole = 3 + i < reply.size() ? static_cast<unsigned char>(reply[3 + i]) : 0;
                if (stored[static_cast<size_t>(i)] != whole)
                    expected.push_back(Report{1, 1, "CW_bit", 2 + i});
                stored[static_cast<size_t>(i)] =
                    (static_cast<unsigned char>(reply[3 + i / 8]) >> (i % 8)) & 1;
                EXPECT_EQ(stored[static_cast<size_t>(i)], areaOf("CW_bit", 2 + i).value[0]);
            }
            EXPECT_EQ(expected, takeReports()) << "data " << data << " pass " << pass;
        }
    }
}

TEST_F(Receive, OfBitsEndsAPendingWriteOnlyWhereItReports) {
    areaOf("DO", 1).writePending = areaOf("DO", 4).writePending = 1;
    areaOf("DO", 1).pendingBits = areaOf("DO", 4).pendingBits = 6;
    putReadOnLine("DO", 1, 4);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("01"))));
    EXPECT_EQ(0, areaOf("DO", 1).writePending) << "whatever its pending bits";
    EXPECT_EQ(1, areaOf("DO", 4).writePending);
    EXPECT_EQ(6, areaOf("DO", 1).pendingBits);
}

TEST_F(Receive, OfWordsTakesTheHighByteFirst) {
    for (const char* type : WORD_TYPES) {
        SCOPED_TRACE(type);
        putReadOnLine(type, 1, 3);
        ASSERT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234, 0x00FF, 0xABCD})));
        unsigned char out[6];
        intf_getData(1, type, 1, 3, out);
        EXPECT_EQ(hex("34 12 FF 00 CD AB"), QByteArray(reinterpret_cast<char*>(out), 6));
        EXPECT_EQ(0, areaOf(type, 1).value[2]);
        EXPECT_EQ(0, areaOf(type, 1).value[3]);
    }
    EXPECT_TRUE(reports.empty()) << "no word is monitored";
}

TEST_F(Receive, OfWordsReportsChangedMonitoredOnesInOrder) {
    monitorOnly("F", 10, 3);
    putReadOnLine("F", 9, 5);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {1, 2, 0, 4, 5})));
    EXPECT_EQ((Reports{{1, 1, "F", 10}, {1, 1, "F", 12}}), takeReports());
    putReadOnLine("F", 9, 5);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {9, 2, 0, 0x104, 9})));
    EXPECT_EQ((Reports{{1, 1, "F", 12}}), takeReports());
}

TEST_F(Receive, OfWordsReportsMonitoredBitsThenTheWordThenTheDoubles) {
    _DATA_& word = areaOf("CW", 3);
    word.value[0] = 1;
    word.bitMonitorMask = 0x8002;
    word.wordMonitorFlags = 7;
    putReadOnLine("CW", 3, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x8003})));
    EXPECT_EQ((Reports{{1, 1, "CW_bit", 49},
                       {1, 1, "CW_bit", 63},
                       {1, 1, "CW", 3},
                       {1, 1, "CW_double", 3},
                       {1, 1, "CW_double", 2}}),
              takeReports());
}

TEST_F(Receive, OfWordsEndsAPendingWriteWhenTheValueChanged) {
    monitorOnly("CW", 0, 2);
    areaOf("CW", 0).writePending = areaOf("CW", 1).writePending = 1;
    areaOf("CW", 0).writtenValue[0] = 9;
    areaOf("CW", 1).value[0] = 5;
    putReadOnLine("CW", 0, 2);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {7, 5})));
    EXPECT_EQ(0, areaOf("CW", 0).writePending);
    EXPECT_EQ(1, areaOf("CW", 1).writePending) << "unchanged, so still pending";
    EXPECT_EQ(9, areaOf("CW", 0).writtenValue[0]);
}

TEST_F(Receive, OfWordsKeepsAPendingWriteThatHasPendingBits) {
    areaOf("CW", 0).writePending = 1;
    areaOf("CW", 0).pendingBits = 1;
    putReadOnLine("CW", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {7})));
    EXPECT_EQ(1, areaOf("CW", 0).writePending);
    EXPECT_EQ(7, areaOf("CW", 0).value[0]);
}

TEST_F(Receive, OfTheStatusStoresTheByteAndReportsEveryChange) {
    putReadOnLine("FAS", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 0x5A)));
    EXPECT_EQ((Reports{{1, 1, "FAS", 0}}), takeReports());
    EXPECT_EQ(0x5A, areaOf("FAS", 0).value[0]);
    putReadOnLine("FAS", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 0x5A)));
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(Receive, OfTheStatusLeavesTheErrorMarkAsItIs) {
    areaOf("FAS", 2).commError = 1;
    putReadOnLine("FAS", 2, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 1)));
    EXPECT_EQ(1, areaOf("FAS", 2).commError);
}

TEST_F(Receive, OfTheStatusEndsAPendingWriteWithoutPendingBits) {
    areaOf("FAS", 0).writePending = areaOf("FAS", 1).writePending = areaOf("FAS", 2).writePending = 1;
    areaOf("FAS", 1).pendingBits = 1;
    for (int address : {0, 1, 2}) {
        putReadOnLine("FAS", address, 1);
        EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, address == 2 ? 0 : 3)));
    }
    EXPECT_EQ(0, areaOf("FAS", 0).writePending);
    EXPECT_EQ(1, areaOf("FAS", 1).writePending);
    EXPECT_EQ(1, areaOf("FAS", 2).writePending) << "unchanged";
}

TEST_F(Receive, OfAStatusTakesAnExceptionReplyForData) {
    putReadOnLine("FAS", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(withCrc(hex("01 87 02"))));
    EXPECT_EQ(2, areaOf("FAS", 0).value[0]);
    putReadOnLine("CW", 0, 1);
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(withCrc(hex("01 83 02")))) << "5 bytes are not the 7 expected";
}

TEST_F(Receive, ClearsTheErrorMarksOfBitsAndWords) {
    for (int i = 0; i < 3; ++i)
        areaOf("DI", 1 + i).commError = areaOf("F", i).commError = 1;
    putReadOnLine("DI", 1, 2);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 2, hex("00"))));
    putReadOnLine("F", 0, 2);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0, 0})));
    EXPECT_EQ(0, areaOf("DI", 1).commError);
    EXPECT_EQ(0, areaOf("DI", 2).commError);
    EXPECT_EQ(1, areaOf("DI", 3).commError);
    EXPECT_EQ(0, areaOf("F", 1).commError);
    EXPECT_EQ(1, areaOf("F", 2).commError);
}

TEST_F(Receive, OfAnUnknownTypeIsGoodAndStoresNothing) {
    putReadOnLine("unknown", 0, 2);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {1, 2})));
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(driver.frameList.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(Receive, OfAReadWithoutItemsIsGood) {
    driver.commFailed = 1;
    for (const char* type : {"DO", "CW"}) {
        putReadOnLine(type, 1, 0);
        EXPECT_EQ(DX7_REPLY_GOOD, answer(withCrc(hex("01 01 00")))) << type;
        EXPECT_EQ(0, driver.commFailed);
    }
    putReadOnLine("CW", 1, -1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(withCrc(hex("01"))));
    putReadOnLine("DO", 1, -24);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(hex("FF FF")));
    putReadOnLine("DO", 1, -40);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(QByteArray())) << "no reply is expected";
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(Receive, StoresUnderTheStationOfTheFrame) {
    driver.pollList << request(0x101, "CW", 0, 1, 4);
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {5})));
    EXPECT_EQ(5, areaOf("CW", 0, 0x101).value[0]);
    EXPECT_EQ(1, driver.dataAreas.size());
}

// The text that describes a frame is written over the host's own, whatever that held and even
// where another text shares its memory.
TEST_F(ReceiveText, ReplacesWhatTheHostsTextHeld) {
    putReadOnLine("AI", 0, 1);
    QByteArray none;
    QString info =
        QString("something that is much longer than what the driver has to say about a frame 123456789");
    const QString shared = info;
    const int sharedSize = shared.size();
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#AI0(1)(0)"), info);
    EXPECT_EQ(sharedSize, shared.size());
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#AI0(1)(0)"), info);
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, intf_dealRcvFrame(none, info));
    EXPECT_EQ(DX7_REPLY_UNEXPECTED, intf_dealRcvFrame(none, info));
    EXPECT_TRUE(info.isEmpty());
    EXPECT_FALSE(info.isNull());
}

TEST_F(ReceiveText, StaysOutOfMemoryThatTheHostsTextOnlyBorrowed) {
    putReadOnLine("AI", 0, 1);
    const std::vector<QChar> borrowed(100, QLatin1Char('x'));
    QString info = QString::fromRawData(borrowed.data(), static_cast<int>(borrowed.size()));
    QByteArray none;
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#AI0(1)(0)"), info);
    EXPECT_EQ(std::vector<QChar>(100, QLatin1Char('x')), borrowed);
}

// A host that has the text written over the frame's own type name finds that name empty in it, as it was
// emptied first.
TEST_F(ReceiveText, MayBeTheTypeNameOfTheFrameItself) {
    putReadOnLine("AI", 0, 1);
    QByteArray none;
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, intf_dealRcvFrame(none, driver.frameList[0].regType));
    EXPECT_EQ(QString("1#0(1)(0)"), driver.frameList.at(0).regType);
}

}  // namespace
