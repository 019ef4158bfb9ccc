/// \file
/// A line on which requests of any kind are sent, one after the other.
#ifndef DX7_CLI_RAW_LINE_H
#define DX7_CLI_RAW_LINE_H

#include <memory>

#include "host/cli/connection.h"
#include "host/exchange/line_listener.h"
#include "host/exchange/raw_exchange.h"

namespace dx7::cli {

class RawLine {
public:
    /// Opens the line, and the recording when the options name one. Throws UsageError as Connection does.
    /// `options` outlives it.
    RawLine(const Driver& loaded, const LineSettings& settings, const CommonOptions& options);

    /// Closes the line and opens it with other settings. Throws UsageError when that fails; then this is
    /// the only call that is left.
    void reopen(const LineSettings& settings);
    /// What is heard on the line while nothing is sent; see listen().
    QVector<HeardPiece> hear();
    /// Listens to a serial line first, unless the options say otherwise. False when another master was heard,
    /// or the line was lost; that was said.
    bool listenFirst();
    /// Sends the frame and waits for what comes for it. Where the reply may be the adapter's echo, a status
    /// query tells which it is. Empty when a signal came, or the line was lost; that was said.
    std::optional<RawEnd> exchange(const QByteArray& frame);
    /// Drops what comes up to that time. False as exchange() is empty.
    bool waitUntil(qint64 timeUs);
    /// How often something came that answers nothing.
    int dropped() const { return exchange_.dropped(); }
    /// It was lost, and that was said.
    bool lost() const { return lost_; }
    qint64 nowUs() { return poller_.nowUs(); }
    /// Throws LineError when the disk may not have all of the recording.
    void closeRecording();

private:
    bool turn(qint64 untilUs);
    std::optional<RawEnd> send(const QByteArray& frame);
    RawEnd withoutDoubt(const RawEnd& end, const QByteArray& frame);

    LineSettings settings_;
    const CommonOptions& options_;
    bool listens_;
    EpollPoller poller_;
    std::unique_ptr<Line> line_;
    std::unique_ptr<Recorder> recorder_;
    RawExchange exchange_;
    bool lost_ = false;
};

}  // namespace dx7::cli

#endif
