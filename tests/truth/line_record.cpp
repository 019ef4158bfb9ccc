#include "line_record.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"
#include "host/exchange/station_ledger.h"
#include "random.h"

namespace truth {

namespace {

const qint64 MS = 1000;

}  // namespace

int valueOf(int station, int function, int item, std::uint64_t reading) {
    const auto key = static_cast<std::uint64_t>(station) << 40 | static_cast<std::uint64_t>(function) << 32 |
                     static_cast<std::uint64_t>(item);
    return static_cast<int>(mixed(mixed(key) + reading) >> 48);
}

QByteArray shapeOf(const QByteArray& frame) {
    const int function = dx7::byteAt(frame, 1);
    QByteArray shape = frame.left(2);
    shape.append(static_cast<char>(frame.size()));
    if (dx7::isWriteFunction(function) || function == dx7::DIAGNOSTICS) {
        shape.append(frame.mid(2, 4));
    }
    return shape;
}

QByteArray replyShape(const QByteArray& request) {
    const int function = dx7::byteAt(request, 1);
    QByteArray shape = request.left(2);
    if (dx7::isWriteFunction(function) || function == dx7::DIAGNOSTICS) {
        shape.append(char(8));
        shape.append(request.mid(2, 4));
        return shape;
    }
    const int count = dx7::wordAt(request, 4);
    const int bytes = function == dx7::READ_EXCEPTION_STATUS ? 0
                      : function <= 2                        ? (count + 7) / 8
                                                             : 2 * count;
    shape.append(static_cast<char>(bytes + 5));
    return shape;
}

std::uint64_t LineRecord::readingAt(qint64 atUs) const {
    return static_cast<std::uint64_t>(std::upper_bound(readings_.begin(), readings_.end(), atUs) -
                                      readings_.begin());
}

const LineRecord::Sent* LineRecord::lastSent(const QByteArray& frame, qint64 beforeUs) const {
    for (auto sent = sent_.rbegin(); sent != sent_.rend(); ++sent) {
        if (sent->atUs <= beforeUs && sent->frame == frame) {
            return &*sent;
        }
    }
    return nullptr;
}

bool LineRecord::executed(const QByteArray& request, qint64 fromUs, qint64 toUs) const {
    return std::any_of(executions_.begin(), executions_.end(), [&](const Execution& execution) {
        return execution.request == request && execution.atUs >= fromUs && execution.atUs <= toUs;
    });
}

int LineRecord::insertions(qint64 untilUs) const {
    return static_cast<int>(std::count_if(insertionsUs_.begin(), insertionsUs_.end(),
                                          [untilUs](qint64 atUs) { return atUs <= untilUs; }));
}

bool LineRecord::undecidable(const QByteArray& shape, qint64 fromUs, qint64 toUs) const {
    const auto within = [&](const std::vector<Mark>& marks, const QByteArray& alike, qint64 sinceUs) {
        return std::any_of(marks.begin(), marks.end(), [&](const Mark& mark) {
            return mark.shape.startsWith(alike) && mark.atUs >= sinceUs && mark.atUs <= toUs;
        });
    };
    const StationKind& kind = stations_.at(dx7::byteAt(shape, 0) - 1);
    const QByteArray status = shape.left(1) + char(dx7::READ_EXCEPTION_STATUS);
    const QByteArray diagnostic = shape.left(1) + char(dx7::DIAGNOSTICS);
    const QByteArray refusal = shape.left(1) + char(dx7::DIAGNOSTICS | dx7::EXCEPTION_BIT);
    // What is put in is on the line for a while before it is there.
    const qint64 onLineUs = 100 * MS;
    // A refusal fits every request with its function code.
    const QByteArray refused = shape.left(1) + char(dx7::byteAt(shape, 1) | dx7::EXCEPTION_BIT);
    const bool put =
        within(inserted_, shape, fromUs - onLineUs) || within(inserted_, refused, fromUs - onLineUs);
    const bool uncounted = kind.refuses8 && within(inserted_, shape, 0) && within(inserted_, status, 0) &&
                           within(inserted_, refusal, 0);
    // A surplus answer to code 7 shifts those after it for good, and nothing else can be asked.
    // The echo of code 8 is taken for an answer that never comes.
    const bool echoed = kind.ignores8 && within(inserted_, diagnostic, 0);
    const bool echoedNow =
        std::any_of(echoedQueries_.begin(), echoedQueries_.end(), [&](const EchoedQuery& query) {
            return query.station == dx7::byteAt(shape, 0) && query.atUs >= fromUs && query.atUs <= toUs;
        });
    return uncounted || echoed || echoedNow || (put && within(lost_, shape, fromUs)) ||
           (put && within(inserted_, diagnostic, fromUs) &&
            (within(inserted_, status, fromUs) || dx7::repliesLikeItself(dx7::byteAt(shape, 1)))) ||
           ((kind.ignores8 || falseEcho_) && within(inserted_, status, 0)) ||
           (kind.ignores7 && kind.ignores8 && within(inserted_, shape, 0));
}

}  // namespace truth
