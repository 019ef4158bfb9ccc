#include <QCoreApplication>
#include <stdexcept>

#include "comm_loop.h"
#include "driver_library.h"
#include "driver_session.h"
#include "line_client.h"

namespace dx7bench {

namespace {

dx7::LineSettings settingsOf(const LineSetup& setup) {
    dx7::LineSettings settings;
    settings.carrier = dx7::Carrier::Serial;
    settings.serialPort = QString::fromStdString(setup.path);
    settings.baud = setup.baud > 0 ? setup.baud : UNPACED_BAUD;
    settings.gapMs = setup.baud > 0 ? -1 : 0;
    return settings;
}

/// DX7_DRIVER comes first, as everywhere.
QString libraryPath() {
    return qEnvironmentVariableIsSet("DX7_DRIVER") ? QString() : QStringLiteral(DX7_LIBRARY);
}

class HostClient : public LineClient {
public:
    explicit HostClient(const LineSetup& setup)
        : settings_(settingsOf(setup)),
          library_(libraryPath()),
          session_(library_.functions(), dx7::propertyText(settings_, 0)),
          line_(dx7::makeLine(settings_, clock_)),
          loop_(library_.functions(), *line_, clock_, settings_) {
        QVector<dx7::ItemRange> items;
        for (int block = 0; block < LINE_BLOCKS; ++block) {
            const int address = GROUP_ITEMS * (block / SUBGROUPS_USED) + 10 * (block % SUBGROUPS_USED);
            items += dx7::ItemRange{1, QStringLiteral("F"), address, BLOCK_REGISTERS};
        }
        if (session_.merge(items).size() != LINE_BLOCKS) {
            throw std::runtime_error("the plan has not the blocks that were to be measured");
        }
        loop_.setObserver([this](const dx7::Transaction& transaction) { good_ += transaction.good(); });
        QString why;
        if (!line_->open(&why)) {
            throw std::runtime_error("the line does not open: " + why.toStdString());
        }
    }

    void read(int count) override {
        const int wanted = good_ + count;
        for (int i = 0; i < count; ++i) {
            loop_.step();
        }
        if (good_ != wanted) {
            throw std::runtime_error("the host loop got a bad reply");
        }
    }

private:
    int argc_ = 1;
    char name_[13] = "line_compare";
    char* argv_[2] = {name_, nullptr};
    QCoreApplication application_{argc_, argv_};
    dx7::LineSettings settings_;
    dx7::SystemClock clock_;
    dx7::DriverLibrary library_;
    dx7::DriverSession session_;
    std::unique_ptr<dx7::Line> line_;
    dx7::CommLoop loop_;
    int good_ = 0;
};

}  // namespace

std::unique_ptr<LineClient> makeHostClient(const LineSetup& setup) {
    return std::make_unique<HostClient>(setup);
}

}  // namespace dx7bench
