/// \file
/// What `dx7-device --move-all` shows, worked out anew from the register numbers of docs/wire-format.md.
#ifndef DX7_TESTS_SOAK_MOVING_VALUES_H
#define DX7_TESTS_SOAK_MOVING_VALUES_H

#include <string>
#include <vector>

/// An item that dx7 shows, as "F:3.0.20@1".
struct MovingItem {
    std::string notation;
    int station = 0;
    bool bit = false;
    /// The number it is read at.
    int number = 0;
};

/// Takes "F:3.0.20@1", "D:0.0.10@1", "AI:0@1" and "DI:1@1" apart; throws std::runtime_error for other types.
MovingItem movingItem(const std::string& notation);

/// Steps of 0.25 s.
long stepAt(double deviceSeconds);

/// How many steps before `step` the item last had the value; -1 when it had it in none of the last `most`.
int stepsSince(const MovingItem& item, int value, long step, int most);

/// Throws std::runtime_error when two words could not be told apart by their values.
void requireDistinct(const std::vector<MovingItem>& items);

#endif
