#include "moving_values.h"

#include <cmath>
#include <cstdio>
#include <set>
#include <stdexcept>

namespace {

int code(const MovingItem& item) {
    return (item.number % 256 + 89 * (item.number / 256) + 61 * item.station) % 256;
}

int valueAt(const MovingItem& item, long step) {
    const int steps = static_cast<int>(step % 256);
    if (item.bit) {
        return (steps + 37 * item.station) % 256 >> item.number % 8 & 1;
    }
    return 256 * code(item) + steps;
}

}  // namespace

MovingItem movingItem(const std::string& notation) {
    MovingItem item;
    item.notation = notation;
    const std::string type = notation.substr(0, notation.find(':'));
    const std::string rest = notation.substr(type.size() + 1);
    int first = 0;
    int index = 0;
    if (std::sscanf(rest.c_str(), "%d.%*d.%d@%d", &first, &index, &item.station) == 3) {
        const int base = type == "F" ? 0xF0 : 0xD0;
        item.number = 256 * (base + first) + index / 10 * 16 + index % 10;
    } else if (std::sscanf(rest.c_str(), "%d@%d", &first, &item.station) == 2) {
        item.bit = type == "DI";
        item.number = (item.bit ? 0x111F : 0x1200) + first;
    } else {
        throw std::runtime_error("no item: " + notation);
    }
    return item;
}

long stepAt(double deviceSeconds) {
    return static_cast<long>(std::floor(deviceSeconds * 4));
}

int stepsSince(const MovingItem& item, int value, long step, int most) {
    for (int back = 0; back <= most && back <= step; ++back) {
        if (valueAt(item, step - back) == value) {
            return back;
        }
    }
    return -1;
}

void requireDistinct(const std::vector<MovingItem>& items) {
    std::set<int> seen;
    for (const MovingItem& item : items) {
        if (!item.bit && !seen.insert(code(item)).second) {
            throw std::runtime_error(item.notation + " has the values of another item");
        }
    }
}
