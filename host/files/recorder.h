/// \file
/// Recording a line into a capture file, for Wireshark and for `dx7 replay`.
///
/// Link type 252 (exported PDU): big-endian tags before each whole frame name the dissector (mbrtu) and two
/// ports by which a request and a reply are told apart; the device's side is port 502.
#ifndef DX7_HOST_RECORDER_H
#define DX7_HOST_RECORDER_H

#include <QString>
#include <functional>
#include <memory>

#include "host/exchange/frame_tap.h"

namespace dx7 {

/// Writes every frame at the time it passes. The file is readable up to the last frame at any time, and known
/// to be complete on the disk when close() has returned. One thread at a time.
class Recorder : public FrameTap {
public:
    /// Creates or overwrites `path`; a pipe or device gets the recording as it goes. Throws UsageError when
    /// that fails. A wait for the reader of a pipe, now or later, ends with a LineError when `stop` says so.
    explicit Recorder(
        const QString& path, const std::function<bool()>& stop = [] { return false; });
    ~Recorder() override;

    /// No frame may follow. Throws LineError when the disk may not have all frames; after such an error of a
    /// frame only, it is not said again.
    void close();

    /// A frame that passed `agoUs` microseconds ago. Both throw LineError when the file cannot be written any
    /// more, as on a full disk.
    void requestSent(const QByteArray& frame, qint64 agoUs = 0) override;
    void frameReceived(const QByteArray& frame, qint64 agoUs = 0) override;

private:
    Q_DISABLE_COPY(Recorder)
    void write(const QByteArray& frame, bool request, qint64 agoUs);

    struct File;
    std::unique_ptr<File> file_;
    /// Writing failed once, and the error was told.
    bool failed_ = false;
};

}  // namespace dx7

#endif
