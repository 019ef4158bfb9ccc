#include "host/cli/raw_line.h"

#include <algorithm>

#include "host/cli/listening.h"
#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/cli/protocol_hint.h"
#include "host/cli/stop_signal.h"
#include "host/error.h"
#include "host/exchange/rtu_frame.h"
#include "host/line/port_task.h"

namespace dx7::cli {

namespace {

// So often a signal is looked for.
constexpr qint64 SIGNAL_LOOK_US = 50000;
// A port that does not get rid of its output is not waited for any longer.
constexpr int CLOSING_MS = 2000;

}  // namespace

RawLine::RawLine(const Driver& loaded, const LineSettings& settings, const CommonOptions& options)
    : settings_(settings),
      options_(options),
      listens_(settings.carrier == Carrier::Serial && !options.anyway),
      exchange_(settings) {
    if (!options.recordPath.empty()) {
        checkRecordingPath(loaded, settings, options);
    }
    watchStopSignals();
    line_ = openLine(settings, options);
    poller_.add(*line_);
    if (!options.recordPath.empty()) {
        recorder_ = std::make_unique<Recorder>(text(options.recordPath), stopRequested);
        exchange_.setTap(recorder_.get());
    }
    line_->expect(1);
}

void RawLine::reopen(const LineSettings& settings) {
    if (line_) {
        poller_.remove(*line_);
        line_.reset();
        awaitPortTasks(CLOSING_MS);
    }
    settings_ = settings;
    line_ = openLine(settings, options_);
    poller_.add(*line_);
    line_->expect(1);
    exchange_ = RawExchange(settings);
    exchange_.setTap(recorder_.get());
}

QVector<HeardPiece> RawLine::hear() {
    return listen(*line_, poller_, settings_, recorder_.get());
}

bool RawLine::listenFirst() {
    if (!listens_) {
        return true;
    }
    const QVector<HeardPiece> heard = hear();
    const QString stray = strayText(heard);
    const QString master = otherMasterText(heard);
    for (const QString& said : {stray, master}) {
        if (!said.isEmpty()) {
            printError(said);
        }
    }
    return master.isEmpty() && turn(poller_.nowUs());
}

// Waits for bytes or that time, and takes what has come.
bool RawLine::turn(qint64 untilUs) {
    poller_.wait(std::min(untilUs, poller_.nowUs() + SIGNAL_LOOK_US));
    QByteArray bytes;
    const bool open = line_->isOpen() && line_->flush(poller_.nowUs()) && line_->receive(&bytes);
    if (!bytes.isEmpty()) {
        exchange_.feed(bytes.constData(), bytes.size(), poller_.nowUs());
    }
    if (stopRequested()) {
        printError(QStringLiteral("stopped"));
        return false;
    }
    if (!open) {
        lost_ = true;
        printError(lossText(settings_, line_->failure(), exchange_.firstBytes()));
        return false;
    }
    return true;
}

bool RawLine::waitUntil(qint64 timeUs) {
    do {
        if (!turn(timeUs)) {
            return false;
        }
    } while (poller_.nowUs() < timeUs);
    return true;
}

std::optional<RawEnd> RawLine::send(const QByteArray& frame) {
    if (!waitUntil(poller_.nowUs() + silentIntervalUs(settings_))) {
        return {};
    }
    line_->send(exchange_.begin(frame, poller_.nowUs()));
    while (!exchange_.end()) {
        if (!turn(exchange_.nextDueUs().value_or(0)) && !exchange_.end()) {
            return {};
        }
        exchange_.advance(poller_.nowUs());
    }
    return exchange_.end();
}

std::optional<RawEnd> RawLine::exchange(const QByteArray& frame) {
    const std::optional<RawEnd> end = send(frame);
    return end && end->perhapsEcho ? withoutDoubt(*end, frame) : end;
}

// An adapter that echoes the frame echoes a status query, too; the station's answer to that differs from the
// query.
RawEnd RawLine::withoutDoubt(const RawEnd& end, const QByteArray& frame) {
    QByteArray query = frame.left(1);
    query.append(static_cast<char>(READ_EXCEPTION_STATUS));
    appendCrc(query);
    const std::optional<RawEnd> told = send(query);
    RawEnd sure = end;
    if (told && told->echoed) {
        exchange_.setEcho(EchoMode::On);
        sure.kind = RawEnd::Nothing;
        sure.bytes.clear();
        sure.echoed = true;
        sure.perhapsEcho = false;
    } else if (told && (told->kind == RawEnd::Reply || told->kind == RawEnd::Nothing)) {
        exchange_.setEcho(EchoMode::Off);
        sure.perhapsEcho = false;
    }
    return sure;
}

void RawLine::closeRecording() {
    if (recorder_) {
        recorder_->close();
    }
}

}  // namespace dx7::cli
