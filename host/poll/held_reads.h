/// \file
/// Reads whose replies are not settled yet, with the items that they brought.
#ifndef DX7_HOST_HELD_READS_H
#define DX7_HOST_HELD_READS_H

#include <optional>
#include <vector>

#include "host/poll/value_table.h"

namespace dx7 {

/// The host keeps its own copy: the driver may have stored a value that is not proven, or a newer one.
/// Session and table are borrowed for each call. One thread at a time.
class HeldReads {
public:
    /// Takes the items of `range`, `itemBytes` each, from the driver. `writing` (or null) is the range of the
    /// write under way. What the result points to is borrowed up to the next call.
    ReadItems hold(DriverSession& session, const ItemRange& range, int itemBytes, const ItemRange* writing,
                   qint64 readUs, quint64 ticket);
    /// The items of the read that was held last; to be called before settle().
    QVector<int> lastItems() const;
    /// Hands the read with this ticket, if there is one, to the table and lets go of it. Appends the points
    /// whose told() changed, and the readings unless that is null.
    void settle(quint64 ticket, bool good, ValueTable& table, std::vector<int>* changed,
                std::vector<Reading>* readings);

private:
    struct Held {
        /// Empty when it is settled.
        std::optional<quint64> ticket;
        ItemRange range;
        /// The write under way when it was read, if there was one.
        std::optional<ItemRange> skip;
        /// Index in items_.
        std::size_t firstItem = 0;
        qint64 readUs = 0;
    };
    ReadItems itemsOf(const Held& held) const;
    void forgetSettled();

    std::vector<Held> held_;
    /// Of held_: those before it are settled.
    std::size_t first_ = 0;
    std::vector<quint16> items_;
};

}  // namespace dx7

#endif
