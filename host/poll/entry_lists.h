/// \file
/// The entries of a turn of polling, as they are handed to the driver.
#ifndef DX7_HOST_ENTRY_LISTS_H
#define DX7_HOST_ENTRY_LISTS_H

#include <QVector>
#include <algorithm>
#include <array>

#include "host/driver/driver_session.h"

namespace dx7 {

/// Lists that the driver joins into blocks one after the other: neighbours that must not be in one request
/// are in different ones. Single items, ordered by station, type and address; an empty list is left out.
using EntryLists = std::array<QVector<ItemRange>, 2>;

inline bool nothingIn(const EntryLists& lists) {
    return std::all_of(lists.begin(), lists.end(), [](const auto& list) { return list.isEmpty(); });
}

}  // namespace dx7

#endif
