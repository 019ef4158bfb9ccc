#include "host/exchange/copy_watch.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int REPLIES_SHOWN = 20;
constexpr qint64 SLACK_US = 5000;

}  // namespace

CopyWatch::CopyWatch(qint64 longestUs) : longestUs_(longestUs) {
    for (Taken& taken : frames_) {
        taken.frame.reserve(LONGEST_FRAME_BYTES);
    }
}

void CopyWatch::take(const QByteArray& frame, quint64 sequence, qint64 nowUs) {
    if (pauseUs_ > 0 && ++replies_ > REPLIES_SHOWN) {
        pauseUs_ = mostPauseUs_;
        usualCopies_ = mostCopies_;
        mostPauseUs_ = replies_ = mostCopies_ = 0;
    }
    newest_ = (newest_ + 1) % REMEMBERED;
    Taken& taken = frames_[newest_];
    taken.frame.resize(0);  // it keeps its memory
    taken.frame.append(frame);
    taken.atUs = nowUs;
    taken.copies = 0;
    taken.ticket.reset();
    sequence_ = sequence;
}

bool CopyWatch::repeatsLast(const QByteArray& frame, quint64 sequence) const {
    return sequence_ > 0 && sequence_ == sequence && frames_[newest_].frame == frame;
}

void CopyWatch::countCopy(Taken& taken, qint64 nowUs) {
    ++taken.copies;
    const qint64 lagUs = nowUs - taken.atUs;
    mostCopies_ = std::max(mostCopies_, taken.copies);
    mostPauseUs_ = std::max(mostPauseUs_, std::min(2 * lagUs + SLACK_US, longestUs_));
    usualCopies_ = std::max(usualCopies_, mostCopies_);
    pauseUs_ = std::max(pauseUs_, mostPauseUs_);
}

std::optional<quint64> CopyWatch::absorb(qint64 nowUs) {
    Taken& last = frames_[newest_];
    countCopy(last, nowUs);
    return last.ticket;
}

bool CopyWatch::recognise(const QByteArray& frame, qint64 nowUs) {
    for (std::size_t i = 0; i < REMEMBERED; ++i) {
        Taken& taken = frames_[(newest_ + REMEMBERED - i) % REMEMBERED];
        if (taken.frame == frame && nowUs - taken.atUs <= longestUs_) {
            countCopy(taken, nowUs);
            return true;
        }
    }
    return false;
}

void CopyWatch::suspect(qint64 pauseUs) {
    pauseUs_ = std::max(pauseUs_, pauseUs);
    replies_ = 0;
}

DueUs CopyWatch::pauseEndUs(quint64 sequence) const {
    const Taken& last = frames_[newest_];
    const bool comes = pauseUs_ > 0 && sequence_ == sequence && last.copies < std::max(usualCopies_, 1);
    return comes ? DueUs(last.atUs + pauseUs_) : DueUs();
}

}  // namespace dx7
