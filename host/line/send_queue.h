/// \file
/// What a line still has to send.
#ifndef DX7_HOST_SEND_QUEUE_H
#define DX7_HOST_SEND_QUEUE_H

#include <QByteArray>
#include <QString>
#include <optional>

#include "host/line/descriptor_io.h"

namespace dx7 {

/// Hands bytes to a non-blocking descriptor, which is borrowed for each call, without waiting and keeps what
/// it does not take. Pure but for the descriptor: time is passed in, in microseconds. For one thread; its
/// line owns it.
class SendQueue {
public:
    /// Hands over what the descriptor takes now. What an earlier send() left goes first. False when the
    /// descriptor is lost; failure() says why.
    bool send(int descriptor, Channel channel, const QByteArray& bytes);
    /// Goes on with what is left; one system call at most. False when the descriptor is lost, or took nothing
    /// for 5 s, counted from the first flush() in vain; failure() says why.
    bool flush(int descriptor, Channel channel, qint64 nowUs);
    /// Why the last call that was false was.
    const QString& failure() const { return failure_; }

    bool sending() const { return next_ < rest_.size(); }
    /// Whether any byte of the last send() was taken.
    bool tookBytes() const { return took_; }
    /// Forgets what is left, not what was taken.
    void drop();
    /// For bytes that went another way: whether any of them was taken.
    void noteTaken(bool any);

private:
    bool hand(int descriptor, Channel channel);
    bool fail(const QString& why);

    /// Copied: the bytes that send() was given need not last.
    QByteArray rest_;
    /// The first byte of the rest that was not taken.
    int next_ = 0;
    /// Where the bytes of the last send() begin in the rest.
    int lastBegin_ = 0;
    bool took_ = false;
    QString failure_;
    /// Empty before the first flush() in vain.
    std::optional<qint64> stuckSinceUs_;
};

}  // namespace dx7

#endif
