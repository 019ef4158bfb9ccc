#include "host/poll/refused_items.h"

#include <algorithm>
#include <utility>

namespace dx7 {

namespace {

constexpr int ILLEGAL_FUNCTION = 1;
constexpr int ILLEGAL_DATA_ADDRESS = 2;
constexpr int ILLEGAL_DATA_VALUE = 3;

// Whether a part of what was asked for may be what is refused.
bool meansItems(int code) {
    return code == ILLEGAL_DATA_ADDRESS || code == ILLEGAL_DATA_VALUE;
}

std::pair<int, QString> keyOf(const ItemRange& range) {
    return {range.station, range.regType};
}

bool contains(const ItemRange& range, int address) {
    return address >= range.address && address < range.address + range.count;
}

ItemRange partOf(const ItemRange& range, int first, int end) {
    return ItemRange{range.station, range.regType, first, end - first};
}

}  // namespace

void RefusedItems::watch(const QVector<Point>& points) {
    places_.clear();
    bonds_.clear();
    longestRead_.clear();
    for (const Point& point : points) {
        for (int i = 1; i < point.items(); ++i) {
            bonds_[{point.station, point.type.name}].insert(point.address + i);
        }
    }
}

// What is to be polled.

const RefusedItems::Place* RefusedItems::placeOf(const ItemRange& range) const {
    const auto found = places_.find(keyOf(range));
    return found == places_.end() ? nullptr : &found->second;
}

bool RefusedItems::isOut(const Place& place, int address) {
    if (place.all) {
        return true;
    }
    const auto after = place.parts.upper_bound(address);
    if (after != place.parts.begin() && contains(std::prev(after)->second.range, address)) {
        return true;
    }
    return std::any_of(place.searches.begin(), place.searches.end(),
                       [address](const Search& search) { return contains(search.block, address); });
}

bool RefusedItems::leftOut(const ItemRange& item) const {
    const Place* const place = placeOf(item);
    return place != nullptr && isOut(*place, item.address);
}

bool RefusedItems::isRefused(const ItemRange& range) const {
    const Place* const place = placeOf(range);
    if (place == nullptr) {
        return false;
    }
    const auto part = place->parts.find(range.address);
    return place->all || (part != place->parts.end() && part->second.range == range);
}

bool RefusedItems::wholeType(int station, const QString& type) const {
    const Place* const place = placeOf(ItemRange{station, type, 0, 0});
    return place != nullptr && place->all.has_value();
}

// Where the items that go together with the one at `address` end.
int RefusedItems::atomEnd(const PlaceKey& key, int address) const {
    const auto bonds = bonds_.find(key);
    int end = address + 1;
    while (bonds != bonds_.end() && bonds->second.count(end) != 0) {
        ++end;
    }
    return end;
}

// The addresses at which the range may be cut, its first one included.
std::vector<int> RefusedItems::atoms(const ItemRange& range) const {
    std::vector<int> starts;
    for (int address = range.address; address < range.address + range.count;
         address = atomEnd(keyOf(range), address)) {
        starts.push_back(address);
    }
    return starts;
}

EntryLists RefusedItems::lists(const QVector<ItemRange>& entries) const {
    EntryLists lists;
    const ItemRange* before = nullptr;
    int run = 0;
    std::size_t turn = 0;
    int atomEndsAt = 0;
    for (const ItemRange& entry : entries) {
        const Place* const place = placeOf(entry);
        if (place != nullptr && isOut(*place, entry.address)) {
            continue;
        }
        const bool runsOn = before != nullptr && before->station == entry.station &&
                            before->regType == entry.regType && before->address + 1 == entry.address;
        if (!runsOn) {
            run = 0;
            turn = 0;
        }
        if (!runsOn || entry.address >= atomEndsAt) {
            atomEndsAt = atomEnd(keyOf(entry), entry.address);
            const bool cut = place != nullptr && run > 0 &&
                             (place->cuts.count(entry.address) != 0 ||
                              (place->longest && run + atomEndsAt - entry.address > *place->longest));
            turn = cut ? 1 - turn : turn;
            run = cut ? 0 : run;
        }
        lists[turn] += entry;
        ++run;
        before = &entry;
    }
    return lists;
}

// What came of it.

void RefusedItems::read(const ItemRange& block) {
    int& longest = longestRead_[keyOf(block)];
    longest = std::max(longest, block.count);
}

int RefusedItems::longestRead(const PlaceKey& key) const {
    const auto found = longestRead_.find(key);
    return found == longestRead_.end() ? 0 : found->second;
}

void RefusedItems::refused(const ItemRange& block, int code, qint64 nowUs) {
    if (code == ILLEGAL_FUNCTION) {
        leaveOutType(block, nowUs);
    } else if (meansItems(code) && atoms(block).size() > 1) {
        beginSearch(block, code);
    } else {
        leaveOut(block, nowUs);
    }
}

void RefusedItems::leaveOut(const ItemRange& range, qint64 nowUs) {
    LeftOut left;
    left.range = range;
    left.dueUs = nowUs + left.pause.next();
    places_[keyOf(range)].parts[range.address] = left;
}

void RefusedItems::leaveOutType(const ItemRange& asked, qint64 nowUs) {
    Place& place = places_[keyOf(asked)];
    place.parts.clear();
    place.searches.clear();
    LeftOut left;
    left.pause = place.allPause.value_or(left.pause);
    left.range = partOf(asked, asked.address, atomEnd(keyOf(asked), asked.address));
    left.dueUs = nowUs + left.pause.next();
    place.all = left;
}

void RefusedItems::beginSearch(const ItemRange& block, int code) {
    Search search;
    search.block = block;
    search.code = code;
    search.shortestRefused = block.count;
    addHalves(block, atoms(block), &search);
    places_[keyOf(block)].searches.push_back(search);
}

// The halves of a range that may be cut at `starts`, two at least; the first is to be read next.
void RefusedItems::addHalves(const ItemRange& range, const std::vector<int>& starts, Search* search) {
    const int middle = starts[starts.size() / 2];
    search->pending.push_back(partOf(range, middle, range.address + range.count));
    search->pending.push_back(partOf(range, range.address, middle));
}

void RefusedItems::asked(const ItemRange& range, const ReadEnd& end, qint64 nowUs) {
    const auto found = places_.find(keyOf(range));
    if (found == places_.end()) {
        return;
    }
    Place& place = found->second;
    const bool searched = !place.searches.empty() &&
                          (place.searches.front().again ? place.searches.front().block
                                                        : place.searches.front().pending.back()) == range;
    if (searched) {
        takeSearch(place, range, end, nowUs);
    } else {
        takeLeftOut(range, end, nowUs);
    }
    tidy(keyOf(range));
}

void RefusedItems::takeSearch(Place& place, const ItemRange& range, const ReadEnd& end, qint64 nowUs) {
    Search& search = place.searches.front();
    if (end.kind == ReadEnd::Unanswered) {
        // Nothing is known of this part; the plan asks for the rest again.
        place.searches.pop_front();
        leaveOut(range, nowUs);
        return;
    }
    if (end.kind == ReadEnd::Refused && end.code == ILLEGAL_FUNCTION) {
        leaveOutType(range, nowUs);
        return;
    }
    const bool divisible = end.kind == ReadEnd::Refused && meansItems(end.code);
    if (search.again) {
        const Search whole = search;
        place.searches.pop_front();
        if (divisible) {
            learnLength(place, whole);
        } else {
            // It was refused for a moment, or is for another reason.
            leaveOut(range, nowUs);
        }
        return;
    }
    search.pending.pop_back();
    const std::vector<int> starts = atoms(range);
    if (end.kind == ReadEnd::Read) {
        search.taken.push_back(range);
    } else if (divisible && starts.size() > 1) {
        search.shortestRefused = std::min(search.shortestRefused, range.count);
        addHalves(range, starts, &search);
    } else {
        search.foundItem = true;
        leaveOut(range, nowUs);
    }
    if (search.pending.empty() && search.foundItem) {
        place.searches.pop_front();
    } else if (search.pending.empty()) {
        search.again = true;
    }
}

void RefusedItems::learnLength(Place& place, const Search& search) {
    int longest = 0;
    for (const ItemRange& part : search.taken) {
        longest = std::max(longest, part.count);
    }
    const QString where =
        QStringLiteral("station %1 refuses %2").arg(search.block.station).arg(search.block.regType);
    // A request of that length that was read elsewhere shows that it is not the length.
    if (std::max(longest, longestRead(keyOf(search.block))) < search.shortestRefused) {
        place.longest = std::min(longest, place.longest.value_or(longest));
        notices_ += QStringLiteral(
                        "%1 in requests of %2 items (exception %3) and takes %4: its requests keep "
                        "to that; --block %4 spares the search for it")
                        .arg(where)
                        .arg(search.shortestRefused)
                        .arg(search.code)
                        .arg(*place.longest);
        return;
    }
    for (std::size_t i = 1; i < search.taken.size(); ++i) {
        place.cuts.insert(search.taken[i].address);
    }
    notices_ +=
        QStringLiteral("%1 in one request (exception %2) that it takes in parts: it is asked in parts")
            .arg(where)
            .arg(search.code);
}

void RefusedItems::takeLeftOut(const ItemRange& range, const ReadEnd& end, qint64 nowUs) {
    Place& place = places_[keyOf(range)];
    const bool illegalFunction = end.kind == ReadEnd::Refused && end.code == ILLEGAL_FUNCTION;
    if (place.all) {
        if (end.kind == ReadEnd::Unanswered || illegalFunction) {
            place.all->dueUs = nowUs + place.all->pause.next();
        } else {
            // What it may still refuse of the type, the plan finds.
            place.allPause = place.all->pause;
            place.all.reset();
        }
        return;
    }
    const auto part = place.parts.find(range.address);
    if (part == place.parts.end() || part->second.range.count != range.count) {
        return;
    }
    if (end.kind == ReadEnd::Read) {
        place.parts.erase(part);
    } else if (illegalFunction) {
        leaveOutType(range, nowUs);
    } else if (end.kind == ReadEnd::Refused && meansItems(end.code) && atoms(range).size() > 1) {
        place.parts.erase(part);
        beginSearch(range, end.code);
    } else {
        part->second.dueUs = nowUs + part->second.pause.next();
    }
}

void RefusedItems::lineBack(qint64 nowUs) {
    const auto soon = [nowUs](LeftOut& left) {
        left.pause.reset();
        left.dueUs = nowUs;
    };
    for (auto& [key, place] : places_) {
        if (place.all) {
            soon(*place.all);
        }
        for (auto& [address, part] : place.parts) {
            soon(part);
        }
    }
}

void RefusedItems::tidy(const PlaceKey& key) {
    const auto found = places_.find(key);
    if (found == places_.end()) {
        return;
    }
    const Place& place = found->second;
    const bool unused = !place.all && !place.allPause && place.parts.empty() && place.searches.empty() &&
                        place.cuts.empty() && !place.longest;
    if (unused) {
        places_.erase(found);
    }
}

// What is to be asked alone.

std::optional<ItemRange> RefusedItems::next(const QVector<int>& silent) const {
    for (const auto& [key, place] : places_) {
        if (!place.searches.empty() && !silent.contains(key.first)) {
            const Search& search = place.searches.front();
            return search.again ? search.block : search.pending.back();
        }
    }
    return {};
}

// The part that is due first, of stations that are not silent.
const RefusedItems::LeftOut* RefusedItems::soonest(const QVector<int>& silent) const {
    const LeftOut* first = nullptr;
    const auto consider = [&first](const LeftOut& left) {
        first = first == nullptr || left.dueUs < first->dueUs ? &left : first;
    };
    for (const auto& [key, place] : places_) {
        if (silent.contains(key.first)) {
            continue;
        }
        if (place.all) {
            consider(*place.all);
        }
        for (const auto& [address, part] : place.parts) {
            consider(part);
        }
    }
    return first;
}

std::optional<ItemRange> RefusedItems::due(const QVector<int>& silent, qint64 nowUs) const {
    const LeftOut* const first = soonest(silent);
    return first != nullptr && first->dueUs <= nowUs ? std::optional<ItemRange>(first->range) : std::nullopt;
}

DueUs RefusedItems::nextDueUs(const QVector<int>& silent) const {
    const LeftOut* const first = soonest(silent);
    return first != nullptr ? DueUs(first->dueUs) : DueUs();
}

QStringList RefusedItems::takeNotices() {
    return std::exchange(notices_, {});
}

}  // namespace dx7
