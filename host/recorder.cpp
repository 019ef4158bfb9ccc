#include "recorder.h"

#include <pcap/pcap.h>
#include <sys/time.h>

#include <QFile>

#include "error.h"
#include "recording_stream.h"

namespace dx7 {

namespace {

enum { LINK_TYPE_EXPORTED_PDU = 252, SNAP_LENGTH = 65535 };
enum { TAG_END = 0, TAG_DISSECTOR = 12, TAG_SOURCE_PORT = 25, TAG_DESTINATION_PORT = 26 };
enum { DEVICE_PORT = 502, MASTER_PORT = 50000 };
enum { TAG_HEAD_BYTES = 4, DISSECTOR_FIELD_BYTES = 8 };
const char DISSECTOR[] = "mbrtu";

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

int wordOf(const QByteArray& bytes, int index) {
    return static_cast<quint8>(bytes.at(index)) * 256 + static_cast<quint8>(bytes.at(index + 1));
}

// Takes a packet's tags apart. False when it carries no frame of this dissector.
bool parsePacket(const QByteArray& bytes, RecordedFrame* frame) {
    bool ours = false;
    int at = 0;
    while (at + TAG_HEAD_BYTES <= bytes.size()) {
        const int tag = wordOf(bytes, at);
        const int length = wordOf(bytes, at + 2);
        at += TAG_HEAD_BYTES;
        if (at + length > bytes.size()) {
            return false;
        }
        if (tag == TAG_END) {
            frame->bytes = bytes.mid(at + length);
            return ours;
        }
        const QByteArray value = bytes.mid(at, length);
        ours = ours || (tag == TAG_DISSECTOR && QByteArray(value.constData()) == DISSECTOR);
        if (tag == TAG_DESTINATION_PORT && length == 4) {
            frame->request = wordOf(value, 2) == DEVICE_PORT;
        }
        at += length;
    }
    return false;
}

}  // namespace

struct Recorder::File {
    explicit File(const QString& name)
        : path(name),
          output(name),
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

Recorder::Recorder(const QString& path) : file_(std::make_unique<File>(path)) {
    if (file_->dumper == nullptr || !file_->output.flush()) {
        throw UsageError(QStringLiteral("the recording %1 cannot be written: %2")
                             .arg(path, file_->dumper == nullptr
                                            ? QString::fromLocal8Bit(pcap_geterr(file_->handle))
                                            : file_->output.failure()));
    }
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
    timeval now = {};
    gettimeofday(&now, nullptr);
    const timeval ago = {static_cast<time_t>(agoUs / 1000000), static_cast<suseconds_t>(agoUs % 1000000)};
    timersub(&now, &ago, &header.ts);
    header.caplen = header.len = static_cast<bpf_u_int32>(bytes.size());
    pcap_dump(reinterpret_cast<u_char*>(file_->dumper), &header,
              reinterpret_cast<const u_char*>(bytes.constData()));
    if (!file_->output.flush()) {
        failed_ = true;
        throw LineError(QStringLiteral("the recording %1 cannot be written any more: %2")
                            .arg(file_->path, file_->output.failure()));
    }
}

QVector<RecordedFrame> readRecording(const QString& path, QString* breaksOff) {
    char why[PCAP_ERRBUF_SIZE] = "";
    pcap_t* handle = pcap_open_offline(QFile::encodeName(path).constData(), why);
    if (handle == nullptr) {
        throw UsageError(
            QStringLiteral("the recording %1 cannot be read: %2").arg(path, QString::fromLocal8Bit(why)));
    }
    const int linkType = pcap_datalink(handle);
    QVector<RecordedFrame> frames;
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    int result = 0;
    while (linkType == LINK_TYPE_EXPORTED_PDU && (result = pcap_next_ex(handle, &header, &data)) == 1) {
        RecordedFrame frame;
        frame.timeUs = header->ts.tv_sec * qint64(1000000) + header->ts.tv_usec;
        if (parsePacket(QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(header->caplen)),
                        &frame)) {
            frames += frame;
        }
    }
    const QString fault = result == PCAP_ERROR ? QString::fromLocal8Bit(pcap_geterr(handle)) : QString();
    pcap_close(handle);
    if (linkType != LINK_TYPE_EXPORTED_PDU) {
        throw UsageError(QStringLiteral("%1 is no recording of a line: its link type is %2, not %3")
                             .arg(path)
                             .arg(linkType)
                             .arg(int(LINK_TYPE_EXPORTED_PDU)));
    }
    if (!fault.isEmpty() && breaksOff == nullptr) {
        throw UsageError(QStringLiteral("the recording %1 is damaged: %2").arg(path, fault));
    }
    if (breaksOff != nullptr) {
        *breaksOff = fault;
    }
    return frames;
}

}  // namespace dx7
