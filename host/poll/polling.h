/// \file
/// What a line polls by itself: turns of the plan, and what is asked in between of silent stations and of
/// refused items.
#ifndef DX7_HOST_POLLING_H
#define DX7_HOST_POLLING_H

#include <QVector>
#include <optional>

#include "host/poll/poll_plan.h"
#include "host/poll/poll_turn.h"
#include "host/poll/probe_budget.h"
#include "host/poll/refused_items.h"
#include "host/poll/station_health.h"

namespace dx7 {

/// Keeps what pollTurn() chooses by, and hands the turn that it has chosen to the driver. Its PollEngine owns
/// it and tells it how requests ended. It calls the driver, so on the thread of the session; times are
/// microseconds on the caller's clock, `silenceUs` the silent interval of the line.
class Polling {
public:
    /// `session` is borrowed.
    Polling(DriverSession& session, qint64 silenceUs) : plan_(session), silenceUs_(silenceUs) {}

    /// Polls these points from the next turn on, in place of those before.
    void watch(const QVector<Point>& points, qint64 nowUs);

    /// What comes next. A turn that may begin is handed to the driver, which must be between operations;
    /// between turns it has no plan.
    Turn next(qint64 nowUs);
    /// When next() gives something, if nothing happens before.
    DueUs nextDueUs(qint64 nowUs) const { return nextTurnUs(situation(nowUs)); }

    const PollPlan& plan() const { return plan_; }
    const StationHealth& health() const { return health_; }
    const RefusedItems& refused() const { return refused_; }
    /// How the intervals were kept.
    QVector<IntervalTurns> turns() const { return schedule_.turns(); }
    QStringList takeNotices() { return refused_.takeNotices() + schedule_.takeNotices(); }

    /// A request of the turn that was sent at `sentUs` ended; it may be repeated.
    void tried(int station, bool answered, qint64 sentUs);
    /// The read of a block of the turn ended. True when the turn is over; cycleEnded() follows.
    bool blockEnded(const ItemRange& block, const ReadEnd& end, qint64 nowUs);
    /// How long the turn took; empty when nothing of it was sent.
    std::optional<qint64> cycleUs(qint64 nowUs) const;
    /// The turn is over. Returns the stations that have fallen silent with it.
    QVector<int> cycleEnded(qint64 nowUs);

    /// What Turn names begins; endAlone() or endProbe() follows, unless it is postponed.
    void beginOwn(qint64 nowUs) { ownUs_ = nowUs; }
    /// The read of Turn::read ended; `probe` as it was there.
    void endAlone(const ItemRange& range, const ReadEnd& end, bool probe, qint64 nowUs);
    /// Turn::station did not answer.
    void endProbe(int station, qint64 nowUs);
    /// Turn::station cannot be asked before `untilUs`.
    void postpone(int station, qint64 untilUs) { health_.postpone(station, untilUs); }
    /// A sign of life. True when the station was silent.
    bool heard(int station);

    void lineLost() { cycleStartUs_.reset(); }
    /// While the line is lost: the entries with an interval that are due, and are not asked.
    QVector<ItemRange> missed(qint64 nowUs);
    /// When missed() gives something.
    DueUs missedUs() const { return schedule_.nextUs(); }
    void lineBack(qint64 nowUs);

private:
    TurnSituation situation(qint64 nowUs) const {
        return TurnSituation{
            nowUs,        entries_, schedule_, health_, refused_, probes_, !plan_.underWay() || watchChanged_,
            searchInTurn_};
    }

    /// What is watched, item by item.
    QVector<ItemRange> entries_;
    PollSchedule schedule_;
    PollPlan plan_;
    StationHealth health_;
    RefusedItems refused_;
    ProbeBudget probes_;
    const qint64 silenceUs_;
    /// When the last probe or read of its own began.
    qint64 ownUs_ = 0;
    /// The last request was of the plan, not of a search.
    bool searchInTurn_ = true;
    /// Other points are watched than those of the turn that is under way.
    bool watchChanged_ = false;
    /// Empty while no turn is under way.
    std::optional<qint64> cycleStartUs_;
};

}  // namespace dx7

#endif
