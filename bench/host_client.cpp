#include <QCoreApplication>
#include <stdexcept>

#include "host/driver/driver_library.h"
#include "host/driver/driver_session.h"
#include "host/exchange/frame_tap.h"
#include "host/exchange/rtu_frame.h"
#include "host/line/epoll_poller.h"
#include "host/poll/line_runner.h"
#include "line_client.h"

namespace dx7bench {

namespace {

const qint64 TURN_US = 1000000;
// A counter as data: the query and its answer are this long then. The other kind is 4 bytes and 5.
const int DIAGNOSTIC_BYTES = 8;
const int STATUS_BYTES = 4;

dx7::LineSettings settingsOf(const LineSetup& setup) {
    dx7::LineSettings settings;
    settings.baud = setup.baud > 0 ? setup.baud : UNPACED_BAUD;
    if (setup.baud <= 0) {
        settings.gapMs = 0;
    }
    if (setup.tcpPort > 0) {
        settings.carrier = dx7::Carrier::Tcp;
        settings.tcpHost = QStringLiteral("127.0.0.1");
        settings.tcpPort = setup.tcpPort;
    } else {
        settings.carrier = dx7::Carrier::Serial;
        settings.serialPort = QString::fromStdString(setup.path);
    }
    return settings;
}

/// DX7_DRIVER comes first, as everywhere.
QString libraryPath() {
    return qEnvironmentVariableIsSet("DX7_DRIVER") ? QString() : QStringLiteral(DX7_LIBRARY);
}

/// Counts the queries that go out.
class QueryMeter : public dx7::FrameTap {
public:
    void requestSent(const QByteArray& frame, qint64) override {
        const int function = dx7::byteAt(frame, 1);
        if (function == dx7::DIAGNOSTICS || function == dx7::READ_EXCEPTION_STATUS) {
            extra.queries += 1;
            extra.bytes += function == dx7::DIAGNOSTICS ? 2 * DIAGNOSTIC_BYTES
                                                        : STATUS_BYTES + int(dx7::EXCEPTION_FRAME_BYTES);
        }
    }
    void frameReceived(const QByteArray&, qint64) override {}

    Extra extra;
};

class HostClient : public LineClient {
public:
    explicit HostClient(const LineSetup& setup)
        : settings_(settingsOf(setup)),
          library_(libraryPath()),
          session_(library_.functions(), dx7::propertyText(settings_, 0)),
          line_(dx7::makeLine(settings_)),
          loop_(session_, settings_),
          engine_(session_, loop_, settings_, clock_.nowUs()),
          runner_(openedLine()) {
        dx7::EngineEvents events;
        events.transaction = [this](const dx7::Transaction& transaction) {
            ++done_;
            good_ += transaction.good() ? 1 : 0;
        };
        engine_.setEvents(events);
        loop_.setTap(&meter_);
        engine_.watch(points(), clock_.nowUs());
    }

    void read(int count) override {
        const int target = done_ + count;
        while (done_ < target) {
            runner_.turn(poller_.nowUs() + TURN_US);
        }
        if (good_ != done_) {
            throw std::runtime_error("the host got a bad reply");
        }
        if (engine_.plan().blockCount() != LINE_BLOCKS) {
            throw std::runtime_error("the plan has not the blocks that were to be measured");
        }
    }

    Extra extra() const override { return meter_.extra; }

private:
    dx7::LineRunner openedLine() {
        if (!line_->open()) {
            throw std::runtime_error("the line does not open: " + line_->failure().toStdString());
        }
        return {engine_, *line_, poller_};
    }

    QVector<dx7::Point> points() const {
        const dx7::ItemNotation notation(library_.functions());
        dx7::Point point;
        point.type = notation.type(QStringLiteral("F"));
        QVector<dx7::Point> all;
        for (int i = 0; i < LINE_BLOCKS * BLOCK_REGISTERS; ++i) {
            const int block = i / BLOCK_REGISTERS;
            point.address = GROUP_ITEMS * (block / SUBGROUPS_USED) +
                            BLOCK_REGISTERS * (block % SUBGROUPS_USED) + i % BLOCK_REGISTERS;
            all += point;
        }
        return all;
    }

    int argc_ = 1;
    char name_[13] = "line_compare";
    char* argv_[2] = {name_, nullptr};
    QCoreApplication application_{argc_, argv_};
    dx7::LineSettings settings_;
    dx7::SystemClock clock_;
    dx7::DriverLibrary library_;
    dx7::DriverSession session_;
    dx7::EpollPoller poller_;
    std::unique_ptr<dx7::Line> line_;
    dx7::CommLoop loop_;
    QueryMeter meter_;
    dx7::PollEngine engine_;
    dx7::LineRunner runner_;
    int done_ = 0;
    int good_ = 0;
};

}  // namespace

std::unique_ptr<LineClient> makeHostClient(const LineSetup& setup) {
    return std::make_unique<HostClient>(setup);
}

}  // namespace dx7bench
