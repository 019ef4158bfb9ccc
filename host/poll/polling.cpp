#include "host/poll/polling.h"

namespace dx7 {

void Polling::watch(const QVector<Point>& points, qint64 nowUs) {
    entries_ = pollEntries(points);
    schedule_.watch(points, entries_, nowUs);
    refused_.watch(points);
    for (const Point& point : points) {
        health_.add(point.station);
    }
    watchChanged_ = true;
}

Turn Polling::next(qint64 nowUs) {
    Turn turn = pollTurn(situation(nowUs));
    if (watchChanged_) {
        plan_.clear();
        cycleStartUs_.reset();
        watchChanged_ = false;
    }
    if (turn.begins) {
        schedule_.begin(nowUs);
    }
    if (!nothingIn(turn.lists)) {
        plan_.begin(turn.lists);
    } else if (!plan_.underWay()) {
        plan_.clear();
        cycleStartUs_.reset();
        schedule_.end(nowUs);
    }
    return turn;
}

void Polling::tried(int station, bool answered, qint64 sentUs) {
    cycleStartUs_ = cycleStartUs_.value_or(sentUs);
    health_.polled(station, answered);
}

bool Polling::blockEnded(const ItemRange& block, const ReadEnd& end, qint64 nowUs) {
    searchInTurn_ = true;
    if (end.kind == ReadEnd::Read) {
        refused_.read(block);
    } else if (end.kind == ReadEnd::Refused) {
        refused_.refused(block, end.code, nowUs);
    }
    return plan_.blockDone();
}

std::optional<qint64> Polling::cycleUs(qint64 nowUs) const {
    return cycleStartUs_ ? std::optional<qint64>(nowUs - *cycleStartUs_) : std::nullopt;
}

QVector<int> Polling::cycleEnded(qint64 nowUs) {
    cycleStartUs_ = nowUs;
    schedule_.end(nowUs);
    return health_.cycleEnd(nowUs);
}

void Polling::endAlone(const ItemRange& range, const ReadEnd& end, bool probe, qint64 nowUs) {
    refused_.asked(range, end, nowUs);
    searchInTurn_ = false;
    if (probe) {
        probes_.spent(ownUs_, nowUs + silenceUs_);
    }
}

void Polling::endProbe(int station, qint64 nowUs) {
    health_.probed(station, false, nowUs);
    probes_.spent(ownUs_, nowUs + silenceUs_);
}

bool Polling::heard(int station) {
    return health_.isDead(station) && health_.probed(station, true, 0);
}

void Polling::lineBack(qint64 nowUs) {
    health_.lineBack(nowUs);
    refused_.lineBack(nowUs);
    schedule_.lineBack(nowUs);
}

QVector<ItemRange> Polling::missed(qint64 nowUs) {
    QVector<ItemRange> due;
    for (int i = 0; schedule_.hasIntervals() && i < entries_.size(); ++i) {
        if (schedule_.hasInterval(i) && schedule_.due(i, nowUs)) {
            due += entries_.at(i);
        }
    }
    schedule_.pass(nowUs);
    return due;
}

}  // namespace dx7
