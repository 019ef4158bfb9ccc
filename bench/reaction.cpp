/// \file
/// How soon an operator's write is on the wire while a line of 9600 baud is busy polling 200 items.
///
/// The operator is a thread of its own that leaves writes on a desk at random moments; the thread of the line
/// looks at the desk before each turn, and a turn ends with the silence before the next request. The delay is
/// compared with what the transaction or status query in flight and the silence after it make unavoidable.
#include <QCoreApplication>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "device_process.h"
#include "host/driver/driver_library.h"
#include "host/driver/driver_session.h"
#include "host/line/epoll_poller.h"
#include "host/poll/line_runner.h"
#include "program.h"
#include "sample.h"

namespace {

using namespace dx7bench;

const int BAUD = 9600;
const int ITEMS = 200;
// The operator's pauses, in microseconds: so unlike a transaction's 42 ms that moments fall anywhere in it.
const int SHORTEST_PAUSE = 50000;
const int LONGEST_PAUSE = 250000;

// Polls before the operator begins: a cycle, and its proof.
const int WARM_UP = 30;
const qint64 TURN_US = 1000000;

struct Sent {
    qint64 sentUs;
    qint64 endUs;
};

/// One write: when it was laid on the desk, and when its request went out.
struct Delay {
    double wholeMs;
    double overheadMs;
};

/// Where the operator leaves a write for the thread of the line.
class Desk {
public:
    void leave(qint64 nowUs) {
        const std::lock_guard<std::mutex> lock(mutex_);
        issuedUs_ = nowUs;
    }
    std::optional<qint64> take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::optional<qint64> taken;
        taken.swap(issuedUs_);
        return taken;
    }

private:
    std::mutex mutex_;
    std::optional<qint64> issuedUs_;
};

class Reaction {
public:
    explicit Reaction(const DeviceProcess& device)
        : settings_(settingsOf(device)),
          library_(qEnvironmentVariableIsSet("DX7_DRIVER") ? QString() : QStringLiteral(DX7_LIBRARY)),
          session_(library_.functions(), dx7::propertyText(settings_, 0)),
          line_(dx7::makeLine(settings_)),
          loop_(session_, settings_),
          engine_(session_, loop_, settings_, clock_.nowUs()),
          notation_(library_.functions()),
          silenceUs_(dx7::silentIntervalUs(settings_)) {
        dx7::EngineEvents events;
        events.transaction = [this](const dx7::Transaction& transaction) { note(transaction); };
        events.note = [this](const dx7::ExchangeNote& met) { note(met); };
        engine_.setEvents(events);
        engine_.watch(notation_.points(QStringLiteral("F:0.0.00,%1").arg(ITEMS)), clock_.nowUs());
    }

    std::vector<Delay> run(int writes) {
        if (!line_->open()) {
            throw std::runtime_error("the line does not open: " + line_->failure().toStdString());
        }
        dx7::LineRunner runner(engine_, *line_, poller_);
        while (polls_ < WARM_UP) {
            runner.turn(clock_.nowUs() + TURN_US);
        }
        std::atomic<bool> over{false};
        std::thread operatorThread([&] { operate(over); });
        while (static_cast<int>(delays_.size()) < writes) {
            if (const auto issued = desk_.take()) {
                issuedUs_ = *issued;
                engine_.write(notation_.write(QStringLiteral("MOD:1=%1").arg(delays_.size() % 1000)), {});
            }
            runner.turn(clock_.nowUs() + TURN_US);
        }
        over = true;
        operatorThread.join();
        return delays_;
    }

private:
    static dx7::LineSettings settingsOf(const DeviceProcess& device) {
        dx7::LineSettings settings;
        settings.carrier = dx7::Carrier::Serial;
        settings.serialPort = QString::fromStdString(device.line());
        settings.baud = BAUD;
        return settings;
    }

    void operate(const std::atomic<bool>& over) {
        std::mt19937 random = repeatableRandom();
        std::uniform_int_distribution<qint64> pause(SHORTEST_PAUSE, LONGEST_PAUSE);
        dx7::SystemClock clock;
        while (!over) {
            clock.sleepUntilUs(clock.nowUs() + pause(random));
            // The next one waits until the last one is through: queues are not what is measured.
            if (!waiting_.exchange(true)) {
                desk_.leave(clock.nowUs());
            }
        }
    }

    void note(const dx7::Transaction& transaction) {
        if (!transaction.good()) {
            throw std::runtime_error("a reply was refused");
        }
        if (transaction.frame.opKind == dx7::TAG_WRITE) {
            noteWrite(transaction.sentUs);
            waiting_ = false;
        } else {
            ++polls_;
        }
        remember(transaction.sentUs, transaction.endUs);
    }

    void note(const dx7::ExchangeNote& met) {
        if (met.kind == dx7::ExchangeNote::QueryAnswer) {
            const qint64 nowUs = clock_.nowUs();
            remember(nowUs - met.afterUs, nowUs);
        }
    }

    void remember(qint64 sentUs, qint64 endUs) {
        recent_[0] = recent_[1];
        recent_[1] = {sentUs, endUs};
    }

    /// Unavoidable is the rest of what was on the wire at that moment, and the silence after it.
    void noteWrite(qint64 sentUs) {
        qint64 earliestUs = issuedUs_;
        for (const Sent& before : recent_) {
            if (before.sentUs <= issuedUs_) {
                earliestUs = std::max(earliestUs, before.endUs + silenceUs_);
            }
        }
        delays_.push_back({1e-3 * static_cast<double>(sentUs - issuedUs_),
                           1e-3 * static_cast<double>(sentUs - earliestUs)});
    }

    int argc_ = 1;
    char name_[9] = "reaction";
    char* argv_[2] = {name_, nullptr};
    QCoreApplication application_{argc_, argv_};
    dx7::LineSettings settings_;
    dx7::SystemClock clock_;
    dx7::DriverLibrary library_;
    dx7::DriverSession session_;
    std::unique_ptr<dx7::Line> line_;
    dx7::EpollPoller poller_;
    dx7::CommLoop loop_;
    dx7::PollEngine engine_;
    dx7::ItemNotation notation_;
    qint64 silenceUs_;
    Desk desk_;
    std::atomic<bool> waiting_{false};
    qint64 issuedUs_ = 0;
    int polls_ = 0;
    Sent recent_[2] = {{0, 0}, {0, 0}};
    std::vector<Delay> delays_;
};

void printResult(const std::string& what, const std::vector<double>& milliseconds) {
    print({{"what", what},
           {"writes", milliseconds.size()},
           {"p50_ms", quantile(milliseconds, 0.5)},
           {"p90_ms", quantile(milliseconds, 0.9)},
           {"p99_ms", quantile(milliseconds, 0.99)},
           {"max_ms", quantile(milliseconds, 1)}});
}

void run(const Options& options) {
    const int writes = options.quick ? 10 : 400;
    say("reaction: " + std::to_string(writes) + " writes while polling at 9600 baud");
    const DeviceProcess device(BAUD);
    Reaction reaction(device);
    std::vector<double> whole;
    std::vector<double> overhead;
    for (const Delay& delay : reaction.run(writes)) {
        whole.push_back(delay.wholeMs);
        overhead.push_back(delay.overheadMs);
    }
    printResult("delay", whole);
    printResult("host overhead", overhead);
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}
