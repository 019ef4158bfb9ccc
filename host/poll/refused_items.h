/// \file
/// What stations refuse to read, found item by item. Pure: time is passed in, in microseconds.
#ifndef DX7_HOST_REFUSED_ITEMS_H
#define DX7_HOST_REFUSED_ITEMS_H

#include <QStringList>
#include <QVector>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "host/driver/driver_session.h"
#include "host/items/item_notation.h"
#include "host/line/clock.h"
#include "host/poll/entry_lists.h"
#include "host/poll/growing_pause.h"

namespace dx7 {

/// How a read ended, as far as refusals are concerned.
struct ReadEnd {
    enum Kind {
        /// The values came.
        Read,
        /// The station refused, with `code`.
        Refused,
        /// No valid reply came.
        Unanswered
    };
    Kind kind = Unanswered;
    int code = 0;
};

/// A station that refuses a block of a polling plan with "illegal data address" or "illegal data value" (2,
/// 3) may have all of it but one item, or may take shorter requests alone. So the block is halved, its parts
/// are read one by one, and what is refused alone is left out. Where each part is read alone and the whole is
/// refused once more, the block is too long for the station: its requests keep to the length that was read,
/// or to the places where it was cut. "Illegal function" (1) holds for the whole type at the station. Any
/// other refusal, such as a device that is busy, says nothing of the items: the block is left out as it is.
///
/// What is left out is asked alone after pauses that grow as those of a silent station do, and is polled
/// again with its first answer. A value of two words is never cut.
///
/// It owns copies of what it needs of the points. One thread at a time; nothing of it fails.
class RefusedItems {
public:
    /// The points that are polled, in place of those before; nothing is refused.
    void watch(const QVector<Point>& points);

    // What is to be polled.

    /// Nothing is left out, and no request is to be shorter than usual.
    bool empty() const { return places_.empty(); }
    bool leftOut(const ItemRange& item) const;
    /// The entries that are not left out, single items in ascending order; what a station does not take in
    /// one request is in different lists.
    EntryLists lists(const QVector<ItemRange>& entries) const;

    // What came of it.

    /// A block of the plan was read: the station takes requests of its length.
    void read(const ItemRange& block);
    /// A block of the plan was refused.
    void refused(const ItemRange& block, int code, qint64 nowUs);
    /// A read of next() or due() ended.
    void asked(const ItemRange& range, const ReadEnd& end, qint64 nowUs);
    /// The line is back: what is left out is asked at once, then at the first pauses.
    void lineBack(qint64 nowUs);

    // What is to be asked alone.

    /// The next part of a block that is being searched, at a station that `silent` does not name; empty when
    /// there is none. Stays until asked().
    std::optional<ItemRange> next(const QVector<int>& silent) const;
    /// What has been left out for long enough, the longest due first, likewise. Stays until asked().
    std::optional<ItemRange> due(const QVector<int>& silent, qint64 nowUs) const;
    /// When due() will give something; empty when nothing is left out.
    DueUs nextDueUs(const QVector<int>& silent) const;
    /// Whether this range, as refused() or asked() was told of it, was refused as a whole, or its whole type
    /// is. Not while a search for the refused item goes on.
    bool isRefused(const ItemRange& range) const;
    /// Whether the whole type is refused at the station.
    bool wholeType(int station, const QString& type) const;

    /// What was found out since this was called last, as sentences.
    QStringList takeNotices();

private:
    /// Left out, and asked alone.
    struct LeftOut {
        ItemRange range;
        GrowingPause pause;
        qint64 dueUs = 0;
    };
    /// A block whose parts are read one by one.
    struct Search {
        ItemRange block;
        /// To be read, the next one last.
        std::vector<ItemRange> pending;
        /// Read.
        std::vector<ItemRange> taken;
        /// Code of the block's refusal.
        int code = 0;
        int shortestRefused = 0;
        bool foundItem = false;
        /// All parts were read: the whole is asked once more.
        bool again = false;
    };
    /// A type at a station.
    struct Place {
        /// The whole type is refused.
        std::optional<LeftOut> all;
        /// When it was refused before, and taken again: the pause that it had.
        std::optional<GrowingPause> allPause;
        /// By their first address.
        std::map<int, LeftOut> parts;
        std::deque<Search> searches;
        /// Addresses before which a request ends.
        std::set<int> cuts;
        /// Most items in a request.
        std::optional<int> longest;
    };
    using PlaceKey = std::pair<int, QString>;

    static bool isOut(const Place& place, int address);
    const LeftOut* soonest(const QVector<int>& silent) const;
    const Place* placeOf(const ItemRange& range) const;
    int atomEnd(const PlaceKey& key, int address) const;
    std::vector<int> atoms(const ItemRange& range) const;
    void leaveOut(const ItemRange& range, qint64 nowUs);
    void leaveOutType(const ItemRange& asked, qint64 nowUs);
    void beginSearch(const ItemRange& block, int code);
    static void addHalves(const ItemRange& range, const std::vector<int>& starts, Search* search);
    void takeSearch(Place& place, const ItemRange& range, const ReadEnd& end, qint64 nowUs);
    void learnLength(Place& place, const Search& search);
    int longestRead(const PlaceKey& key) const;
    void takeLeftOut(const ItemRange& range, const ReadEnd& end, qint64 nowUs);
    void tidy(const PlaceKey& key);

    std::map<PlaceKey, Place> places_;
    /// The addresses, by type at a station, that belong to a value of two words with the one before.
    std::map<PlaceKey, std::set<int>> bonds_;
    /// Items of the longest block that was read.
    std::map<PlaceKey, int> longestRead_;
    QStringList notices_;
};

}  // namespace dx7

#endif
