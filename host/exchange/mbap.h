/// \file
/// Modbus/TCP: the head that a request and its reply have there (MODBUS Messaging on TCP/IP V1.0b), around
/// what Modbus RTU puts between station and CRC.
#ifndef DX7_HOST_MBAP_H
#define DX7_HOST_MBAP_H

#include <QByteArray>
#include <QHash>
#include <optional>

namespace dx7 {

/// Transaction id, protocol id (0) and length of what follows, two bytes each, high byte first.
constexpr int MBAP_BYTES = 6;
/// Unit, function code and data of the longest frame.
constexpr int MBAP_LONGEST_REST = 254;

/// An RTU frame with its CRC as Modbus/TCP carries it, under the transaction id.
QByteArray mbapFrame(quint16 id, const QByteArray& rtuFrame);

/// Whether the bytes, 6 at least, are the head of a Modbus/TCP frame: for a line that carries RTU frames a
/// hint that the other end speaks Modbus/TCP.
bool beginsLikeMbap(const QByteArray& bytes);

/// The frames of a Modbus/TCP connection. Each request has an id of its own, which its reply repeats; so no
/// reply can be taken for that to another request. An id whose reply has not come is not used again.
///
/// Kept in the LineTraffic. Pure, for one thread; times are microseconds on the caller's clock.
class MbapStream {
public:
    struct Piece {
        enum Kind {
            /// Under the id that is awaited.
            Frame,
            /// Under that of an earlier request, which had no reply up to now.
            Late,
            /// Under an id that no reply is due to.
            Unasked,
            /// The bytes are no Modbus/TCP head, and the next frame may begin anywhere: what comes up to the
            /// next request is dropped.
            Noise
        };
        Kind kind = Noise;
        /// As an RTU frame, with its CRC; of Noise as they came.
        QByteArray bytes;
        /// Of Late: when its request was sent.
        qint64 askedUs = 0;
    };

    /// `rtuFrame` as it goes out, under the next id. From now on its reply is awaited, in place of any other;
    /// a broadcast has none.
    QByteArray wrap(const QByteArray& rtuFrame, qint64 nowUs);
    /// The last request is not waited for any more.
    void giveUp() { awaited_ = false; }
    void append(const char* bytes, int count);
    /// The next piece; empty when more bytes are needed.
    std::optional<Piece> take();
    /// The connection was closed: no reply is due, and what has come of a frame belongs to nothing.
    void reset();
    /// Bytes have come that are not a whole frame yet.
    bool partial() const { return !buffer_.isEmpty(); }
    /// How many more bytes must come before take() tells anything; 1 or more.
    int missing() const;

private:
    Piece::Kind kindOf(quint16 id, qint64* askedUs);

    QByteArray buffer_;
    quint16 id_ = 0;
    /// The reply to the last request is waited for.
    bool awaited_ = false;
    /// See Piece::Noise.
    bool lost_ = false;
    /// When the requests were sent whose replies have not come, by their ids.
    QHash<quint16, qint64> due_;
};

}  // namespace dx7

#endif
