#include "host_script.h"

#include <sstream>

#include "texts.h"

namespace differential {

std::uint64_t scrambled(std::uint64_t seed, std::uint64_t position) {
    std::uint64_t z = seed * 0x9E3779B97F4A7C15ULL + (position + 1) * 0xD1B54A32D192ED03ULL;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

bool operator==(const Event& a, const Event& b) {
    return a.linkId == b.linkId && a.station == b.station && a.regType == b.regType &&
           a.address == b.address && a.state == b.state && a.seen == b.seen;
}

std::string describe(const Event& event) {
    std::ostringstream text;
    text << "(" << event.linkId << ", " << event.station << ", " << quoted(event.regType) << ", "
         << event.address << ") state";
    for (std::int64_t number : event.state) {
        text << ' ' << number;
    }
    text << " seen";
    for (model::Byte byte : event.seen) {
        text << ' ' << static_cast<int>(byte);
    }
    return text.str();
}

void HostScript::choose(ScriptMode mode, int seed) {
    mode_ = mode;
    seed_ = static_cast<std::uint64_t>(seed);
}

void HostScript::beginOperation() {
    events_.clear();
    depth_ = 0;
    actionsLeft_ = 10;
    reports_ = 0;
}

void HostScript::onReport(int linkId, int station, model::Text& regType, int address) {
    Event event;
    event.linkId = linkId;
    event.station = station;
    event.regType = regType;
    event.address = address;
    event.state = view_.snapshot();
    const std::uint64_t random = scrambled(seed_, reports_);
    ++reports_;
    const std::size_t index = events_.size();
    events_.push_back(event);
    if (mode_ == ScriptMode::Listen || depth_ >= 2 || actionsLeft_ <= 0) {
        return;
    }
    --actionsLeft_;
    ++depth_;
    act(random, station, regType, address, event);
    --depth_;
    events_[index].seen = event.seen;
}

void HostScript::act(std::uint64_t random, int station, model::Text& regType, int address, Event& event) {
    const std::uint64_t choice = mode_ == ScriptMode::Ask ? 0 : random % 8;
    const int some = static_cast<int>((random >> 8) % 5);
    const model::Byte data[16] = {static_cast<model::Byte>((random >> 16) & 1),
                                  static_cast<model::Byte>((random >> 20) & 3),
                                  1,
                                  0,
                                  0xFF,
                                  2};
    const model::Text types[5] = {u"CW", u"DO", u"F", u"MOD", regType};
    const model::Text type = types[(random >> 24) % 5];
    if (choice <= 1) {
        event.seen.assign(16, 0xEE);
        view_.getData(station, regType, address, 1 + some, event.seen.data());
    } else if (choice == 2) {
        event.seen.assign(32, 0xEE);
        view_.getData(station, regType, model::groupBase(address), 8, event.seen.data());
    } else if (choice == 3) {
        view_.setData(station, regType, address, 1 + some % 3, data, 77);
    } else if (choice == 4) {
        view_.setData(1, type, 2 * some, 1 + some, data, 78);
    } else if (choice == 5) {
        model::KeyAddress key;
        key.station = station;
        key.regType = type;
        key.address = some;
        key.length = some * 7;
        key.bitOffset = model::isBitType(type) ? -1 : 0;
        view_.addConditionRead(key, 79);
    } else if (choice == 6) {
        regType = u"a text of the host's own";
    }
}

}  // namespace differential
