#include "host/files/recording.h"

#include <pcap/pcap.h>

#include <QFile>

#include "host/error.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

// Takes a packet's tags apart. False when it carries no frame of this dissector.
bool parsePacket(const QByteArray& bytes, RecordedFrame* frame) {
    bool ours = false;
    int at = 0;
    while (at + TAG_HEAD_BYTES <= bytes.size()) {
        const int tag = wordAt(bytes, at);
        const int length = wordAt(bytes, at + 2);
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
            frame->request = wordAt(value, 2) == DEVICE_PORT;
        }
        at += length;
    }
    return false;
}

// libpcap gives the file's 32 bits of seconds a sign.
qint64 timeOf(const pcap_pkthdr& header) {
    const qint64 read = header.ts.tv_sec;
    const qint64 seconds = read < 0 ? static_cast<quint32>(read) : read;
    return seconds * 1000000 + header.ts.tv_usec;
}

}  // namespace

struct RecordingReader::File {
    pcap_t* handle = nullptr;

    ~File() {
        if (handle != nullptr) {
            pcap_close(handle);
        }
    }
};

RecordingReader::RecordingReader(const QString& path) : file_(std::make_unique<File>()) {
    char why[PCAP_ERRBUF_SIZE] = "";
    file_->handle = pcap_open_offline(QFile::encodeName(path).constData(), why);
    if (file_->handle == nullptr) {
        throw UsageError(
            QStringLiteral("the recording %1 cannot be read: %2").arg(path, QString::fromLocal8Bit(why)));
    }
    const int linkType = pcap_datalink(file_->handle);
    if (linkType != LINK_TYPE_EXPORTED_PDU) {
        throw UsageError(QStringLiteral("%1 is not a recording of a line: its link type is %2, not %3")
                             .arg(path)
                             .arg(linkType)
                             .arg(LINK_TYPE_EXPORTED_PDU));
    }
}

RecordingReader::~RecordingReader() = default;

bool RecordingReader::next(RecordedFrame* frame) {
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    int result = 0;
    while ((result = pcap_next_ex(file_->handle, &header, &data)) == 1) {
        *frame = RecordedFrame();
        frame->timeUs = timeOf(*header);
        if (parsePacket(QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(header->caplen)),
                        frame)) {
            return true;
        }
    }
    if (result == PCAP_ERROR) {
        breaksOff_ = QString::fromLocal8Bit(pcap_geterr(file_->handle));
    }
    return false;
}

}  // namespace dx7
