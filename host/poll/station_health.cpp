#include "host/poll/station_health.h"

namespace dx7 {

namespace {
constexpr int CYCLES_UNTIL_DEAD = 2;
}  // namespace

void StationHealth::add(int station) {
    states_.insert(station, State());
    listDead();
}

void StationHealth::listDead() {
    dead_.clear();
    for (auto it = states_.constBegin(); it != states_.constEnd(); ++it) {
        if (it->dead) {
            dead_ += it.key();
        }
    }
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
            state.probeUs = nowUs + state.pause.next();
        }
        state.polled = state.answered = false;
    }
    if (!died.isEmpty()) {
        listDead();
    }
    return died;
}

std::optional<int> StationHealth::nextProbe() const {
    std::optional<int> first;
    for (const int station : dead_) {
        if (!first || states_[station].probeUs < states_[*first].probeUs) {
            first = station;
        }
    }
    return first;
}

DueUs StationHealth::nextProbeUs() const {
    const std::optional<int> first = nextProbe();
    return first ? DueUs(states_[*first].probeUs) : DueUs();
}

void StationHealth::lineBack(qint64 nowUs) {
    for (State& state : states_) {
        state.pause.reset();
        state.probeUs = nowUs;
    }
}

bool StationHealth::probed(int station, bool answered, qint64 nowUs) {
    State& state = states_[station];
    if (answered) {
        state = State();
        listDead();
        return true;
    }
    state.probeUs = nowUs + state.pause.next();
    return false;
}

}  // namespace dx7
