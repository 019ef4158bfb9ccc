/// \file
/// What is handed to the driver for polling, and the check that its plan reads every item from its own
/// station.
#ifndef DX7_HOST_POLL_PLAN_H
#define DX7_HOST_POLL_PLAN_H

#include <QVector>

#include "host/driver/driver_session.h"
#include "host/items/item_notation.h"

namespace dx7 {

/// The items of the points, each once, one entry per item, ordered by station, type and address. Single items
/// in ascending order leave the driver no inner entry that would shorten a block, and no block that runs on
/// where the device's register numbers do not.
QVector<ItemRange> pollEntries(const QVector<Point>& points);

/// Whether every entry is read by a block of its own station and type.
bool coversAll(const QVector<ItemRange>& blocks, const QVector<ItemRange>& entries);

/// The polling plan of a line. The driver joins neighbouring addresses of one type even when they belong to
/// different stations, and reads the joined block from the first of them. Where that would happen the plan
/// falls into parts of one station each, which take turns: every part is handed to the driver for one cycle
/// of its own blocks. It calls the driver, so on the thread of the session.
class PollPlan {
public:
    /// `session` is borrowed and must outlive the plan; the next merge() of it drops what the plan gave it.
    explicit PollPlan(DriverSession& session) : session_(session) {}

    void setEntries(const QVector<ItemRange>& entries) { entries_ = entries; }
    /// Rebuilds the plan without the stations in `leftOut` and hands its first part to the driver, which must
    /// be between operations.
    void rebuild(const QVector<int>& leftOut);

    /// Every block of the plan, part by part.
    QVector<ItemRange> blocks() const;
    int blockCount() const;

    /// A cyclic read has ended. True when it was the last one of the cycle. Hands the next part to the driver
    /// when the current one is through.
    bool blockDone();

private:
    struct Part {
        QVector<ItemRange> entries;
        QVector<ItemRange> blocks;
    };
    void activate(int part);

    DriverSession& session_;
    QVector<ItemRange> entries_;
    QVector<Part> parts_;
    int current_ = 0;
    int done_ = 0;
};

}  // namespace dx7

#endif
