#include "host/poll/poll_schedule.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "host/duration_text.h"

namespace dx7 {

namespace {

constexpr int TURNS_TO_NOTICE = 3;

using EntryKey = std::tuple<int, QString, int>;

EntryKey entryKey(const ItemRange& entry) {
    return {entry.station, entry.regType, entry.address};
}

// The shortest interval of each item that has one.
std::map<EntryKey, qint64> shortestIntervals(const QVector<Point>& points) {
    std::map<EntryKey, qint64> shortest;
    for (const Point& point : points) {
        for (int i = 0; point.intervalUs && i < point.items(); ++i) {
            const EntryKey key{point.station, point.type.name, point.address + i};
            const auto found = shortest.emplace(key, *point.intervalUs).first;
            found->second = std::min(found->second, *point.intervalUs);
        }
    }
    // Without an interval is the shortest of all.
    for (const Point& point : points) {
        for (int i = 0; !point.intervalUs && i < point.items(); ++i) {
            shortest.erase({point.station, point.type.name, point.address + i});
        }
    }
    return shortest;
}

}  // namespace

void PollSchedule::watch(const QVector<Point>& points, const QVector<ItemRange>& entries, qint64 nowUs) {
    const std::map<EntryKey, qint64> shortest = shortestIntervals(points);
    intervals_.clear();
    intervalOf_.clear();
    others_ = shortest.size() < static_cast<std::size_t>(entries.size());
    if (shortest.empty()) {
        return;
    }
    std::vector<qint64> lengths;
    lengths.reserve(shortest.size());
    for (const auto& item : shortest) {
        lengths.push_back(item.second);
    }
    std::sort(lengths.begin(), lengths.end());
    lengths.erase(std::unique(lengths.begin(), lengths.end()), lengths.end());
    for (const qint64 us : lengths) {
        Interval interval;
        interval.counts.intervalUs = us;
        interval.startUs = interval.dueUs = nowUs;
        intervals_.push_back(interval);
    }
    for (const ItemRange& entry : entries) {
        const auto found = shortest.find(entryKey(entry));
        intervalOf_ +=
            found == shortest.end()
                ? -1
                : static_cast<int>(std::lower_bound(lengths.begin(), lengths.end(), found->second) -
                                   lengths.begin());
    }
}

bool PollSchedule::due(int entry, qint64 nowUs) const {
    const int interval = intervalOf(entry);
    return interval < 0 || intervals_[static_cast<std::size_t>(interval)].dueUs <= nowUs;
}

DueUs PollSchedule::nextUs() const {
    DueUs next;
    for (const Interval& interval : intervals_) {
        next = sooner(next, interval.dueUs);
    }
    return next;
}

// To the first multiple after `nowUs`.
void PollSchedule::Interval::skipTo(qint64 nowUs) {
    dueUs = startUs + ((nowUs - startUs) / counts.intervalUs + 1) * counts.intervalUs;
}

void PollSchedule::Interval::addSpan(qint64 us) {
    spansUs[spans++ % spansUs.size()] = us;
}

void PollSchedule::Interval::count(bool turnLate) {
    late = turnLate;
    if (!turnLate) {
        lateTurns = 0;
        noticed = noticed && ++punctualTurns < TURNS_TO_NOTICE;
        return;
    }
    ++counts.late;
    ++lateTurns;
    punctualTurns = 0;
}

void PollSchedule::begin(qint64 nowUs) {
    for (Interval& interval : intervals_) {
        if (interval.dueUs > nowUs) {
            continue;
        }
        IntervalTurns& counts = interval.counts;
        if (interval.late) {
            interval.addSpan(nowUs - interval.beganUs);
            counts.achievableUs = roundedUpUs(*std::max_element(
                interval.spansUs.begin(),
                interval.spansUs.begin() + std::min(interval.spans, interval.spansUs.size())));
        }
        const qint64 missed = (nowUs - interval.dueUs) / counts.intervalUs;
        counts.turns += 1 + missed;
        counts.late += missed;
        interval.skipTo(nowUs);
        interval.beganUs = nowUs;
        interval.underWay = true;
        if (interval.lateTurns >= TURNS_TO_NOTICE && !interval.noticed) {
            interval.noticed = true;
            notices_ += QStringLiteral(
                            "the line cannot keep an interval of %1: %2 turns in a row were late; an "
                            "interval of %3 would be kept")
                            .arg(durationText(counts.intervalUs))
                            .arg(interval.lateTurns)
                            .arg(durationText(counts.achievableUs));
        }
    }
}

void PollSchedule::end(qint64 nowUs) {
    for (Interval& interval : intervals_) {
        if (interval.underWay) {
            interval.underWay = false;
            interval.count(nowUs > interval.dueUs);
            if (!interval.late) {
                interval.addSpan(nowUs - interval.beganUs);
            }
        }
    }
}

void PollSchedule::pass(qint64 nowUs) {
    for (Interval& interval : intervals_) {
        if (interval.dueUs <= nowUs) {
            interval.skipTo(nowUs);
        }
    }
}

void PollSchedule::lineBack(qint64 nowUs) {
    for (Interval& interval : intervals_) {
        interval.skipTo(nowUs);
        interval.dueUs -= interval.counts.intervalUs;
        interval.underWay = interval.late = false;
    }
}

QVector<IntervalTurns> PollSchedule::turns() const {
    QVector<IntervalTurns> turns;
    for (const Interval& interval : intervals_) {
        turns += interval.counts;
    }
    return turns;
}

QStringList PollSchedule::takeNotices() {
    return std::exchange(notices_, {});
}

}  // namespace dx7
