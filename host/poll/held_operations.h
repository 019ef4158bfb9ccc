/// \file
/// Operations that have been answered, and whose last answer is not settled yet.
#ifndef DX7_HOST_HELD_OPERATIONS_H
#define DX7_HOST_HELD_OPERATIONS_H

#include <vector>

#include "host/poll/operation.h"

namespace dx7 {

/// Holds the end of each operation back until it is known what its answer is worth. `done` of an operation is
/// called without its being held any more, and may have further ones held. A value; one thread at a time.
class HeldOperations {
public:
    bool empty() const { return held_.empty(); }
    int count() const { return static_cast<int>(held_.size()); }
    /// Holds an operation with a `done`, its last transaction answered under a ticket.
    void hold(const Operation& operation, const Transaction& last);
    /// Ends the operation with this ticket, if there is one: doubtful unless `good`.
    void settle(quint64 ticket, bool good);
    /// Ends all of them, in order, as cut short and doubtful, with `reason` as info.
    void cut(const QString& reason);

private:
    struct Held {
        Operation operation;
        Transaction last;
    };
    std::vector<Held> held_;
};

}  // namespace dx7

#endif
