#include "host/files/recorder.h"

#include <pcap/pcap.h>

#include "host/error.h"
#include "host/files/recording.h"
#include "host/files/recording_stream.h"
#include "host/files/wall_clock.h"

namespace dx7 {

namespace {

constexpr int SNAP_LENGTH = 65535;
constexpr int DISSECTOR_FIELD_BYTES = 8;

void addWord(QByteArray* bytes, int value) {
    *bytes += static_cast<char>(value >> 8);
    *bytes += static_cast<char>(value & 0xFF);
}

void addTag(QByteArray* bytes, int tag, const QByteArray& value) {
    addWord(bytes, tag);
    addWord(bytes, value.size());
    *bytes += value;
}

QByteArray portField(int port) {
    QByteArray field(2, 0);
    addWord(&field, port);
    return field;
}

QByteArray packet(const QByteArray& frame, bool request) {
    QByteArray bytes;
    addTag(&bytes, TAG_DISSECTOR, QByteArray(DISSECTOR).leftJustified(DISSECTOR_FIELD_BYTES, '\0'));
    addTag(&bytes, TAG_SOURCE_PORT, portField(request ? MASTER_PORT : DEVICE_PORT));
    addTag(&bytes, TAG_DESTINATION_PORT, portField(request ? DEVICE_PORT : MASTER_PORT));
    addTag(&bytes, TAG_END, QByteArray());
    return bytes + frame;
}

}  // namespace

struct Recorder::File {
    File(const QString& name, const std::function<bool()>& stop)
        : path(name),
          output(name, stop),
          handle(pcap_open_dead(LINK_TYPE_EXPORTED_PDU, SNAP_LENGTH)),
          dumper(pcap_dump_fopen(handle, output.stream())) {}
    ~File() {
        close();
        pcap_close(handle);
    }
    // False when a step before failed, or this one.
    bool close() {
        if (dumper != nullptr) {
            output.finish();
            pcap_dump_close(dumper);
            dumper = nullptr;
        }
        return output.failure().isEmpty();
    }

    QString path;
    RecordingStream output;
    pcap_t* handle;
    pcap_dumper_t* dumper;
};

Recorder::Recorder(const QString& path, const std::function<bool()>& stop)
    : file_(std::make_unique<File>(path, stop)) {
    if (file_->dumper != nullptr && file_->output.flush()) {
        return;
    }
    const QString why =
        QStringLiteral("the recording %1 cannot be written: %2")
            .arg(path, file_->dumper == nullptr ? QString::fromLocal8Bit(pcap_geterr(file_->handle))
                                                : file_->output.failure());
    if (file_->output.stopped()) {
        throw LineError(why);
    }
    throw UsageError(why);
}

Recorder::~Recorder() = default;

void Recorder::close() {
    if (!file_->close() && !failed_) {
        failed_ = true;
        throw LineError(QStringLiteral("the recording %1 may be incomplete: %2")
                            .arg(file_->path, file_->output.failure()));
    }
}

void Recorder::requestSent(const QByteArray& frame, qint64 agoUs) {
    write(frame, true, agoUs);
}

void Recorder::frameReceived(const QByteArray& frame, qint64 agoUs) {
    write(frame, false, agoUs);
}

void Recorder::write(const QByteArray& frame, bool request, qint64 agoUs) {
    const QByteArray bytes = packet(frame, request);
    pcap_pkthdr header = {};
    const qint64 timeUs = wallTimeUs() - agoUs;
    // The file has 32 bits for the seconds, without a sign. Where time_t has as many, they are the same ones.
    header.ts.tv_sec = static_cast<time_t>(timeUs / 1000000);
    header.ts.tv_usec = static_cast<suseconds_t>(timeUs % 1000000);
    header.caplen = header.len = static_cast<bpf_u_int32>(bytes.size());
    pcap_dump(reinterpret_cast<u_char*>(file_->dumper), &header,
              reinterpret_cast<const u_char*>(bytes.constData()));
    if (!file_->output.flush()) {
        failed_ = true;
        throw LineError(QStringLiteral("the recording %1 cannot be written any more: %2")
                            .arg(file_->path, file_->output.failure()));
    }
}

}  // namespace dx7
