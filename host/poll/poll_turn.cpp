#include "host/poll/poll_turn.h"

#include <algorithm>

namespace dx7 {

namespace {

bool asked(const TurnSituation& now, const ItemRange& entry) {
    return !now.stations.dead().contains(entry.station) && !now.refused.leftOut(entry);
}

// The entries that are due, of stations that are not silent.
QVector<ItemRange> dueEntries(const TurnSituation& now) {
    const QVector<int>& silent = now.stations.dead();
    if (silent.isEmpty() && !now.schedule.hasIntervals()) {
        return now.entries;
    }
    QVector<ItemRange> left;
    left.reserve(now.entries.size());
    for (int i = 0; i < now.entries.size(); ++i) {
        if (now.schedule.due(i, now.nowUs) && !silent.contains(now.entries.at(i).station)) {
            left += now.entries.at(i);
        }
    }
    return left;
}

EntryLists lists(const TurnSituation& now) {
    const QVector<ItemRange> entries = dueEntries(now);
    return now.refused.empty() ? EntryLists{entries} : now.refused.lists(entries);
}

QVector<ItemRange> unread(const TurnSituation& now) {
    QVector<ItemRange> left;
    const bool allAsked = now.refused.empty() && now.stations.dead().isEmpty();
    for (int i = 0; now.schedule.hasIntervals() && !allAsked && i < now.entries.size(); ++i) {
        const ItemRange& entry = now.entries.at(i);
        if (now.schedule.hasInterval(i) && now.schedule.due(i, now.nowUs) && !asked(now, entry)) {
            left += entry;
        }
    }
    return left;
}

bool anythingToPoll(const TurnSituation& now) {
    return std::any_of(now.entries.begin(), now.entries.end(),
                       [&](const ItemRange& entry) { return asked(now, entry); });
}

// Something is polled in every turn.
bool polledAlways(const TurnSituation& now) {
    if (!now.schedule.hasIntervals()) {
        return anythingToPoll(now);
    }
    for (int i = 0; now.schedule.hasOthers() && i < now.entries.size(); ++i) {
        if (!now.schedule.hasInterval(i) && asked(now, now.entries.at(i))) {
            return true;
        }
    }
    return false;
}

// When the next turn begins after the one before.
DueUs nextBeginUs(const TurnSituation& now) {
    if (polledAlways(now)) {
        return now.nowUs;
    }
    const DueUs dueUs = now.schedule.nextUs();
    return dueUs ? DueUs(std::max(*dueUs, now.nowUs)) : dueUs;
}

// When probes may begin: at once while the line is idle.
qint64 probesFromUs(const TurnSituation& now) {
    return anythingToPoll(now) ? now.probes.fromUs() : 0;
}

}  // namespace

Turn pollTurn(const TurnSituation& now) {
    Turn turn;
    const QVector<int>& silent = now.stations.dead();
    turn.begins = now.turnOver && nextBeginUs(now) == now.nowUs;
    if (turn.begins) {
        turn.lists = lists(now);
        turn.unread = unread(now);
    }
    if (now.refused.empty() && silent.isEmpty()) {
        return turn;
    }
    const bool polls = anythingToPoll(now);
    if (now.searchInTurn || !polls) {
        turn.read = now.refused.next(silent);
    }
    if (!turn.read && now.nowUs >= probesFromUs(now)) {
        const DueUs itemUs = now.refused.nextDueUs(silent);
        const DueUs stationUs = now.stations.nextProbeUs();
        if (sooner(itemUs, stationUs).value_or(now.nowUs + 1) <= now.nowUs) {
            const bool item = !stationUs || (itemUs && *itemUs < *stationUs);
            turn.read = item ? now.refused.due(silent, now.nowUs) : std::nullopt;
            turn.station = item ? std::nullopt : now.stations.nextProbe();
            turn.probe = item;
        }
    }
    return turn;
}

DueUs nextTurnUs(const TurnSituation& now) {
    const QVector<int>& silent = now.stations.dead();
    DueUs dueUs = now.turnOver ? nextBeginUs(now) : DueUs();
    if (dueUs == now.nowUs) {
        return dueUs;
    }
    if (now.refused.empty() && silent.isEmpty()) {
        return dueUs;
    }
    if (now.refused.next(silent)) {
        return now.nowUs;
    }
    for (const DueUs probeUs : {now.stations.nextProbeUs(), now.refused.nextDueUs(silent)}) {
        if (probeUs) {
            dueUs = sooner(dueUs, std::max(*probeUs, probesFromUs(now)));
        }
    }
    return dueUs;
}

}  // namespace dx7
