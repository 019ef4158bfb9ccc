// Whole conversations between a host and a device that answers as a real one does, through the exported
// functions alone: polling, writing, one-off reads, retries, failure and recovery.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <map>
#include <random>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

// A device with coils, discrete inputs and registers; parameters written at 0xE000 and up are read at 0xF000
// and up.
class Device {
public:
    QByteArray reply(const FRAME_PRO& frame) {
        const QByteArray bytes = sentBytes(frame);
        EXPECT_EQ(withCrc(bytes.left(bytes.size() - 2)), bytes);
        const int start = word(bytes, 2);
        const int quantity = word(bytes, 4);
        switch (bytes[1]) {
            case 1:
            case 2:
                return bitReply(bytes[0], bytes[1], packedBits(start, quantity));
            case 3:
            case 4:
                return wordReply(bytes[0], bytes[1], registersFrom(start, quantity));
            case 5:
                bits[start] = word(bytes, 4) == 0xFF00;
                return bytes[0] == 0 ? QByteArray() : bytes;
            case 6:
                setRegister(start, word(bytes, 4));
                return bytes;
            case 7:
                return statusReply(bytes[0], status);
            case 16:
                for (int i = 0; i < quantity; ++i)
                    setRegister(start + i, word(bytes, 7 + 2 * i));
                return withCrc(bytes.left(6));
            default:
                ADD_FAILURE() << "function code " << int(bytes[1]);
                return QByteArray();
        }
    }

    std::map<int, bool> bits;
    std::map<int, int> registers;
    int status = 0;

private:
    static int word(const QByteArray& bytes, int index) {
        if (index + 1 >= bytes.size())
            return 0;
        return static_cast<unsigned char>(bytes[index]) * 256 + static_cast<unsigned char>(bytes[index + 1]);
    }

    void setRegister(int number, int value) {
        registers[number >= 0xE000 && number < 0xF000 ? number + 0x1000 : number] = value;
    }

    QByteArray packedBits(int start, int quantity) {
        QByteArray packed((quantity + 7) / 8, '\0');
        for (int i = 0; i < quantity; ++i)
            packed[i / 8] = static_cast<char>(packed[i / 8] | (bits[start + i] ? 1 << (i % 8) : 0));
        return packed;
    }

    QVector<int> registersFrom(int start, int quantity) {
        QVector<int> values;
        for (int i = 0; i < quantity; ++i)
            values << registers[start + i];
        return values;
    }
};

class Conversation : public DriverTest {
protected:
    // One turn of the host's loop; the driver's judgement, or -1 when there was nothing to send.
    int step() {
        FRAME_PRO frame;
        if (intf_getSendFrame(&frame) == 0)
            return -1;
        const QByteArray reply = connected ? device.reply(frame) : QByteArray();
        return answer(reply);
    }

    void steps(int count) {
        for (int i = 0; i < count; ++i)
            step();
    }

    static int shownWord(const char* regType, int address) {
        unsigned char out[2] = {0xEE, 0xEE};
        intf_getData(1, regType, address, 1, out);
        return out[0] + 256 * out[1];
    }

    static int shownByte(const char* regType, int address) {
        unsigned char out = 0xEE;
        intf_getData(1, regType, address, 1, &out);
        return out;
    }

    static void writeWord(const char* regType, int address, int value) {
        unsigned char data[2] = {static_cast<unsigned char>(value & 0xFF),
                                 static_cast<unsigned char>(value >> 8)};
        EXPECT_EQ(DX7_DONE, intf_setData(1, regType, address, 1, data, 2));
    }

    static int monitor(std::initializer_list<KEY_ADDRESS> keys) {
        QList<KEY_ADDRESS> list;
        for (const KEY_ADDRESS& key : keys)
            list << key;
        return intf_addrMerge(list);
    }

    Device device;
    bool connected = true;
};

TEST_F(Conversation, PollingBringsEveryTypeToTheHost) {
    device.bits = {{0x1002, true}, {0x1103, true}, {0x1020, true},
                   {0x1040, true}, {0x1062, true}, {0x1123, true}};
    device.registers = {{0x1202, 11}, {0x1203, 12}, {0xF325, 13}, {0xD103, 14},
                        {0xDE07, 15}, {0x1300, 16}, {0x1309, 17}, {0x1301, 18}};
    device.status = 19;
    EXPECT_EQ(15, monitor({entry(1, "CW_bit", 2, 1), entry(1, "SW_bit", 3, 1), entry(1, "DO", 1, 1),
                           entry(1, "RO", 1, 1), entry(1, "SDO", 3, 1), entry(1, "DI", 4, 1),
                           entry(1, "AI", 2, 1), entry(1, "FIN", 0, 1), entry(1, "F", 193, 1),
                           entry(1, "D", 59, 1), entry(1, "DE", 7, 1), entry(1, "CW", 0, 1),
                           entry(1, "SW", 0, 1), entry(1, "MOD", 1, 1), entry(1, "FAS", 0, 1)}));
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(1, step());
    EXPECT_EQ(15u, takeReports().size());
    EXPECT_EQ(1, shownByte("CW_bit", 2));
    EXPECT_EQ(1, shownByte("SW_bit", 3));
    EXPECT_EQ(1, shownByte("DO", 1));
    EXPECT_EQ(1, shownByte("RO", 1));
    EXPECT_EQ(1, shownByte("SDO", 3));
    EXPECT_EQ(1, shownByte("DI", 4));
    EXPECT_EQ(11, shownWord("AI", 2));
    EXPECT_EQ(12, shownWord("FIN", 0));
    EXPECT_EQ(13, shownWord("F", 193));
    EXPECT_EQ(14, shownWord("D", 59));
    EXPECT_EQ(15, shownWord("DE", 7));
    EXPECT_EQ(16, shownWord("CW", 0));
    EXPECT_EQ(17, shownWord("SW", 0));
    EXPECT_EQ(18, shownWord("MOD", 1));
    EXPECT_EQ(19, shownByte("FAS", 0));
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(1, step());
    EXPECT_TRUE(takeReports().empty()) << "nothing changed in the second round";
}

TEST_F(Conversation, AChangedWordIsReportedOnce) {
    monitor({entry(1, "AI", 0, 4)});
    steps(2);
    EXPECT_TRUE(takeReports().empty());
    device.registers[0x1202] = 500;
    steps(3);
    EXPECT_EQ((Reports{{1, 1, "AI", 2}}), takeReports());
    EXPECT_EQ(500, shownWord("AI", 2));
}

TEST_F(Conversation, AWriteIsShownAtOnceSentFirstAndConfirmed) {
    monitor({entry(1, "F", 193, 1), entry(1, "SW", 0, 1)});
    steps(2);
    writeWord("F", 193, 500);
    EXPECT_EQ((Reports{{1, 1, "F", 193}}), takeReports());
    EXPECT_EQ(500, shownWord("F", 193));
    EXPECT_EQ(0, device.registers[0xF325]);
    EXPECT_EQ(1, step());
    EXPECT_EQ(500, device.registers[0xF325]);
    steps(4);
    EXPECT_EQ(500, shownWord("F", 193));
    EXPECT_TRUE(takeReports().empty()) << "reading the written value back changes nothing";
}

TEST_F(Conversation, ALongParameterWriteArrivesBlockByBlock) {
    init("1#0#0#3#8");
    unsigned char data[40];
    for (int i = 0; i < 40; ++i)
        data[i] = static_cast<unsigned char>(i + 1);
    intf_setData(1, "F", 0, 10, data, 2);
    EXPECT_EQ(QString("write F0(8)"), whatIsSent());
    EXPECT_EQ(1, step());
    EXPECT_EQ(QString("write F8(2)"), whatIsSent());
    EXPECT_EQ(1, step());
    EXPECT_EQ(-1, step());
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(2 * i + 1 + 256 * (2 * i + 2), device.registers[0xF000 + i]);
        EXPECT_EQ(2 * i + 1 + 256 * (2 * i + 2), shownWord("F", i));
    }
}

TEST_F(Conversation, ABroadcastCoilWriteNeedsNoReply) {
    unsigned char on = 1;
    intf_setData(0, "RO", 1, 1, &on, 2);
    EXPECT_EQ(1, step());
    EXPECT_TRUE(device.bits[0x1040]);
    EXPECT_EQ(-1, step());
}

TEST_F(Conversation, AOneOffReadIsSplitAndItsEndReportedOnce) {
    init("1#0#0#3#10");
    for (int i = 0; i < 25; ++i)
        device.registers[0x1300 + i] = 100 + i;
    monitor({entry(1, "SW", 0, 1)});
    KEY_ADDRESS key = entry(1, "CW", 0, 25);
    EXPECT_EQ(DX7_DONE, intf_addConditionRead(key, 3));
    EXPECT_EQ(1, step());
    EXPECT_EQ(1, step());
    EXPECT_TRUE(takeReports().empty());
    EXPECT_EQ(QString("read CW20(5)"), whatIsSent());
    EXPECT_EQ(1, step());
    EXPECT_EQ((Reports{{-1, -1, "-1", 0}}), takeReports());
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(100 + i, shownWord("CW", i));
    EXPECT_EQ(QString("read SW0(1)"), whatIsSent());
}

TEST_F(Conversation, AOneOffReadThatFailsDropsAllThatWait) {
    init("1#0#0#2#10");
    KEY_ADDRESS key = entry(1, "CW", 0, 25);
    intf_addConditionRead(key, 3);
    connected = false;
    EXPECT_EQ(8, step());
    EXPECT_EQ(2, step());
    EXPECT_TRUE(takeReports().empty()) << "the piece that failed is not the one queued last";
    EXPECT_EQ(-1, step());
    key.length = 3;
    intf_addConditionRead(key, 3);
    EXPECT_EQ(8, step());
    EXPECT_EQ(2, step());
    EXPECT_EQ((Reports{{-1, -1, "-1", -1}}), takeReports());
}

TEST_F(Conversation, TwoMissedRepliesAreForgivenByTheThird) {
    monitor({entry(1, "CW", 0, 1), entry(1, "SW", 0, 1)});
    const QString first = whatIsSent();
    connected = false;
    EXPECT_EQ(8, step());
    EXPECT_EQ(8, step());
    EXPECT_EQ(first, whatIsSent());
    connected = true;
    EXPECT_EQ(1, step());
    EXPECT_NE(first, whatIsSent());
}

TEST_F(Conversation, ADeadLineIsPolledOnBlockByBlockAndRecovers) {
    device.registers = {{0x1300, 5}, {0x1309, 6}};
    monitor({entry(1, "CW", 0, 1), entry(1, "SW", 0, 1)});
    steps(2);
    EXPECT_EQ(2u, takeReports().size());
    connected = false;
    device.registers = {{0x1300, 7}, {0x1309, 8}};
    for (int i = 0; i < 4; ++i) {
        const QString block = whatIsSent();
        EXPECT_EQ(8, step());
        EXPECT_EQ(8, step());
        EXPECT_EQ(block, whatIsSent());
        EXPECT_EQ(2, step());
        EXPECT_NE(block, whatIsSent());
    }
    EXPECT_TRUE(takeReports().empty());
    EXPECT_EQ(5, shownWord("CW", 0)) << "the last value read stays";
    connected = true;
    steps(2);
    EXPECT_EQ(2u, takeReports().size());
    EXPECT_EQ(7, shownWord("CW", 0));
    EXPECT_EQ(8, shownWord("SW", 0));
}

TEST_F(Conversation, AWriteOnADeadLineFallsBackAndTheNextSucceeds) {
    device.registers[0xF003] = 40;
    monitor({entry(1, "F", 3, 1)});
    steps(1);
    takeReports();
    connected = false;
    writeWord("F", 3, 41);
    EXPECT_EQ(41, shownWord("F", 3));
    EXPECT_EQ(8, step());
    EXPECT_EQ(8, step());
    EXPECT_EQ(2, step());
    EXPECT_EQ(40, shownWord("F", 3));
    EXPECT_EQ((Reports{{1, 1, "F", 3}, {1, 1, "F", 3}, {1, 1, "F", 3}}), takeReports());
    connected = true;
    writeWord("F", 3, 42);
    EXPECT_EQ(1, step());
    EXPECT_EQ(42, device.registers[0xF003]);
    EXPECT_EQ(42, shownWord("F", 3));
}

TEST_F(Conversation, AFasterHostThanLineLosesNothingButOlderValues) {
    monitor({entry(1, "SW", 0, 1)});
    writeWord("MOD", 1, 1);
    for (int value = 0; value < 200; ++value)
        writeWord("MOD", 2, value);
    EXPECT_EQ(1, step());
    EXPECT_EQ(1, step());
    EXPECT_EQ(199, device.registers[0x1302]);
    EXPECT_EQ(QString("read SW0(1)"), whatIsSent());
}

TEST_F(Conversation, StartingAnewForgetsPlanQueuesAndValues) {
    device.registers[0x1300] = 5;
    monitor({entry(1, "CW", 0, 1)});
    steps(1);
    writeWord("MOD", 1, 1);
    KEY_ADDRESS key = entry(1, "CW", 0, 2);
    intf_addConditionRead(key, 3);
    init("2#0#0#3#64");
    EXPECT_EQ(-1, step());
    EXPECT_EQ(0, shownWord("CW", 0));
    takeReports();
    monitor({entry(1, "CW", 0, 1)});
    EXPECT_EQ(1, step());
    EXPECT_EQ((Reports{{2, 1, "CW", 0}}), takeReports());
}

void damageOneByte(QByteArray& reply, std::mt19937& random) {
    const int index = static_cast<int>(random() % static_cast<unsigned>(reply.size()));
    reply[index] = static_cast<char>(reply.at(index) ^ static_cast<char>(1 + random() % 255));
}

// The line drops, cuts, corrupts and doubles replies and the host writes all the while. Every judgement must
// be the one the reply deserves, and once the line is quiet again the host sees what the device holds.
TEST_F(Conversation, ANoisyLineNeverBringsAWrongValue) {
    std::mt19937 random(99);
    monitor({entry(1, "F", 0, 9), entry(1, "MOD", 1, 2), entry(1, "AI", 0, 4), entry(1, "DI", 1, 6)});
    for (int turn = 0; turn < 3000; ++turn) {
        device.registers[0x1200 + turn % 4] = turn;
        device.bits[0x1120 + turn % 6] = turn % 7 < 3;
        if (turn % 5 == 0)
            writeWord(turn % 2 == 0 ? "F" : "MOD", turn % 2 == 0 ? turn % 9 : 1 + turn % 2, turn);
        FRAME_PRO frame;
        ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
        QByteArray reply = device.reply(frame);
        const unsigned fault = random() % 8;
        if (fault == 0)
            reply.clear();
        else if (fault == 1)
            reply.chop(1 + static_cast<int>(random() % 3));
        else if (fault == 2)
            damageOneByte(reply, random);
        else if (fault == 3)
            reply += reply;
        const int result = answer(reply);
        if (fault < 4) {
            ASSERT_TRUE(result == 8 || result == 2) << "turn " << turn;
        } else {
            ASSERT_EQ(1, result) << "turn " << turn;
        }
    }
    steps(3000);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(device.registers[0xF000 + i], shownWord("F", i));
    for (int i = 1; i <= 2; ++i)
        EXPECT_EQ(device.registers[0x1300 + i], shownWord("MOD", i));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(device.registers[0x1200 + i], shownWord("AI", i));
    for (int i = 1; i <= 6; ++i)
        EXPECT_EQ(device.bits[0x111F + i] ? 1 : 0, shownByte("DI", i));
}

}  // namespace
