/// \file
/// Where the areas of driver.dataAreas stand, by key.
#ifndef KORVALENT_DX7_AREA_INDEX_H
#define KORVALENT_DX7_AREA_INDEX_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <vector>

#include "korvalent_dx7.h"
#include "prefetch.h"

inline bool hasKey(const _DATA_& area, int station, const QString& regType, int address) {
    return area.address == address && area.station == station && sameName(area.regType, regType);
}

/// Appends a zero area with this key.
void appendArea(QList<_DATA_>& areas, int station, const QString& regType, int address);

/// Position of the first area with this key, found by looking at one after the other; a zero area is appended
/// when there is none.
int indexByWalk(int station, const QString& regType, int address, QList<_DATA_>& areas);

/// Finds areas of driver.dataAreas in constant time on average.
///
/// The list itself is public and the only truth; hosts and tests may edit it between calls and inside
/// reports. So a hit counts only if the area still has the key, and a miss only after the index was checked
/// against the list since control last came back from the host.
///
/// A hash table of chains, kept as positions alone: the keys stand in the areas. It takes 8 to 12 bytes per
/// area, and neighbouring addresses fall into neighbouring buckets, so that a walk stays within the cache.
class AreaIndex {
public:
    AreaIndex() : keysAreUnique_(true), checked_(false), calls_(0), size_(-1), last_(0) {}

    /// Position of the first area with this key; the area is appended when there is none.
    int findOrAppend(int station, const QString& regType, int address) {
        // An item is looked up several times in a row, and blocks are walked in the order their areas were
        // made in.
        if (driver.dataAreas.size() == size_ && keysAreUnique_) {
            if (hasKey(driver.dataAreas.at(last_), station, regType, address)) {
                return last_;
            }
            if (last_ + 1 < size_ && hasKey(driver.dataAreas.at(last_ + 1), station, regType, address)) {
                ++last_;
                if (last_ + AREAS_AHEAD < size_) {
                    prefetch(&driver.dataAreas.at(last_ + AREAS_AHEAD));
                }
                return last_;
            }
        }
        return findAnywhere(station, regType, address);
    }

    /// The host has called, and its call returns. Calls nest when the host calls from inside a report.
    void beginCall() {
        ++calls_;
        checked_ = false;
    }
    void endCall() {
        --calls_;
        checked_ = false;
    }
    /// A report has returned: the host may have edited the list.
    void distrust() { checked_ = false; }

private:
    // How far ahead of a walk its areas are fetched: about the next block of a polling plan.
    static const int AREAS_AHEAD = 64;

    int findAnywhere(int station, const QString& regType, int address);
    unsigned bucketOf(int station, const QString& regType, int address) const;
    int find(int station, const QString& regType, int address) const;
    bool matchesList();
    void rebuild();
    void link(int position, unsigned bucket);

    std::vector<int> heads_;  ///< First position of each bucket's chain, or -1. As many as a power of two.
    std::vector<int> next_;   ///< Position that follows in the chain, or -1, for each position.
    bool keysAreUnique_;
    bool checked_;  ///< Whether the index was checked since control last came from the host.
    int calls_;     ///< Calls from the host under way.
    int size_;      ///< Areas in the list when the index was last right; -1 while lists are walked.
    int last_;      ///< Position found last; within the list as long as the size is right.
};

#endif
