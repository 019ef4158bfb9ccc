/// \file
/// The file of a recording, as the stream that libpcap writes to, with every step looked at.
#ifndef DX7_HOST_RECORDING_STREAM_H
#define DX7_HOST_RECORDING_STREAM_H

#include <sys/types.h>

#include <QString>
#include <cstdio>
#include <functional>

#include "common/file_descriptor.h"

namespace dx7 {

/// A file, or a pipe or device that takes the recording as it goes. What was flushed last is whole: where
/// more cannot be written, a regular file is cut back to it. One thread at a time.
class RecordingStream {
public:
    /// Creates or empties the file; waits for the reader of a pipe. Waits end when `stop`, which is asked
    /// again and again meanwhile, says so. Throws LineError then, and UsageError when the file cannot be
    /// made.
    RecordingStream(const QString& path, std::function<bool()> stop);
    /// stream() must be closed by then.
    ~RecordingStream() = default;

    /// The caller closes it, with fclose() or what calls that.
    std::FILE* stream() const { return stream_; }

    /// Hands on what was written to the stream. False when that failed, now or before.
    bool flush();
    /// Flushes it and, when it is a regular file, sees that content and name are on the disk. False when that
    /// failed, now or before, or when the file was removed meanwhile. Close the stream next, and look at
    /// failure() again.
    bool finish();
    /// What failed first; empty when nothing did.
    const QString& failure() const { return failure_; }
    /// Whether that was the end of a wait by `stop`.
    bool stopped() const { return stopped_; }

private:
    Q_DISABLE_COPY(RecordingStream)
    static ssize_t writeCookie(void* cookie, const char* bytes, size_t count);
    static int closeCookie(void* cookie);
    bool write(const char* bytes, size_t count);
    bool writeToReader(const char* bytes, size_t count);
    void open();
    bool fail(const QString& why);

    QByteArray path_;
    std::function<bool()> stop_;
    dx7common::FileDescriptor file_;
    bool regular_ = false;
    std::FILE* stream_ = nullptr;
    qint64 written_ = 0;
    qint64 whole_ = 0;
    QString failure_;
    bool stopped_ = false;
};

}  // namespace dx7

#endif
