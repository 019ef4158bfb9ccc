// QtSerialBus's client, a Modbus implementation of its own, against dx7-device, and on values that dx7 wrote.
#include <QCoreApplication>
#include <QModbusDataUnit>
#include <QModbusReply>
#include <QModbusRtuSerialMaster>
#include <QSerialPort>
#include <QTimer>
#include <QVariant>

#include "rig.h"

namespace {

class SerialBus : public testing::Test {
protected:
    void SetUp() override {
        const QString path = QString::fromStdString(rig.line()[1]);
        master.setConnectionParameter(QModbusDevice::SerialPortNameParameter, path);
        master.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, QSerialPort::Baud9600);
        master.setConnectionParameter(QModbusDevice::SerialDataBitsParameter, QSerialPort::Data8);
        master.setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::NoParity);
        master.setConnectionParameter(QModbusDevice::SerialStopBitsParameter, QSerialPort::OneStop);
        master.setTimeout(REPLY_TIMEOUT_MS);
        master.setNumberOfRetries(0);
    }

    void connect() {
        ASSERT_TRUE(master.connectDevice()) << master.errorString().toStdString();
        ASSERT_EQ(QModbusDevice::ConnectedState, master.state());
    }

    /// The reply to a request, when it is there; it never comes later than the client's own timeout.
    std::unique_ptr<QModbusReply> finished(QModbusReply* reply) {
        std::unique_ptr<QModbusReply> owned(reply);
        while (owned && !owned->isFinished()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return owned;
    }

    std::vector<int> read(QModbusDataUnit::RegisterType table, int start, quint16 count) {
        const auto reply = finished(master.sendReadRequest(QModbusDataUnit(table, start, count), 1));
        std::vector<int> values;
        if (reply && reply->error() == QModbusDevice::NoError) {
            for (const quint16 value : reply->result().values()) {
                values.push_back(value);
            }
        }
        return values;
    }

    QModbusDevice::Error write(QModbusDataUnit::RegisterType table, int start,
                               const QVector<quint16>& values) {
        const auto reply = finished(master.sendWriteRequest(QModbusDataUnit(table, start, values), 1));
        return reply ? reply->error() : QModbusDevice::UnknownError;
    }

    int argc = 1;
    char name[20] = "end_to_end_tests";
    char* argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
    Rig rig{Carrier::PseudoTerminal};
    QModbusRtuSerialMaster master;
};

TEST_F(SerialBus, ReadsEveryTable) {
    rig.tell("set DO:2=1");
    rig.tell("set DI:3=1");
    rig.tell("set AI:1=-12");
    connect();
    EXPECT_EQ((std::vector<int>{0, 1}), read(QModbusDataUnit::Coils, 0x1020, 2));
    EXPECT_EQ((std::vector<int>{1}), read(QModbusDataUnit::DiscreteInputs, 0x1122, 1));
    EXPECT_EQ((std::vector<int>{65524}), read(QModbusDataUnit::InputRegisters, 0x1201, 1));
    EXPECT_EQ((std::vector<int>{325, 326}), read(QModbusDataUnit::HoldingRegisters, 0xF325, 2));
}

TEST_F(SerialBus, WritesWhatTheDeviceThenHolds) {
    connect();
    EXPECT_EQ(QModbusDevice::NoError, write(QModbusDataUnit::Coils, 0x1020, {1}));
    EXPECT_EQ(QModbusDevice::NoError, write(QModbusDataUnit::HoldingRegisters, 0x1301, {1234}));
    EXPECT_EQ(QModbusDevice::NoError, write(QModbusDataUnit::HoldingRegisters, 0xE320, {5, 6, 7}));
    EXPECT_EQ("DO:1@1 = 1", rig.tell("get DO:1"));
    EXPECT_EQ("MOD:1@1 = 1234", rig.tell("get MOD:1"));
    EXPECT_EQ("F:3.0.22@1 = 7", rig.tell("get F:3.0.22"));
}

TEST_F(SerialBus, IsToldOfAnException) {
    connect();
    const auto reply =
        finished(master.sendReadRequest(QModbusDataUnit(QModbusDataUnit::HoldingRegisters, 0xF00A, 1), 1));
    ASSERT_TRUE(reply);
    EXPECT_EQ(QModbusDevice::ProtocolError, reply->error());
    EXPECT_EQ(QModbusPdu::IllegalDataAddress, reply->rawResult().exceptionCode());
}

TEST_F(SerialBus, ReadsWhatDx7Wrote) {
    ASSERT_EQ(0, rig.dx7({"write", "DO:1=1", "CW:0=0x047F", "F:3.0.20,2=500,10"}).exitCode);
    connect();
    EXPECT_EQ((std::vector<int>{1, 0}), read(QModbusDataUnit::Coils, 0x1020, 2));
    EXPECT_EQ((std::vector<int>{0x047F}), read(QModbusDataUnit::HoldingRegisters, 0x1300, 1));
    EXPECT_EQ((std::vector<int>{500, 10}), read(QModbusDataUnit::HoldingRegisters, 0xF320, 2));
}

}  // namespace
