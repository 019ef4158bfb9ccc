/// \file
/// A log: a file of rows that grows for as long as the program runs, and is whole at each moment.
#ifndef DX7_HOST_LOG_FILE_H
#define DX7_HOST_LOG_FILE_H

#include <QByteArray>
#include <QString>
#include <optional>

#include "common/file_descriptor.h"
#include "host/files/background_sync.h"

namespace dx7 {

/// When a log begins a new file.
struct LogRotation {
    /// Before it would be larger, in bytes.
    std::optional<qint64> mostBytes;
    /// At each multiple of this span since 1970, UTC, in microseconds.
    std::optional<qint64> periodUs;
    /// How many of the files before are kept, the newest ones by their names, 1 at least; all of them without
    /// it.
    std::optional<int> keep;
};

/// "10MB", "500kB" or "1GB" (of 1000), 1 kB at least, or a time of a second at least, as durationUs() takes
/// it. Throws UsageError that names `what` and the text when it is neither.
LogRotation logRotation(const QString& text, const char* what);

/// Appends rows to a file that begins with `header`, makes it when there is none, and hands them to the
/// system with flush(), to the disk within a second of that.
///
/// The file that is full takes the name "log-20260131T120000.123Z.csv" for "log.csv", with the time of its
/// first row, or the first free millisecond after it, and a new one begins. A file that another program
/// renames or removes is given up with what it holds, and a new one begins in its place.
///
/// The rows are whole: where one cannot be written whole, the file is cut back to the one before. One
/// thread at a time.
class LogFile {
public:
    /// Rows begin with their time as isoUtcTime() gives it; their last two fields are "good" and nothing, or
    /// another word and why. Throws UsageError when the file
    /// cannot be opened, has another header, is in use as a log, or is no file; LineError when the disk does
    /// not take the header.
    LogFile(const QString& path, const QByteArray& header, const LogRotation& rotation);
    ~LogFile() { letGo(); }

    /// What was found on opening, as a sentence: the last row of an earlier run was cut short. Empty usually.
    const QString& notice() const { return notice_; }

    /// A row without its line break; `timeUs` is its time, in microseconds since 1970, UTC. Throws LineError
    /// when a file that is full cannot be put aside, and as flush() does.
    void add(const QByteArray& row, qint64 timeUs);
    /// Throws LineError when the rows cannot be written, or earlier ones may not be on the disk. Those that
    /// were not written are gone then.
    void flush();
    /// Flushes it; the disk has everything when this returns. Throws LineError. No row may follow.
    void close();

private:
    Q_DISABLE_COPY(LogFile)
    void open();
    void letGo();
    void readExisting(qint64 size);
    void readLastRow(qint64 size);
    void begin();
    bool isInPlace() const;
    void writeRows();
    bool full(const QByteArray& row, qint64 timeUs) const;
    void rotate();
    void removeOldest(const QByteArray& newest) const;
    [[noreturn]] void fail(const QString& what, int error) const;
    [[noreturn]] void refuse(const QString& why) const;

    /// As it was named.
    QString name_;
    /// Where its content is.
    QByteArray path_;
    QByteArray header_;
    QByteArray lineBreak_ = "\n";
    LogRotation rotation_;
    dx7common::FileDescriptor file_;
    bool regular_ = false;
    /// Of the file, without what is not written.
    qint64 bytes_ = 0;
    /// Of the first row and of the newest, in microseconds since 1970, UTC; empty while there is none, or its
    /// time cannot be told.
    std::optional<qint64> firstUs_;
    std::optional<qint64> newestUs_;
    bool hasRows_ = false;
    /// Rows that are not written.
    QByteArray rows_;
    BackgroundSync sync_;
    QString notice_;
};

}  // namespace dx7

#endif
