#include "host/line/send_queue.h"

namespace dx7 {

namespace {

constexpr qint64 SEND_PATIENCE_US = 5000000;

}  // namespace

bool SendQueue::send(int descriptor, Channel channel, const QByteArray& bytes) {
    took_ = false;
    if (sending()) {
        lastBegin_ = rest_.size();
        rest_ += bytes;
        return hand(descriptor, channel);
    }
    stuckSinceUs_.reset();
    const Handed handed = handBytes(descriptor, channel, bytes.constData(), bytes.size());
    took_ = handed.count > 0;
    if (handed.loss) {
        return fail(*handed.loss);
    }
    if (handed.count < bytes.size()) {
        rest_ = QByteArray(bytes.constData() + handed.count, bytes.size() - handed.count);
        next_ = lastBegin_ = 0;
    }
    return true;
}

bool SendQueue::flush(int descriptor, Channel channel, qint64 nowUs) {
    if (!sending()) {
        return true;
    }
    const int before = next_;
    if (!hand(descriptor, channel)) {
        return false;
    }
    if (next_ != before || !stuckSinceUs_) {
        stuckSinceUs_ = nowUs;
    }
    if (sending() && nowUs - *stuckSinceUs_ >= SEND_PATIENCE_US) {
        return fail(QStringLiteral("it takes no bytes"));
    }
    return true;
}

// Hands the rest over, or what is taken of it now.
bool SendQueue::hand(int descriptor, Channel channel) {
    const Handed handed = handBytes(descriptor, channel, rest_.constData() + next_, rest_.size() - next_);
    if (handed.loss) {
        return fail(*handed.loss);
    }
    next_ += handed.count;
    took_ = took_ || next_ > lastBegin_;
    return true;
}

bool SendQueue::fail(const QString& why) {
    failure_ = why;
    drop();
    return false;
}

void SendQueue::drop() {
    rest_ = QByteArray();
    next_ = 0;
}

void SendQueue::noteTaken(bool any) {
    drop();
    took_ = any;
}

}  // namespace dx7
