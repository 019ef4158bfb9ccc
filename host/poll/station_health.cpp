#include "host/poll/station_health.h"

#include <algorithm>

namespace dx7 {

namespace {
constexpr int CYCLES_UNTIL_DEAD = 2;
constexpr qint64 PAUSE_STEP_US = 500000;
constexpr qint64 LONGEST_PAUSE_US = 10000000;
}  // namespace

void StationHealth::add(int station) {
    states_.insert(station, State());
}

void StationHealth::polled(int station, bool answered) {
    State& state = states_[station];
    state.polled = true;
    state.answered = state.answered || answered;
}

QVector<int> StationHealth::cycleEnd(qint64 nowUs) {
    QVector<int> died;
    for (auto it = states_.begin(); it != states_.end(); ++it) {
        State& state = *it;
        if (state.polled && !state.dead) {
            state.failedCycles = state.answered ? 0 : state.failedCycles + 1;
        }
        if (!state.dead && state.failedCycles >= CYCLES_UNTIL_DEAD) {
            state.dead = true;
            died += it.key();
            state.pauseUs = PAUSE_STEP_US;
            state.probeUs = nowUs + state.pauseUs;
        }
        state.polled = state.answered = false;
    }
    return died;
}

QVector<int> StationHealth::dead() const {
    QVector<int> stations;
    for (auto it = states_.begin(); it != states_.end(); ++it) {
        if (it->dead) {
            stations += it.key();
        }
    }
    return stations;
}

QVector<int> StationHealth::probesDue(qint64 nowUs) const {
    QVector<int> stations;
    for (auto it = states_.begin(); it != states_.end(); ++it) {
        if (it->dead && it->probeUs <= nowUs) {
            stations += it.key();
        }
    }
    return stations;
}

DueUs StationHealth::nextProbeUs() const {
    DueUs next;
    for (const State& state : states_) {
        if (state.dead) {
            next = sooner(next, state.probeUs);
        }
    }
    return next;
}

void StationHealth::lineBack(qint64 nowUs) {
    for (State& state : states_) {
        state.pauseUs = 0;
        state.probeUs = nowUs;
    }
}

bool StationHealth::probed(int station, bool answered, qint64 nowUs) {
    State& state = states_[station];
    if (answered) {
        state = State();
        return true;
    }
    state.pauseUs = std::min(state.pauseUs + PAUSE_STEP_US, LONGEST_PAUSE_US);
    state.probeUs = nowUs + state.pauseUs;
    return false;
}

}  // namespace dx7
