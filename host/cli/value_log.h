/// \file
/// The readings of a line as rows: in the file of --log, and for who prints them.
#ifndef DX7_CLI_VALUE_LOG_H
#define DX7_CLI_VALUE_LOG_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/cli/connection.h"
#include "host/files/log_file.h"

namespace dx7::cli {

/// What the command line said about the log.
struct LogOptions {
    std::string path;
    std::optional<std::string> rotate;
    std::optional<qint64> keep;
    bool changes = false;
};

void addLogOptions(CommandLine& command, LogOptions& options);
/// Refuses options of the log without a log, and what they cannot be. Throws UsageError.
void checkLogOptions(const LogOptions& options);

/// Takes the readings of a line, and tells each to the file and to `row`; with --changes those that differ
/// from the one before of their item. One thread at a time. All functions throw LineError when the file
/// cannot be written.
class ValueLog {
public:
    /// `wallUs` is the time of the row, in microseconds since 1970, UTC.
    using Row = std::function<void(const Point& point, const PointState& state, qint64 wallUs)>;

    /// Opens the file for readings of these points. Throws UsageError, also when it is one that the command
    /// reads or records into.
    ValueLog(const Driver& loaded, const LineSettings& settings, const CommonOptions& common,
             const LogOptions& options, const QVector<Point>& points);
    ~ValueLog();

    /// Every row is told, too.
    void setRow(Row row) { row_ = std::move(row); }
    void take(const Reading& reading);
    /// A row for each item of the table that had none.
    void takeNeverRead(const ValueTable& table, qint64 nowUs);
    /// Hands on what was taken.
    void flush();
    /// The disk has all rows when this returns. No reading may follow.
    void close();

private:
    struct Last {
        bool taken = false;
        PointState state;
    };
    Q_DISABLE_COPY(ValueLog)
    const bool changes_;
    const QVector<Point> points_;
    LogFile file_;
    /// close() was called, or the file failed.
    bool ended_ = false;
    Row row_;
    /// By point.
    std::vector<Last> last_;
    /// Of the line.
    QString line_;
};

}  // namespace dx7::cli

#endif
