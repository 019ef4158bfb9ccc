/// \file
/// What the driver does per item, measured on walks over the items it monitors.
#ifndef DX7_BENCH_WALK_OPERATIONS_H
#define DX7_BENCH_WALK_OPERATIONS_H

#include <vector>

#include "device_items.h"
#include "driver_copy.h"
#include "link.h"

namespace dx7bench {

enum WalkOperation {
    WALK_DECODE_SAME,     ///< Replies of 60 words that bring nothing new.
    WALK_DECODE_CHANGED,  ///< Replies of 60 words, each of them changed and reported.
    WALK_DECODE_BITS,     ///< Replies of 64 bits that bring nothing new.
    WALK_GET,             ///< intf_getData, item by item.
    WALK_SET,             ///< intf_setData, item by item, the queue of writes empty.
    WALK_SET_QUEUED,      ///< intf_setData, item by item, behind 512 waiting writes.
    WALK_BARE,            ///< No driver: one byte of a record of 80 per item, each read after the one before.
    WALK_OPERATIONS
};

const char* walkOperationName(WalkOperation operation);

const char* const FIRST_REPLY = "first reply of 64 bits, which makes their areas";

/// A driver of its own with `count` items monitored, and the walks over them.
class WalkSet {
public:
    explicit WalkSet(int count);

    int items() const { return static_cast<int>(items_.polling.size()); }

    /// What the first replies cost for bits that have no areas yet, in nanoseconds per item.
    double firstReplyNanoseconds() const { return firstReplyNs_; }

    /// Walks once over the whole set. Operations that need something made ready between two calls hold the
    /// clock themselves and return the nanoseconds of the calls alone; for the others, the whole walk counts
    /// (returns 0).
    double walk(WalkOperation operation, bool randomOrder);
    static bool holdsTheClock(WalkOperation operation);

    /// Items that one walk handles. Bits are items of their own: six types of 64 bits at every station.
    double itemsOfWalk(WalkOperation operation) const;

private:
    void load(int count);
    std::vector<Item> pollingOrder() const;
    void planReads(const std::vector<Item>& items);
    void measureFirstReplies();
    void makeMissingAreas();
    void fillWriteQueue();
    double decodeWalk(const std::vector<Item>& reads, const FRAME_PRO& frame, const QByteArray& reply);
    void getWalk(const std::vector<Item>& items);
    void setWalk(const std::vector<Item>& items);
    double setQueuedWalk(const std::vector<Item>& items);
    void bareWalk(const std::vector<std::size_t>& positions);

    /// The same list in polling order and shuffled.
    template <typename Element>
    struct Order {
        std::vector<Element> polling;
        std::vector<Element> random;
        const std::vector<Element>& get(bool isRandom) const { return isRandom ? random : polling; }
    };

    DriverCopy copy_;
    const dx7::DriverFunctions& intf_;
    korvalent_dx7& driver_;
    Link link_;
    Order<Item> items_;
    Order<Item> wordReads_;
    Order<Item> bitReads_;
    Order<std::size_t> positions_;
    std::vector<unsigned char> bareRecords_;
    FRAME_PRO wordFrame_;
    FRAME_PRO bitFrame_;
    QByteArray wordReplies_[2];
    QByteArray bitReply_;
    double firstReplyNs_ = 0;
    unsigned char written_ = 0;
    std::size_t bareSum_ = 0;  ///< Keeps the reads from being left out.
    int passes_ = 0;
};

}  // namespace dx7bench

#endif
