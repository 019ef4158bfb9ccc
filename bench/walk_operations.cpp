#include "walk_operations.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <set>
#include <stdexcept>
#include <tuple>

#include "sample.h"

namespace dx7bench {

namespace {

const int WORDS = 60;
const int BITS = 64;
// Frames that are put on the line before the clock runs, so that it sees the decoding alone.
const std::size_t FRAMES_AT_ONCE = 64;
const std::size_t BARE_RECORD = 80;
const std::size_t FIRST_REPLIES = 12;
// Writes of one walk behind a full queue; the queue costs the same for each of them.
const std::size_t QUEUED_WRITES = 2000;
const char* const BIT_TYPES[] = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"};

double nowNs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

template <typename Element>
std::vector<Element> shuffled(std::vector<Element> list) {
    std::shuffle(list.begin(), list.end(), repeatableRandom());
    return list;
}

FRAME_PRO readFrame(int dataBytes, int dataCount, int count) {
    FRAME_PRO frame;
    frame.expectLen = dataBytes + 5;
    frame.dataOffset = 3;
    frame.dataCount = dataCount;
    frame.count = count;
    return frame;
}

}  // namespace

const char* walkOperationName(WalkOperation operation) {
    static const char* const NAMES[WALK_OPERATIONS] = {"decode 60 words, nothing changed",
                                                       "decode 60 words, all changed",
                                                       "decode 64 bits",
                                                       "intf_getData",
                                                       "intf_setData",
                                                       "intf_setData, 512 writes waiting",
                                                       "no driver: one read of memory"};
    return NAMES[operation];
}

WalkSet::WalkSet(int count)
    : intf_(copy_.functions()),
      driver_(copy_.state()),
      link_(&countReport, intf_.initProperty, intf_.setAddrValueChangeCallBack),
      wordFrame_(readFrame(2 * WORDS, 2 * WORDS, WORDS)),
      bitFrame_(readFrame(BITS / 8, BITS, BITS)),
      bitReply_(readReply(1, 1, QByteArray(BITS / 8, 0))) {
    wordReplies_[0] = readReply(1, 3, QByteArray(2 * WORDS, 0x11));
    wordReplies_[1] = readReply(1, 3, QByteArray(2 * WORDS, 0x22));
    load(count);
}

/// The items in the order in which the driver polls them.
std::vector<Item> WalkSet::pollingOrder() const {
    std::vector<Item> items;
    for (const VARIABLE& block : driver_.pollList) {
        for (int i = 0; i < block.count; ++i) {
            items.push_back({block.station, block.regType, block.address + i});
        }
    }
    return items;
}

void WalkSet::load(int count) {
    const std::vector<Item> items = deviceItems(count);
    QList<KEY_ADDRESS> list = keyAddresses(items);
    intf_.addrMerge(list);
    items_.polling = pollingOrder();
    if (items_.polling.size() != items.size()) {
        throw std::runtime_error("the plan does not hold every item once");
    }
    planReads(items);
    measureFirstReplies();
    makeMissingAreas();
    positions_.polling.resize(items.size());
    std::iota(positions_.polling.begin(), positions_.polling.end(), std::size_t(0));
    positions_.random = shuffled(positions_.polling);
    bareRecords_.resize(BARE_RECORD * items.size());
    for (Order<Item>* order : {&items_, &wordReads_, &bitReads_}) {
        order->random = shuffled(order->polling);
    }
}

/// The first item of each block that is read: 60 words of F at a time, 64 bits of each bit type.
void WalkSet::planReads(const std::vector<Item>& items) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        const Item& item = items[i];
        const bool starts = item.regType == QString::fromLatin1("F") && item.address % WORDS == 0;
        const bool isWhole = i + WORDS <= items.size() && items[i + WORDS - 1].regType == item.regType &&
                             items[i + WORDS - 1].address == item.address + WORDS - 1;
        if (starts && isWhole) {
            wordReads_.polling.push_back(item);
        }
        if (item.address == 0 && item.regType == QString::fromLatin1("F")) {
            for (const char* type : BIT_TYPES) {
                bitReads_.polling.push_back({item.station, QString::fromLatin1(type), 0});
            }
        }
    }
}

/// A few of them: each happens once in the life of a link, so there is no walk to repeat.
void WalkSet::measureFirstReplies() {
    const std::size_t count = std::min(FIRST_REPLIES, bitReads_.polling.size());
    const std::vector<Item> first(bitReads_.polling.begin(),
                                  bitReads_.polling.begin() + static_cast<std::ptrdiff_t>(count));
    firstReplyNs_ = decodeWalk(first, bitFrame_, bitReply_) / static_cast<double>(BITS * count);
}

/// Bits get areas of their own by their first reply, items that are not monitored (FAS) by the first look at
/// them. Here they are put into the list at once, as a host may do.
void WalkSet::makeMissingAreas() {
    std::set<std::tuple<int, QString, int>> present;
    for (const _DATA_& area : driver_.dataAreas) {
        present.emplace(area.station, area.regType, area.address);
    }
    const auto make = [this, &present](int station, const QString& regType, int address) {
        if (present.emplace(station, regType, address).second) {
            _DATA_ area;
            area.station = station;
            area.regType = regType;
            area.address = address;
            driver_.dataAreas.append(area);
        }
    };
    for (const Item& read : bitReads_.polling) {
        for (int bit = 0; bit < BITS; ++bit) {
            make(read.station, read.regType, bit);
        }
    }
    for (const Item& item : items_.polling) {
        make(item.station, item.regType, item.address);
    }
}

/// Nanoseconds of one pass over `reads`.
double WalkSet::decodeWalk(const std::vector<Item>& reads, const FRAME_PRO& frame, const QByteArray& reply) {
    double spent = 0;
    QString info;
    QByteArray bytes = reply;
    for (std::size_t next = 0; next < reads.size();) {
        const std::size_t end = std::min(next + FRAMES_AT_ONCE, reads.size());
        const std::size_t frames = end - next;
        for (; next < end; ++next) {
            FRAME_PRO onLine = frame;
            onLine.station = reads[next].station;
            onLine.regType = reads[next].regType;
            onLine.address = reads[next].address;
            driver_.frameList.append(onLine);
        }
        driver_.opKind = OP_NONE;
        const double start = nowNs();
        for (std::size_t i = 0; i < frames; ++i) {
            intf_.dealRcvFrame(bytes, info);
        }
        spent += nowNs() - start;
        if (!driver_.frameList.isEmpty()) {
            throw std::runtime_error("a reply was refused");
        }
    }
    return spent;
}

void WalkSet::getWalk(const std::vector<Item>& items) {
    unsigned char value[2] = {0, 0};
    for (const Item& item : items) {
        intf_.getData(item.station, item.regType, item.address, 1, value);
    }
}

/// Every value is new. The write leaves the queue at once, as when the line carries it before the next one.
void WalkSet::setWalk(const std::vector<Item>& items) {
    ++written_;
    unsigned char value[2] = {written_, 0};
    for (const Item& item : items) {
        intf_.setData(item.station, item.regType, item.address, 1, value, OP_WRITE);
        if (!driver_.writeList.isEmpty()) {
            driver_.writeList.removeFirst();
        }
    }
}

/// 512 writes of items that no walk reaches, and the one in progress.
void WalkSet::fillWriteQueue() {
    VARIABLE var;
    var.regType = QString::fromLatin1("F");
    var.count = 1;
    for (int i = 0; i < 512; ++i) {
        var.station = -1;
        var.address = i;
        driver_.writeList.append(var);
    }
}

/// Over the last items of the list.
double WalkSet::setQueuedWalk(const std::vector<Item>& items) {
    const std::size_t first = items.size() - std::min(items.size(), QUEUED_WRITES);
    fillWriteQueue();
    ++written_;
    unsigned char value[2] = {written_, 0};
    const double start = nowNs();
    for (std::size_t i = first; i < items.size(); ++i) {
        intf_.setData(items[i].station, items[i].regType, items[i].address, 1, value, OP_WRITE);
        if (driver_.writeList.size() > 512) {
            driver_.writeList.removeLast();
        }
    }
    const double spent = nowNs() - start;
    driver_.writeList.clear();
    return spent;
}

/// What memory alone costs: every record is zero, so that each position is known only when the read before it
/// has come back.
void WalkSet::bareWalk(const std::vector<std::size_t>& positions) {
    std::size_t last = 0;
    for (const std::size_t position : positions) {
        last = bareRecords_[BARE_RECORD * (position + last)];
    }
    bareSum_ += last;
}

bool WalkSet::holdsTheClock(WalkOperation operation) {
    return operation != WALK_GET && operation != WALK_SET && operation != WALK_BARE;
}

double WalkSet::itemsOfWalk(WalkOperation operation) const {
    switch (operation) {
        case WALK_DECODE_SAME:
        case WALK_DECODE_CHANGED:
            return WORDS * static_cast<double>(wordReads_.polling.size());
        case WALK_DECODE_BITS:
            return BITS * static_cast<double>(bitReads_.polling.size());
        case WALK_SET_QUEUED:
            return static_cast<double>(std::min(items_.polling.size(), QUEUED_WRITES));
        default:
            return static_cast<double>(items_.polling.size());
    }
}

double WalkSet::walk(WalkOperation operation, bool randomOrder) {
    switch (operation) {
        case WALK_DECODE_SAME:
            return decodeWalk(wordReads_.get(randomOrder), wordFrame_, wordReplies_[0]);
        case WALK_DECODE_CHANGED:
            return decodeWalk(wordReads_.get(randomOrder), wordFrame_, wordReplies_[++passes_ % 2]);
        case WALK_DECODE_BITS:
            return decodeWalk(bitReads_.get(randomOrder), bitFrame_, bitReply_);
        case WALK_GET:
            getWalk(items_.get(randomOrder));
            return 0;
        case WALK_SET:
            setWalk(items_.get(randomOrder));
            return 0;
        case WALK_SET_QUEUED:
            return setQueuedWalk(items_.get(randomOrder));
        default:
            bareWalk(positions_.get(randomOrder));
            return 0;
    }
}

}  // namespace dx7bench
