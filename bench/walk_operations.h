/// \file
/// What the driver does per item, measured on walks over the items it monitors.
#ifndef DX7_BENCH_WALK_OPERATIONS_H
#define DX7_BENCH_WALK_OPERATIONS_H

#include <functional>
#include <memory>
#include <vector>

#include "device_items.h"
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

/// The driver with `count` items monitored, and the walks over them.
class WalkSet {
public:
    explicit WalkSet(int count);

    /// What the first replies cost for bits that have no areas yet, in nanoseconds per item.
    double firstReplyNanoseconds() const { return firstReplyNs_; }

    /// Walks over the whole set, again and again, for at least 20 ms; nanoseconds per item. Bits are items of
    /// their own: six types of 64 bits at every station of the set.
    double nanosecondsPerItem(WalkOperation operation, bool randomOrder);

private:
    using Walk = std::function<double()>;

    void load(int count);
    void planReads(const std::vector<Item>& items);
    void measureFirstReplies();
    void makeMissingAreas();
    double decodeWalk(const std::vector<Item>& reads, const FRAME_PRO& frame, const QByteArray& reply);
    double getWalk(const std::vector<Item>& items);
    double setWalk(const std::vector<Item>& items);
    double setQueuedWalk(const std::vector<Item>& items);
    double bareWalk(const std::vector<std::size_t>& positions);

    /// The same list in polling order and shuffled.
    template <typename Element>
    struct Order {
        std::vector<Element> polling;
        std::vector<Element> random;
        const std::vector<Element>& get(bool isRandom) const { return isRandom ? random : polling; }
    };

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
