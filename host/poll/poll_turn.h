/// \file
/// What to poll this turn.
#ifndef DX7_HOST_POLL_TURN_H
#define DX7_HOST_POLL_TURN_H

#include <QVector>
#include <optional>

#include "host/driver/driver_session.h"
#include "host/poll/entry_lists.h"
#include "host/poll/poll_schedule.h"
#include "host/poll/probe_budget.h"
#include "host/poll/refused_items.h"
#include "host/poll/station_health.h"

namespace dx7 {

/// What is known when a turn is chosen; all of it is borrowed for the call.
struct TurnSituation {
    qint64 nowUs = 0;
    /// Everything that is watched: single items, ordered by station, type and address.
    const QVector<ItemRange>& entries;
    /// Which of them are due when, by their indexes.
    const PollSchedule& schedule;
    const StationHealth& stations;
    const RefusedItems& refused;
    const ProbeBudget& probes;
    /// The turn before is over: another may begin.
    bool turnOver = false;
    /// The last request was of the plan: a search that is under way may go on.
    bool searchInTurn = true;
};

/// What a line does next besides what its users ask for.
struct Turn {
    /// Entries are due, and the turn before is over.
    bool begins = false;
    /// The entries to be handed to the driver's merging. None while a turn is under way, and between turns:
    /// then the driver is to have no plan.
    EntryLists lists;
    /// Entries with an interval that are due and not asked: their station is silent, or it refuses them.
    QVector<ItemRange> unread;
    /// A one-off read: part of a block that is being searched, or something left out whose pause is over.
    std::optional<ItemRange> read;
    /// It is one of those that are asked in a pause, which take of the budget of probes.
    bool probe = false;
    /// A silent station whose pause is over, to be asked whether it answers.
    std::optional<int> station;
};

/// Pure. A turn has the entries that are due; silent stations and refused items are left out of the lists. A
/// search shares the line evenly with the plan; probes of silent stations and of refused items take turns
/// within their budget, or as they fall due while nothing else is to be polled.
Turn pollTurn(const TurnSituation& now);

/// When pollTurn() gives something, if nothing happens before; empty when it never does.
DueUs nextTurnUs(const TurnSituation& now);

}  // namespace dx7

#endif
