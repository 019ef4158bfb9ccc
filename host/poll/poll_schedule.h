/// \file
/// When the turns of polling at an interval are due. Pure: time is passed in, in microseconds.
#ifndef DX7_HOST_POLL_SCHEDULE_H
#define DX7_HOST_POLL_SCHEDULE_H

#include <QStringList>
#include <QVector>
#include <array>
#include <vector>

#include "host/driver/driver_session.h"
#include "host/items/item_notation.h"
#include "host/line/clock.h"

namespace dx7 {

/// How the turns of an interval went.
struct IntervalTurns {
    qint64 intervalUs = 0;
    /// That fell due while there was a line.
    qint64 turns = 0;
    /// Of these, those that were not over when the next one was due, or never began.
    qint64 late = 0;
    /// The interval that the last turns would have kept, rounded up; 0 unless one of them was late.
    qint64 achievableUs = 0;
};

/// Each interval has a turn at every multiple of it since watch(), however long the turns take. Where one is
/// missed, the next is due at the next multiple. Entries without an interval are due in every turn; an entry
/// that several points name has the shortest of their intervals.
///
/// It owns what it keeps. One thread at a time; nothing of it fails.
class PollSchedule {
public:
    /// `entries` as pollEntries() gives them for these points. Every interval is due at `nowUs`.
    void watch(const QVector<Point>& points, const QVector<ItemRange>& entries, qint64 nowUs);

    /// Some entry has an interval.
    bool hasIntervals() const { return !intervals_.empty(); }
    /// Some entry has none.
    bool hasOthers() const { return others_; }
    /// Whether the entry with this index has an interval.
    bool hasInterval(int entry) const { return intervalOf(entry) >= 0; }
    bool due(int entry, qint64 nowUs) const;
    /// When the next interval is due; empty without any.
    DueUs nextUs() const;

    /// A turn with all entries that are due begins.
    void begin(qint64 nowUs);
    /// It is over.
    void end(qint64 nowUs);
    /// What is due cannot be asked, for there is no line: it is no turn.
    void pass(qint64 nowUs);
    /// The line is back: every interval is due at once, and keeps its multiples after that. The turn that was
    /// under way is neither late nor in time.
    void lineBack(qint64 nowUs);

    /// In ascending order of the intervals.
    QVector<IntervalTurns> turns() const;
    /// That the line cannot keep an interval, as sentences, since this was called last: where three turns in
    /// a row were late, and once more after as many that were not.
    QStringList takeNotices();

private:
    struct Interval {
        IntervalTurns counts;
        qint64 startUs = 0;
        qint64 dueUs = 0;
        /// The last turn: when it began, whether it is under way, and whether it was late.
        qint64 beganUs = 0;
        bool underWay = false;
        bool late = false;
        /// In a row, up to now.
        int lateTurns = 0;
        int punctualTurns = 0;
        bool noticed = false;
        /// What the last turns took, each up to the moment when the next could begin.
        std::array<qint64, 16> spansUs = {};
        std::size_t spans = 0;

        void skipTo(qint64 nowUs);
        void addSpan(qint64 us);
        void count(bool turnLate);
    };
    int intervalOf(int entry) const { return intervalOf_.empty() ? -1 : intervalOf_.at(entry); }

    /// In ascending order.
    std::vector<Interval> intervals_;
    /// By entry, the index in intervals_, or -1; empty when no entry has any.
    QVector<int> intervalOf_;
    bool others_ = false;
    QStringList notices_;
};

}  // namespace dx7

#endif
