#include "host/line/send_queue.h"

namespace dx7 {

namespace {

constexpr qint64 SEND_PATIENCE_US = 5000000;

}  // namespace

bool SendQueue::send(int descriptor, Channel channel, const QByteArray& bytes, QString* failure) {
    took_ = false;
    if (sending()) {
        lastBegin_ = rest_.size();
        rest_ += bytes;
        return hand(descriptor, channel, failure);
    }
    stuckSinceUs_.reset();
    const int taken = handBytes(descriptor, channel, bytes.constData(), bytes.size(), failure);
    took_ = taken > 0;
    if (taken >= 0 && taken < bytes.size()) {
        rest_ = QByteArray(bytes.constData() + taken, bytes.size() - taken);
        next_ = lastBegin_ = 0;
    }
    return taken >= 0;
}

bool SendQueue::flush(int descriptor, Channel channel, qint64 nowUs, QString* failure) {
    if (!sending()) {
        return true;
    }
    const int before = next_;
    if (!hand(descriptor, channel, failure)) {
        return false;
    }
    if (next_ != before || !stuckSinceUs_) {
        stuckSinceUs_ = nowUs;
    }
    if (sending() && nowUs - *stuckSinceUs_ >= SEND_PATIENCE_US) {
        *failure = QStringLiteral("it takes no bytes");
        drop();
        return false;
    }
    return true;
}

// Hands the rest over, or what is taken of it now.
bool SendQueue::hand(int descriptor, Channel channel, QString* failure) {
    const int taken =
        handBytes(descriptor, channel, rest_.constData() + next_, rest_.size() - next_, failure);
    if (taken < 0) {
        drop();
        return false;
    }
    next_ += taken;
    took_ = took_ || next_ > lastBegin_;
    return true;
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
