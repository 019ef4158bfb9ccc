#include "host/poll/poll_turn.h"

#include <algorithm>

namespace dx7 {

namespace {

// The entries of stations that are not silent.
QVector<ItemRange> audible(const QVector<ItemRange>& entries, const QVector<int>& silent) {
    if (silent.isEmpty()) {
        return entries;
    }
    QVector<ItemRange> left;
    left.reserve(entries.size());
    for (const ItemRange& entry : entries) {
        if (!silent.contains(entry.station)) {
            left += entry;
        }
    }
    return left;
}

EntryLists lists(const TurnSituation& now, const QVector<int>& silent) {
    const QVector<ItemRange> entries = audible(now.entries, silent);
    return now.refused.empty() ? EntryLists{entries} : now.refused.lists(entries);
}

bool anythingToPoll(const TurnSituation& now, const QVector<int>& silent) {
    return std::any_of(now.entries.begin(), now.entries.end(), [&](const ItemRange& entry) {
        return !silent.contains(entry.station) && !now.refused.leftOut(entry);
    });
}

// When probes may begin: at once while the line is idle.
qint64 probesFromUs(const TurnSituation& now, const QVector<int>& silent) {
    return anythingToPoll(now, silent) ? now.probes.fromUs() : 0;
}

}  // namespace

Turn pollTurn(const TurnSituation& now) {
    Turn turn;
    const QVector<int>& silent = now.stations.dead();
    if (now.turnOver) {
        turn.lists = lists(now, silent);
    }
    if (now.refused.empty() && silent.isEmpty()) {
        return turn;
    }
    const bool polls = anythingToPoll(now, silent);
    if (now.searchInTurn || !polls) {
        turn.read = now.refused.next(silent);
    }
    if (!turn.read && now.nowUs >= probesFromUs(now, silent)) {
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
    if (now.turnOver && anythingToPoll(now, silent)) {
        return now.nowUs;
    }
    DueUs dueUs;
    if (now.refused.empty() && silent.isEmpty()) {
        return dueUs;
    }
    if (now.refused.next(silent)) {
        dueUs = now.nowUs;
    }
    for (const DueUs probeUs : {now.stations.nextProbeUs(), now.refused.nextDueUs(silent)}) {
        if (probeUs) {
            dueUs = sooner(dueUs, std::max(*probeUs, probesFromUs(now, silent)));
        }
    }
    return dueUs;
}

}  // namespace dx7
