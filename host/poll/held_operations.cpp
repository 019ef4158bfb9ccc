#include "host/poll/held_operations.h"

#include <algorithm>
#include <utility>

namespace dx7 {

void HeldOperations::hold(const Operation& operation, const Transaction& last) {
    held_.push_back(Held{operation, last});
}

void HeldOperations::settle(quint64 ticket, bool good) {
    const auto found = std::find_if(held_.begin(), held_.end(),
                                    [ticket](const Held& held) { return held.last.ticket == ticket; });
    if (found == held_.end()) {
        return;
    }
    Held ended = *found;
    held_.erase(found);
    ended.last.doubtful = !good;
    ended.last.unsettled = ended.last.unsettled || (!good && ended.operation.kind == Operation::Write);
    ended.operation.done(ended.last);
}

void HeldOperations::cut(const QString& reason) {
    for (Held& ended : std::exchange(held_, {})) {
        ended.last.outcome = Outcome::CutShort;
        ended.last.info = reason;
        ended.last.doubtful = ended.last.sent = true;
        ended.last.unsettled = ended.operation.kind == Operation::Write;
        ended.operation.done(ended.last);
    }
}

}  // namespace dx7
