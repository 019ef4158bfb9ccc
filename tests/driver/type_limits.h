/// \file
/// The limits of the fifteen register types as plain numbers, for the tests of both address checks.
#ifndef KORVALENT_DX7_TESTS_TYPE_LIMITS_H
#define KORVALENT_DX7_TESTS_TYPE_LIMITS_H

#include <QtCore/QString>
#include <ostream>
#include <vector>

namespace dx7test {

/// An address is in range when it is at least `lowest` and address + count is at most `limit`.
struct TypeLimits {
    const char* name;
    bool bits;
    /// Written as group.sub.index.
    bool grouped;
    int lowest;
    int limit;

    bool accepts(qint64 address, qint64 count) const { return address >= lowest && address + count <= limit; }
};

inline void PrintTo(const TypeLimits& type, std::ostream* out) {
    *out << type.name;
}

const TypeLimits typeLimits[] = {
    {"CW_bit", true, false, 0, 16}, {"SW_bit", true, false, 0, 16}, {"DO", true, false, 1, 3},
    {"RO", true, false, 1, 2},      {"SDO", true, false, 1, 9},     {"DI", true, false, 1, 7},
    {"AI", false, false, 0, 4},     {"FIN", false, false, 0, 1},    {"F", false, true, 0, 897},
    {"D", false, true, 0, 113},     {"DE", false, false, 0, 56},    {"CW", false, false, 0, 1},
    {"SW", false, false, 0, 1},     {"MOD", false, false, 1, 3},    {"FAS", false, false, 0, 1},
};

/// The types whose addresses are written as group.sub.index, or the others.
inline std::vector<TypeLimits> typesWritten(bool grouped) {
    std::vector<TypeLimits> types;
    for (const TypeLimits& type : typeLimits) {
        if (type.grouped == grouped)
            types.push_back(type);
    }
    return types;
}

/// Names that are not register types for the address checks, "FW" of the driver's own list among them.
const char* const unknownTypes[] = {"FW", "FI", "XX", "f", "do", "cw_bit", "", "F ", "CW_bit "};

/// What `*address` holds before a call, to see whether it was written.
const int untouched = 987654321;

/// Counts worth trying with every address.
const int interestingCounts[] = {-2147483647 - 1,
                                 -1000,
                                 -57,
                                 -2,
                                 -1,
                                 0,
                                 1,
                                 2,
                                 3,
                                 4,
                                 5,
                                 6,
                                 7,
                                 8,
                                 9,
                                 14,
                                 15,
                                 16,
                                 17,
                                 40,
                                 55,
                                 56,
                                 57,
                                 111,
                                 112,
                                 113,
                                 114,
                                 895,
                                 896,
                                 897,
                                 1000,
                                 2147483647};

}  // namespace dx7test

#endif
