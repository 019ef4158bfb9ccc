#include "area_index.h"

namespace {

// Lists up to this size are walked: quicker than hashing.
const int WALKED_AREAS = 32;
const int END_OF_CHAIN = -1;

// Odd constants that spread stations and types over all buckets (2^32 over the golden ratio, and a prime).
const unsigned STATION_STEP = 0x9E3779B1U;
const unsigned TYPE_STEP = 0x85EBCA77U;

}  // namespace

void appendArea(QList<_DATA_>& areas, int station, const QString& regType, int address) {
    _DATA_ area;
    area.station = station;
    area.regType = canonicalName(regType);
    area.address = address;
    areas.append(area);
}

int indexByWalk(int station, const QString& regType, int address, QList<_DATA_>& areas) {
    for (int i = 0; i < areas.size(); ++i) {
        if (hasKey(areas.at(i), station, regType, address)) {
            return i;
        }
    }
    appendArea(areas, station, regType, address);
    return areas.size() - 1;
}

int AreaIndex::findAnywhere(int station, const QString& regType, int address) {
    if (driver.dataAreas.size() <= WALKED_AREAS) {
        size_ = -1;
        return indexByWalk(station, regType, address, driver.dataAreas);
    }
    if (driver.dataAreas.size() != size_) {
        rebuild();
    }
    last_ = find(station, regType, address);
    if (last_ < 0 && !matchesList()) {
        rebuild();
        last_ = find(station, regType, address);
    }
    if (last_ < 0) {
        last_ = size_;
        appendArea(driver.dataAreas, station, regType, address);
        ++size_;
        next_.push_back(END_OF_CHAIN);
        if (next_.size() > heads_.size()) {
            rebuild();
            last_ = size_ - 1;
        } else {
            link(last_, bucketOf(station, regType, address));
        }
    }
    return last_;
}

unsigned AreaIndex::bucketOf(int station, const QString& regType, int address) const {
    const unsigned hash = STATION_STEP * static_cast<unsigned>(station) +
                          TYPE_STEP * static_cast<unsigned>(registerRow(regType)) +
                          static_cast<unsigned>(address);
    return hash & static_cast<unsigned>(heads_.size() - 1);
}

/// Position of the area with this key, or -1. Chains run from the oldest area to the newest.
int AreaIndex::find(int station, const QString& regType, int address) const {
    int position = heads_[bucketOf(station, regType, address)];
    while (position >= 0 && !hasKey(driver.dataAreas.at(position), station, regType, address)) {
        position = next_[static_cast<std::size_t>(position)];
    }
    return position;
}

/// Whether every area still stands where the index has it.
bool AreaIndex::matchesList() {
    if (checked_) {
        return true;
    }
    if (!keysAreUnique_) {
        return false;
    }
    for (int i = 0; i < size_; ++i) {
        const _DATA_& area = driver.dataAreas.at(i);
        int position = heads_[bucketOf(area.station, area.regType, area.address)];
        while (position >= 0 && position != i) {
            position = next_[static_cast<std::size_t>(position)];
        }
        if (position < 0) {
            return false;
        }
    }
    checked_ = calls_ > 0;
    return true;
}

void AreaIndex::link(int position, unsigned bucket) {
    int* end = &heads_[bucket];
    while (*end >= 0) {
        end = &next_[static_cast<std::size_t>(*end)];
    }
    *end = position;
}

void AreaIndex::rebuild() {
    size_ = driver.dataAreas.size();
    const std::size_t areas = static_cast<std::size_t>(size_);
    std::size_t buckets = 1;
    while (buckets < areas) {
        buckets *= 2;
    }
    heads_.assign(buckets, END_OF_CHAIN);
    next_.assign(areas, END_OF_CHAIN);
    keysAreUnique_ = true;
    for (int i = 0; i < size_; ++i) {
        const _DATA_& area = driver.dataAreas.at(i);
        if (find(area.station, area.regType, area.address) >= 0) {
            keysAreUnique_ = false;  // the first of equal keys stays the one that is found
            continue;
        }
        link(i, bucketOf(area.station, area.regType, area.address));
    }
    last_ = 0;
}
