/// \file
/// The driver, and what a command needs to run a line with it.
#ifndef DX7_CLI_CONNECTION_H
#define DX7_CLI_CONNECTION_H

#include <QSet>
#include <functional>
#include <memory>

#include "host/cli/options.h"
#include "host/driver/driver_library.h"
#include "host/exchange/line_notices.h"
#include "host/files/line_file.h"
#include "host/files/recorder.h"
#include "host/line/clock.h"
#include "host/line/epoll_poller.h"
#include "host/poll/line_runner.h"

namespace dx7::cli {

/// The loaded driver with its tables.
struct Driver {
    explicit Driver(const CommonOptions& options);
    /// The default parameters as the driver reports them.
    QString parameter() const;
    /// The points that the arguments name: items, or names of tags in the file of -c; all its tags when there
    /// are no arguments. The write rules of the tags apply to items given as text, too. Warns of points
    /// beyond the driver's table. Throws UsageError.
    QVector<Point> points(const CommonOptions& options, const std::vector<std::string>& arguments) const;
    /// The writes that the arguments name: items or tags, each with its values. Throws UsageError, also for
    /// what a tag does not allow of its item.
    QVector<WriteRequest> writes(const CommonOptions& options,
                                 const std::vector<std::string>& arguments) const;

    /// The tags of the file of -c that are of the chosen line. Throws UsageError.
    QVector<LineTag> tags(const CommonOptions& options) const;

    DriverLibrary library;
    ItemNotation notation;
};

/// Warns of points beyond the driver's table.
void warnOfItemsBeyond(const QVector<Point>& points);

/// Opens the line of the settings; a signal ends the wait for it. Throws UsageError when that fails.
std::unique_ptr<Line> openLine(const LineSettings& settings, const CommonOptions& options);

/// An opened line with everything that runs on it.
class Connection {
public:
    /// Opens the line, and the recording when the options name one. Throws UsageError when that fails, or
    /// when the recording would overwrite what the command reads, before anything is sent.
    Connection(const Driver& loaded, const LineSettings& settings, const CommonOptions& options);
    /// Closes the recording, and prints why that failed, where closeRecording() was not called.
    ~Connection();

    /// Ends the recording, if there is one; nothing may be sent after that. Throws LineError when the disk
    /// may not have all of it.
    void closeRecording();

    /// Before anything is sent: a serial line is listened to, unless the options say that all is sent anyway.
    /// Where another master is heard, a signal comes or the line is lost, all operations are broken off, as
    /// runOperations() says.
    void listenFirst();

    PollEngine& engine() { return *engine_; }
    /// Sets what the command is told; the connection listens, too. Replaces what was set before.
    void setEvents(EngineEvents events);
    /// Every reading is told, whatever events are set.
    void setReading(std::function<void(const Reading&)> reading);
    const LineNotices& notices() const { return notices_; }
    /// Notices are not printed as they come.
    void keepNotices() { printNotices_ = false; }
    Clock& clock() { return clock_; }
    const LineSettings& settings() const { return settings_; }

    /// Runs until all queued operations have ended. False when they were broken off: a signal stopped the
    /// program, the line was lost or what passes could not be recorded. Then the operations that had not
    /// ended are abandoned with a phrase of it as reason ("the line was lost"), and so are all that are run
    /// later: nothing more is sent.
    bool runOperations();
    /// Lets the line run until `timeUs` on clock(), where nothing is to be begun. False when that was broken
    /// off as runOperations() is.
    bool waitUntil(qint64 timeUs);
    /// Why operations were broken off, as a sentence; empty as long as they were not.
    const QString& breakReason() const { return breakReason_; }
    /// The command waits for a lost line to come back: what its loss says of the other end is a notice.
    void awaitLostLine() { awaitsLostLine_ = true; }
    /// The other end of a TCP connection closed it again and again, and no byte has ever come: it speaks
    /// another protocol.
    bool closedAgainAndAgain() const { return silentLosses_ >= MOST_SILENT_LOSSES; }
    bool lineOpen() const { return runner_->lineOpen(); }
    /// Something was sent whose answer has not come.
    bool requestOut() const {
        return loop_.requestOut() || loop_.exchange().awaiting() || engine_->queryLost();
    }

    /// Operations in a row up to now whose station gave no sign of life.
    int silentOperations() const { return silentOperations_; }
    /// From now on such an operation abandons those that are queued after it.
    void abandonAfterSilence() { abandonAfter_ = Abandon::Silence; }
    /// From now on, or no longer, one that is not answered does.
    void abandonAfterFailure(bool abandon) { abandonAfter_ = abandon ? Abandon::Failure : Abandon::Never; }
    /// Stations with such an operation.
    const QSet<int>& silentStations() const { return silentStations_; }
    /// One turn of the line, up to `untilUs` on clock(); at most 250 ms.
    void step(qint64 untilUs);
    /// Proves what is held, when nothing new is to be begun; a lost line ends that.
    void conclude();

private:
    enum class Abandon { Never, Silence, Failure };
    Q_DISABLE_COPY(Connection)
    bool runWhile(const std::function<bool()>& goesOn, qint64 untilUs);
    void turn(const std::function<bool()>& goesOn, qint64 untilUs);
    void breakOff(const QString& phrase, const QString& reason);
    void breakOffStopped();
    void breakOffLost();
    void watchSilence(const Transaction& transaction);
    void take(const ExchangeNote& note);
    void say(const QString& sentence);
    void watchLoss();
    void hear();

    SystemClock clock_;
    LineSettings settings_;
    bool listens_;
    DriverSession session_;
    EpollPoller poller_;
    std::unique_ptr<Line> line_;
    std::unique_ptr<Recorder> recorder_;
    CommLoop loop_;
    std::unique_ptr<PollEngine> engine_;
    std::unique_ptr<LineRunner> runner_;
    LineNotices notices_;
    EngineEvents events_;
    std::function<void(const Reading&)> reading_;
    bool printNotices_ = true;
    QString breakReason_;
    QString breakPhrase_;
    static constexpr int MOST_SILENT_LOSSES = 5;
    /// Losses in a row before any byte had come.
    int silentLosses_ = 0;
    bool awaitsLostLine_ = false;
    int silentOperations_ = 0;
    Abandon abandonAfter_ = Abandon::Never;
    QSet<int> silentStations_;
};

/// "station 3 did not answer", the reason that operations are abandoned with after a silence.
QString silencePhrase(int station);
/// What is known of a write that did not succeed, from its last transaction: "not sent: the line was lost
/// before that", "unknown: sent, but the line was lost before the acknowledgement; read it back", "exception
/// 2 (...)".
QString unwrittenText(const Transaction& transaction);
/// Whether such a write was not sent, or broken off: it has not failed.
bool leftOpen(const Transaction& transaction);

}  // namespace dx7::cli

#endif
