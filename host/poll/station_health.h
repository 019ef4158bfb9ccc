/// \file
/// Which stations are worth polling. Pure: time is passed in, in microseconds.
#ifndef DX7_HOST_STATION_HEALTH_H
#define DX7_HOST_STATION_HEALTH_H

#include <QMap>
#include <QVector>
#include <optional>

#include "host/line/clock.h"
#include "host/poll/growing_pause.h"

namespace dx7 {

/// A station whose blocks all failed in two cycles in a row is dead. A dead station is probed 0.5 s later,
/// then after a pause that is 0.5 s longer each time up to 10 s, and is alive again with its first answer.
/// Any answer counts, a refusal included. Borrows nothing. One thread at a time.
class StationHealth {
public:
    /// The station is alive from now on, whatever was known of it.
    void add(int station);

    /// A block of the station was polled in the cycle that runs.
    void polled(int station, bool answered);
    /// The cycle is over. Returns the stations that died with it.
    QVector<int> cycleEnd(qint64 nowUs);

    bool isDead(int station) const { return dead_.contains(station); }
    /// In ascending order.
    const QVector<int>& dead() const { return dead_; }

    /// The dead station whose probe is due first; empty when no station is dead. probed() must follow before
    /// it is due again.
    std::optional<int> nextProbe() const;
    /// When that is; empty likewise.
    DueUs nextProbeUs() const;
    /// The line is back: each dead station is probed at once, then at the pauses of one that has just died.
    void lineBack(qint64 nowUs);
    /// A probe that is due cannot be sent before `untilUs`.
    void postpone(int station, qint64 untilUs) { states_[station].probeUs = untilUs; }
    /// A probe ended. True when the station is alive again.
    bool probed(int station, bool answered, qint64 nowUs);

private:
    struct State {
        bool dead = false;
        bool polled = false;
        bool answered = false;
        int failedCycles = 0;
        GrowingPause pause;
        qint64 probeUs = 0;
    };
    void listDead();

    QMap<int, State> states_;
    QVector<int> dead_;
};

}  // namespace dx7

#endif
