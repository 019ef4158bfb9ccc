/// \file
/// Modbus/TCP: the head that a request and its reply have there (MODBUS Messaging on TCP/IP V1.0b), around
/// what Modbus RTU puts between station and CRC.
#ifndef DX7_HOST_MBAP_H
#define DX7_HOST_MBAP_H

#include <QByteArray>
#include <optional>

namespace dx7 {

/// Transaction id, protocol id and length, two bytes each, high byte first; the unit follows.
constexpr int MBAP_BYTES = 6;
/// Unit, function code and data of the longest frame.
constexpr int MBAP_LONGEST_REST = 254;

/// An RTU frame with its CRC as Modbus/TCP carries it, under the transaction id.
QByteArray mbapFrame(quint16 id, const QByteArray& rtuFrame);

/// Whether the bytes are the head of a Modbus/TCP frame, or begin one: for a line that carries RTU frames, a
/// hint that the other end speaks Modbus/TCP. 4 bytes at least.
bool beginsLikeMbap(const QByteArray& bytes);

/// Cuts what comes over a Modbus/TCP connection into frames. Pure, for one thread; it knows no time.
class MbapStream {
public:
    struct Piece {
        enum Kind {
            /// Under the id that is awaited; the bytes are the RTU frame, with a CRC.
            Frame,
            /// Under another id: nobody asks for it any more.
            OtherId,
            /// No head of Modbus/TCP. All that has come was dropped, for where the next frame begins nobody
            /// knows.
            Noise
        };
        Kind kind = Noise;
        QByteArray bytes;
    };

    /// `rtuFrame` as it goes out, under the next id; its reply is awaited from now on in place of any other.
    QByteArray wrap(const QByteArray& rtuFrame);
    void append(const char* bytes, int count) { buffer_.append(bytes, count); }
    /// The next piece; empty when more bytes are needed.
    std::optional<Piece> take();
    /// The connection was closed: what has come of a frame belongs to nothing.
    void reset();
    /// Bytes have come that are not a whole frame yet.
    bool partial() const { return !buffer_.isEmpty(); }
    /// How many more bytes must come before take() tells anything; 1 or more.
    int missing() const;

private:
    QByteArray buffer_;
    quint16 id_ = 0;
    /// The reply to the last request has not come.
    bool awaited_ = false;
};

}  // namespace dx7

#endif
