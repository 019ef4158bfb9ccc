/// \file
/// Replies that come after their request was given up. Pure: time is passed in.
#ifndef DX7_HOST_LATE_REPLIES_H
#define DX7_HOST_LATE_REPLIES_H

#include <QByteArray>
#include <optional>
#include <vector>

namespace dx7 {

/// A Modbus RTU reply does not say which request it answers. When a request has timed out and another one of
/// the same station, function code and length is on its way, the late reply of the first passes every check
/// and shows its values under the second's items. This class remembers the requests whose replies may still
/// come, and decides for each whole frame whose it is.
///
/// It relies on two things. A station answers its requests in their order, so a reply rules out that one to
/// an earlier request is still to come. And a reply comes at most `windowUs` after the wait for it ended;
/// when the station has been silent altogether since, ten times as long: what holds one reply up may hold up
/// all.
///
/// What follows from that, for a frame that could answer the present request:
///
/// If no earlier request could have caused it, it is the present one's.
///
/// If all that could have caused it are repetitions of the same bytes, it is taken: what it says was true
/// after the first of them was sent. The other replies are expected as surplus. An acknowledgement is taken
/// only when no other request lies between the repetitions.
///
/// Otherwise it counts as the reply to the oldest that could have caused it, and waiting goes on. If both
/// come, the second is the right one. If one comes, the present request times out.
///
/// Guessing wrong costs time, never a value. To keep that cost small a request is held back (waitUntilUs())
/// while a surplus reply that it could be mistaken for is likely: after the station has shown a sign of life.
/// A station that is silent holds nothing back, and neither does one that answers in time.
class LateReplies {
public:
    enum class Owner {
        Nobody,   ///< No request that is remembered.
        Present,  ///< The request that begin() named last.
        Late      ///< An earlier one; the frame must not be handed over.
    };
    enum class Ending {
        Answered,   ///< claim() gave Present, for a reply or a refusal.
        Damaged,    ///< A reply came that began like the right one but is not good.
        Unanswered  ///< The time was over, or the wait was broken off.
    };

    explicit LateReplies(qint64 windowUs) : windowUs_(windowUs) {}

    /// Until when to hold `request` back; not above `nowUs` when it can be sent. Replies that arrive
    /// meanwhile go to drain() and may bring the moment nearer.
    qint64 waitUntilUs(const QByteArray& request, int expectLen, qint64 nowUs);

    /// Bytes that came while no request was out. Returns the late replies found in them.
    std::vector<QByteArray> drain(const QByteArray& bytes, qint64 nowUs);

    /// `request` goes out and is awaited until `deadlineUs`. end() must follow. `expectLen` is above 0.
    void begin(const QByteArray& request, int expectLen, qint64 deadlineUs, qint64 nowUs);
    void end(Ending ending);

    /// Whose reply this whole frame with a good CRC is. To be asked once for every frame, in their order.
    Owner claim(const QByteArray& frame);

    /// Whether an earlier request awaits a reply of `length` bytes from this station and function code.
    bool awaits(int station, int function, int length) const;

private:
    struct Sent {
        QByteArray bytes;
        int expectLen = 0;
        qint64 expiresUs = 0;        ///< When its reply is not expected any more,
        qint64 silentExpiresUs = 0;  ///< and when not from a station that is silent.
        bool alive = false;          ///< The station has shown a sign of life since.

        int station() const { return static_cast<unsigned char>(bytes.at(0)); }
        int function() const { return static_cast<unsigned char>(bytes.at(1)); }
        bool isAnsweredBy(const QByteArray& frame) const;
        bool isMistakableFor(const Sent& other) const;
    };

    QByteArray awaitedAt(int start) const;
    bool isRepetition(const QByteArray& frame, std::size_t first) const;
    void consume(std::size_t index);
    void forgetStation(int station);
    void markAlive(int station);
    void remember(bool alive);

    qint64 windowUs_;
    std::vector<Sent> earlier_;  ///< In the order of sending.
    std::optional<Sent> present_;
    qint64 latestUs_ = 0;   ///< A window after the latest moment at which what is claimed now can have come.
    bool surplus_ = false;  ///< The present request was answered, maybe by an earlier one's reply.
    QByteArray drained_;
};

}  // namespace dx7

#endif
