// A recording of every function code, a refusal and a bad CRC, decoded by tshark, which knows nothing of this
// project.
#include <QStandardPaths>

#include "host/files/recorder.h"
#include "scripted_line.h"
#include "tool.h"

using namespace dx7;

namespace {

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

// The fields of every packet, as tshark sees them.
QStringList decoded(const QString& file, const QStringList& fields) {
    QStringList arguments{latin("-r"), file,
                          latin("-o"), latin("mbrtu.tcp.port:502"),
                          latin("-o"), latin("mbrtu.crc_verification:TRUE"),
                          latin("-T"), latin("fields"),
                          latin("-E"), latin("separator=|")};
    for (const QString& field : fields) {
        arguments += {latin("-e"), field};
    }
    QProcess process;
    process.start(latin("tshark"), arguments);
    process.waitForFinished(40000);
    return QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

class RecordingTest : public ToolTest {
protected:
    void SetUp() override {
        if (QStandardPaths::findExecutable(latin("tshark")).isEmpty()) {
            GTEST_SKIP() << "tshark is not installed";
        }
    }
};

TEST_F(RecordingTest, FunctionCodesAddressesValuesAndCrcsAreFoundByTshark) {
    struct Exchange {
        const char* request;
        const char* reply;
    };
    const Exchange exchanges[] = {
        {"01 01 10 20 00 02", "01 01 01 01"},
        {"01 02 11 20 00 06", "01 02 01 15"},
        {"01 03 F3 25 00 01", "01 03 02 01 F4"},
        {"01 04 12 00 00 02", "01 04 04 00 0A 01 04"},
        {"01 05 10 20 FF 00", "01 05 10 20 FF 00"},
        {"01 06 13 00 04 7F", "01 06 13 00 04 7F"},
        {"01 10 E0 10 00 02 04 00 0A 01 02", "01 10 E0 10 00 02"},
        {"01 03 00 00 00 01", "01 83 02"},
    };
    const QString file = path("all.pcap");
    {
        Recorder recorder(file);
        for (const Exchange& exchange : exchanges) {
            recorder.requestSent(framed(hex(exchange.request)));
            recorder.frameReceived(framed(hex(exchange.reply)));
        }
        QByteArray corrupt = framed(hex("01 03 02 01 F4"));
        corrupt[3] = 0x55;
        recorder.requestSent(framed(hex("01 03 F3 25 00 01")));
        recorder.frameReceived(corrupt);
    }
    const QStringList codes = decoded(file, {latin("mbrtu.unit_id"), latin("modbus.func_code")});
    ASSERT_EQ(codes.size(), 18);
    const int functions[] = {1, 2, 3, 4, 5, 6, 16, 3, 3};
    for (int i = 0; i < 18; ++i) {
        EXPECT_EQ(codes.at(i), latin("1|%1").arg(functions[i / 2])) << i;
    }
    const QStringList addresses = decoded(file, {latin("modbus.reference_num")});
    EXPECT_EQ(addresses.value(0), QString::number(0x1020));
    const QStringList details = decoded(
        file, {latin("modbus.reference_num"), latin("modbus.exception_code"), latin("mbrtu.crc16.status")});
    EXPECT_TRUE(details.at(4).startsWith(QString::number(0xF325))) << details.at(4).toStdString();
    EXPECT_TRUE(details.at(12).startsWith(QString::number(0xE010))) << details.at(12).toStdString();
    EXPECT_TRUE(details.at(15).contains(latin("|2|"))) << details.at(15).toStdString();
    const QStringList values = decoded(file, {latin("modbus.regval_uint16")});
    EXPECT_TRUE(values.contains(latin("500")));
    EXPECT_TRUE(values.contains(latin("10,260")));
    EXPECT_TRUE(values.contains(latin("10,258")));
    for (int i = 0; i < 17; ++i) {
        EXPECT_TRUE(details.at(i).endsWith(latin("|1"))) << i << ": " << details.at(i).toStdString();
    }
    EXPECT_TRUE(details.at(17).endsWith(latin("|0"))) << details.at(17).toStdString();
}

}  // namespace
