/// \file
/// Recordings as Recorder makes them, read one frame at a time.
#ifndef DX7_HOST_RECORDING_H
#define DX7_HOST_RECORDING_H

#include <QByteArray>
#include <QString>
#include <QVector>
#include <memory>

namespace dx7 {

/// The link type of a recording, and the tags before each frame.
constexpr int LINK_TYPE_EXPORTED_PDU = 252;
constexpr int TAG_HEAD_BYTES = 4;
constexpr int TAG_END = 0;
constexpr int TAG_DISSECTOR = 12;
constexpr int TAG_SOURCE_PORT = 25;
constexpr int TAG_DESTINATION_PORT = 26;
constexpr int DEVICE_PORT = 502;
constexpr int MASTER_PORT = 50000;
constexpr char DISSECTOR[] = "mbrtu";

/// One frame of a recording.
struct RecordedFrame {
    /// In us since 1970, UTC; seconds of 32 bits are taken without a sign, up to 2106.
    qint64 timeUs = 0;
    bool request = false;
    /// Station to CRC.
    QByteArray bytes;
};

/// Owns the open file and holds one frame in memory, however long the recording is. One thread at a time.
class RecordingReader {
public:
    /// Opens `path`; "-" is standard input. Throws UsageError when it cannot be read or is not such a
    /// recording.
    explicit RecordingReader(const QString& path);
    ~RecordingReader();

    /// The next frame; other packets are passed over. False at the end, or where the recording breaks off;
    /// `*frame` is of no meaning then.
    bool next(RecordedFrame* frame);

    /// Why the recording breaks off; empty at its proper end.
    const QString& breaksOff() const { return breaksOff_; }

private:
    Q_DISABLE_COPY(RecordingReader)
    struct File;
    std::unique_ptr<File> file_;
    QString breaksOff_;
};

}  // namespace dx7

#endif
