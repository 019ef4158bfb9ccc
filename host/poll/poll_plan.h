/// \file
/// What is handed to the driver for polling, and the check that its plan reads every item from its own
/// station.
#ifndef DX7_HOST_POLL_PLAN_H
#define DX7_HOST_POLL_PLAN_H

#include <QVector>
#include <optional>

#include "host/driver/driver_session.h"
#include "host/items/item_notation.h"
#include "host/poll/entry_lists.h"

namespace dx7 {

/// The items of the points, each once, one entry per item, ordered by station, type and address. Single items
/// in ascending order leave the driver no inner entry that would shorten a block, and no block that runs on
/// where the device's register numbers do not.
QVector<ItemRange> pollEntries(const QVector<Point>& points);

/// Whether every entry is read by a block of its own station and type.
bool coversAll(const QVector<ItemRange>& blocks, const QVector<ItemRange>& entries);

/// A turn of polling, handed to the driver. The driver joins neighbouring addresses of one type even when
/// they belong to different stations, and reads the joined block from the first of them. Where that would
/// happen a list falls into parts of one station each: every part is handed to the driver for one cycle of
/// its own blocks. It calls the driver, so on the thread of the session.
class PollPlan {
public:
    /// `session` is borrowed and must outlive the plan; the next merge() of it drops what the plan gave it.
    explicit PollPlan(DriverSession& session) : session_(session) {}

    /// Begins a turn with these entries, one at least. The driver must be between operations. Where they are
    /// those of the turn before, the driver need not plan again.
    void begin(const EntryLists& lists);
    /// A turn is under way: the driver has blocks of it to read.
    bool underWay() const { return underWay_; }
    /// Ends the turn, if there is one, and leaves the driver without a plan. The driver must be between
    /// operations.
    void clear();

    /// Every block of the last turn, part by part.
    QVector<ItemRange> blocks() const;
    int blockCount() const;

    /// A cyclic read of the turn has ended. True when it was the last one, and the turn is over. Hands the
    /// next part to the driver when the current one is through.
    bool blockDone();

private:
    struct Part {
        /// What the driver is handed: its own blocks, which it leaves as they are, else the entries.
        QVector<ItemRange> list;
        QVector<ItemRange> blocks;
    };
    void plan();
    Part part(const QVector<ItemRange>& entries);
    void activate(int part);

    DriverSession& session_;
    EntryLists lists_;
    QVector<Part> parts_;
    bool underWay_ = false;
    /// Of parts_, the one that the driver has.
    std::optional<int> handedOver_;
    int current_ = 0;
    int done_ = 0;
};

}  // namespace dx7

#endif
