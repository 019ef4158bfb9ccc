#include "host/poll/held_reads.h"

#include <algorithm>

namespace dx7 {

ReadItems HeldReads::itemsOf(const Held& held) const {
    return ReadItems{held.range, held.skip ? &*held.skip : nullptr, items_.data() + held.firstItem,
                     held.readUs, held.ticket.value_or(0)};
}

ReadItems HeldReads::hold(DriverSession& session, const ItemRange& range, int itemBytes,
                          const ItemRange* writing, qint64 readUs, quint64 ticket) {
    Held held;
    held.ticket = ticket;
    held.range = range;
    if (writing != nullptr) {
        held.skip = *writing;
    }
    held.firstItem = items_.size();
    held.readUs = readUs;
    session.values(range, itemBytes, &items_);
    held_.push_back(held);
    return itemsOf(held_.back());
}

QVector<int> HeldReads::lastItems() const {
    QVector<int> items;
    const Held& held = held_.back();
    for (int i = 0; i < held.range.count; ++i) {
        items += items_[held.firstItem + static_cast<std::size_t>(i)];
    }
    return items;
}

void HeldReads::settle(quint64 ticket, bool good, ValueTable& table, std::vector<int>* changed,
                       std::vector<Reading>* readings) {
    for (std::size_t i = first_; i < held_.size(); ++i) {
        if (held_[i].ticket == ticket) {
            table.settle(itemsOf(held_[i]), good, changed);
            if (readings != nullptr) {
                table.addReadings(itemsOf(held_[i]), good, readings);
            }
            held_[i].ticket.reset();
            break;
        }
    }
    while (first_ < held_.size() && !held_[first_].ticket) {
        ++first_;
    }
    // No sooner, so that each is moved once at most.
    if (first_ >= held_.size() - first_) {
        forgetSettled();
    }
}

void HeldReads::forgetSettled() {
    const std::size_t items = first_ < held_.size() ? held_[first_].firstItem : items_.size();
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(first_));
    items_.erase(items_.begin(), items_.begin() + static_cast<std::ptrdiff_t>(items));
    for (Held& held : held_) {
        held.firstItem -= items;
    }
    first_ = 0;
}

}  // namespace dx7
