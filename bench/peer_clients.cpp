#include <modbus/modbus.h>

#include <QCoreApplication>
#include <QModbusDataUnit>
#include <QModbusReply>
#include <QModbusRtuSerialMaster>
#include <QSerialPort>
#include <QVariant>
#include <stdexcept>

#include "line_client.h"

namespace dx7bench {

namespace {

int baudOf(const LineSetup& setup) {
    return setup.baud > 0 ? setup.baud : UNPACED_BAUD;
}

class LibmodbusClient : public LineClient {
public:
    explicit LibmodbusClient(const LineSetup& setup)
        : context_(modbus_new_rtu(setup.tcpPort > 0 ? "none" : setup.path.c_str(), baudOf(setup), 'N', 8, 1),
                   &modbus_free) {
        if (context_ == nullptr || modbus_set_slave(context_.get(), 1) != 0 || !connect(setup)) {
            throw std::runtime_error("libmodbus does not open the line");
        }
        modbus_set_response_timeout(context_.get(), 1, 0);
    }
    ~LibmodbusClient() override { modbus_close(context_.get()); }

    void read(int count) override {
        std::uint16_t values[BLOCK_REGISTERS];
        for (int i = 0; i < count; ++i, next_ = (next_ + 1) % LINE_BLOCKS) {
            if (modbus_read_registers(context_.get(), registerOf(next_), BLOCK_REGISTERS, values) !=
                BLOCK_REGISTERS) {
                throw std::runtime_error("libmodbus got a bad reply");
            }
        }
    }

private:
    bool connect(const LineSetup& setup) {
        return setup.tcpPort > 0 ? modbus_set_socket(context_.get(), connectedSocket(setup.tcpPort)) == 0
                                 : modbus_connect(context_.get()) == 0;
    }

    std::unique_ptr<modbus_t, decltype(&modbus_free)> context_;
    int next_ = 0;
};

class SerialBusClient : public LineClient {
public:
    explicit SerialBusClient(const LineSetup& setup) {
        master_.setConnectionParameter(QModbusDevice::SerialPortNameParameter,
                                       QString::fromStdString(setup.path));
        master_.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, baudOf(setup));
        master_.setConnectionParameter(QModbusDevice::SerialDataBitsParameter, QSerialPort::Data8);
        master_.setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::NoParity);
        master_.setConnectionParameter(QModbusDevice::SerialStopBitsParameter, QSerialPort::OneStop);
        master_.setTimeout(1000);
        master_.setNumberOfRetries(0);
        if (!master_.connectDevice() || master_.state() != QModbusDevice::ConnectedState) {
            throw std::runtime_error("QtSerialBus does not open the line");
        }
    }

    void read(int count) override {
        for (int i = 0; i < count; ++i, next_ = (next_ + 1) % LINE_BLOCKS) {
            const QModbusDataUnit block(QModbusDataUnit::HoldingRegisters, registerOf(next_),
                                        BLOCK_REGISTERS);
            const std::unique_ptr<QModbusReply> reply(master_.sendReadRequest(block, 1));
            while (reply && !reply->isFinished()) {
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            }
            if (!reply || reply->error() != QModbusDevice::NoError ||
                reply->result().valueCount() != BLOCK_REGISTERS) {
                throw std::runtime_error("QtSerialBus got a bad reply");
            }
        }
    }

private:
    int argc_ = 1;
    char name_[13] = "line_compare";
    char* argv_[2] = {name_, nullptr};
    QCoreApplication application_{argc_, argv_};
    QModbusRtuSerialMaster master_;
    int next_ = 0;
};

}  // namespace

std::unique_ptr<LineClient> makeLibmodbusClient(const LineSetup& setup) {
    return std::make_unique<LibmodbusClient>(setup);
}

std::unique_ptr<LineClient> makeSerialBusClient(const LineSetup& setup) {
    return std::make_unique<SerialBusClient>(setup);
}

}  // namespace dx7bench
