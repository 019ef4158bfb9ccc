/// \file
/// A line that is listened to.
#ifndef DX7_CLI_LISTEN_LINE_H
#define DX7_CLI_LISTEN_LINE_H

#include <functional>

#include "host/cli/connection.h"
#include "host/exchange/bus_watch.h"

namespace dx7::cli {

/// A line on which nothing is sent. Times in microseconds.
class ListenLine {
public:
    /// `options` outlives it.
    ListenLine(const LineSettings& settings, const CommonOptions& options);

    /// Opens the line for reading alone, and the recording when the options name one. Throws UsageError as
    /// Connection does. What came before is dropped.
    void open();
    /// As long as `goesOn` says so, which is asked before each turn of 50 ms at most, and no signal comes;
    /// until `untilUs` on heardUs() at the latest, where it is given. False after the loss of the line.
    /// Passes on the LineError of what cannot be written.
    bool run(std::optional<qint64> untilUs, const std::function<bool()>& goesOn);
    /// Tells what is left. The same errors.
    void finish();
    /// Throws LineError when the disk may not have all of it.
    void closeRecording();

    const BusWatch& watch() const { return watch_; }
    /// Since the listening began.
    qint64 heardUs() { return poller_.nowUs() - startUs_; }
    /// Whether any byte came.
    bool heard() const { return heard_; }
    /// How often the port was not read for so long that bytes may be lost: the output was not taken.
    int stalls() const { return stalls_; }
    /// Why the line was lost.
    QString failure() const { return line_->failure(); }
    /// What is to be known of a port whose RTS may switch a transmitter on; empty where there is nothing.
    QString rtsText() const;

private:
    void dropOld();
    bool turn(std::optional<qint64> untilUs);
    void take();

    LineSettings settings_;
    const CommonOptions& options_;
    EpollPoller poller_;
    std::unique_ptr<Line> line_;
    std::unique_ptr<Recorder> recorder_;
    BusParser parser_;
    BusWatch watch_;
    QByteArray bytes_;
    qint64 startUs_ = 0;
    qint64 readUs_ = 0;
    int stalls_ = 0;
    bool heard_ = false;
};

}  // namespace dx7::cli

#endif
