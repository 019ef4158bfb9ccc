/// \file
/// Which frames have come before, and how late copies come.
#ifndef DX7_HOST_COPY_WATCH_H
#define DX7_HOST_COPY_WATCH_H

#include <QByteArray>
#include <QtGlobal>
#include <array>
#include <optional>

#include "host/line/clock.h"

namespace dx7 {

/// Remembers the frames that were taken last. Where copies have come, it asks for a pause after each reply in
/// which its copies can come before anything else is sent: as long and for as many as the last twenty replies
/// have shown.
///
/// Its FrameJudge owns it. Pure, for one thread: times are microseconds on the caller's clock; nothing of it
/// fails.
class CopyWatch {
public:
    /// `longestUs`: a longer pause is never asked for.
    explicit CopyWatch(qint64 longestUs);

    /// The frame was taken for a reply or an answer. `sequence` counts the frames that were sent.
    void take(const QByteArray& frame, quint64 sequence, qint64 nowUs);
    /// Of the frame that was taken last, where it is held.
    void setTicket(quint64 ticket) { frames_[newest_].ticket = ticket; }
    /// `frame` equals the one that was taken last, and nothing was sent since. Such a copy shifts nothing:
    /// whichever of the two is the reply, it says the same.
    bool repeatsLast(const QByteArray& frame, quint64 sequence) const;
    /// What repeatsLast() is true of has come. Returns the ticket of the frame that it repeats, if that is
    /// held.
    std::optional<quint64> absorb(qint64 nowUs);
    /// Whether `frame` equals any that was taken so lately that its copy may have come.
    bool recognise(const QByteArray& frame, qint64 nowUs);
    /// Something came in between: copies are looked out for from now on, for `pauseUs` at least.
    void suspect(qint64 pauseUs);
    /// Until when the copies of the last frame are waited for, before anything else is sent; empty where
    /// they are not.
    DueUs pauseEndUs(quint64 sequence) const;

private:
    struct Taken {
        QByteArray frame;
        qint64 atUs = 0;
        int copies = 0;
        std::optional<quint64> ticket;
    };
    static constexpr std::size_t REMEMBERED = 64;
    void countCopy(Taken& taken, qint64 nowUs);

    qint64 longestUs_;
    std::array<Taken, REMEMBERED> frames_;
    std::size_t newest_ = 0;
    /// When the last frame was taken; 0 before the first.
    quint64 sequence_ = 0;
    qint64 pauseUs_ = 0;
    int usualCopies_ = 0;
    /// Of the present twenty.
    int replies_ = 0;
    /// Of any of them.
    int mostCopies_ = 0;
    /// That any of them would have needed.
    qint64 mostPauseUs_ = 0;
};

}  // namespace dx7

#endif
