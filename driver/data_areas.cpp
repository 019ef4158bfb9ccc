#include "data_areas.h"

#include <QtCore/QHash>

#include "addressing.h"

namespace {

struct AreaKey {
    int station;
    int address;
    QString regType;
};

bool operator==(const AreaKey& a, const AreaKey& b) {
    return a.station == b.station && a.address == b.address && sameName(a.regType, b.regType);
}

// Neighbouring addresses fall into neighbouring buckets, so that a walk over a block stays within the cache.
uint qHash(const AreaKey& key) {
    return ::qHash(key.regType) + 16384U * static_cast<uint>(key.station) + static_cast<uint>(key.address);
}

bool hasKey(const _DATA_& area, int station, const QString& regType, int address) {
    return area.address == address && area.station == station && sameName(area.regType, regType);
}

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

// Lists up to this size are walked: quicker than hashing.
const int WALKED_AREAS = 32;

/// Where the areas of driver.dataAreas stand, by key.
///
/// The list itself is public and the only truth; hosts and tests may edit it between calls and inside
/// reports. So a hit counts only if the area still has the key, and a miss only after the index was checked
/// against the list since control last came back from the host.
class AreaIndex {
public:
    AreaIndex() : keysAreUnique_(true), checked_(false), calls_(0), size_(-1), last_(0) {}

    /// Position of the first area with this key; the area is appended when there is none.
    int findOrAppend(int station, const QString& regType, int address) {
        if (driver.dataAreas.size() <= WALKED_AREAS) {
            size_ = -1;
            return indexByWalk(station, regType, address, driver.dataAreas);
        }
        if (driver.dataAreas.size() != size_) {
            rebuild();
        }
        // An item is looked up several times in a row, and blocks are walked in the order their areas were
        // made in.
        if (keysAreUnique_) {
            if (isAt(last_, station, regType, address)) {
                return last_;
            }
            if (isAt(last_ + 1, station, regType, address)) {
                return ++last_;
            }
        }
        const AreaKey key = {station, address, regType};
        last_ = find(key);
        if (last_ < 0) {
            last_ = append(key);
        }
        return last_;
    }

    void beginCall() {
        ++calls_;
        checked_ = false;
    }
    void endCall() {
        --calls_;
        checked_ = false;
    }
    void distrust() { checked_ = false; }

private:
    static bool isAt(int position, int station, const QString& regType, int address) {
        return position < driver.dataAreas.size() &&
               hasKey(driver.dataAreas.at(position), station, regType, address);
    }

    static bool isAt(int position, const AreaKey& key) {
        return isAt(position, key.station, key.regType, key.address);
    }

    int find(const AreaKey& key) {
        int position = positions_.value(key, -1);
        const bool isRight = position >= 0 ? isAt(position, key) : matchesList();
        if (!isRight) {
            rebuild();
            position = positions_.value(key, -1);
        }
        return position;
    }

    /// Whether every area still stands where the index has it.
    bool matchesList() {
        if (checked_) {
            return true;
        }
        if (!keysAreUnique_) {
            return false;
        }
        QHash<AreaKey, int>::const_iterator entry = positions_.constBegin();
        while (entry != positions_.constEnd() && isAt(entry.value(), entry.key())) {
            ++entry;
        }
        const bool matches = entry == positions_.constEnd();
        checked_ = matches && calls_ > 0;
        return matches;
    }

    int append(const AreaKey& key) {
        const int position = size_++;
        appendArea(driver.dataAreas, key.station, key.regType, key.address);
        positions_.insert(key, position);
        return position;
    }

    void rebuild() {
        size_ = driver.dataAreas.size();
        positions_.clear();
        positions_.reserve(size_);
        for (int i = size_ - 1; i >= 0; --i) {
            const _DATA_& area = driver.dataAreas.at(i);
            const AreaKey key = {area.station, area.address, area.regType};
            positions_.insert(key, i);  // from the end, so that the first of equal keys stays
        }
        keysAreUnique_ = positions_.size() == size_;
        checked_ = calls_ > 0;
        last_ = 0;
    }

    QHash<AreaKey, int> positions_;
    bool keysAreUnique_;
    bool checked_;  ///< Whether the index was checked since control last came from the host.
    int calls_;  ///< Calls from the host under way; more than one when the host calls from inside a report.
    int size_;   ///< Areas in the list when the index was last right.
    int last_;   ///< Position found last.
};

AreaIndex areaIndex;

bool isBitSet(int value, int bit) {
    return (static_cast<unsigned>(value) >> bit & 1U) != 0;
}

/// Whether bit `bit` is monitored and differs.
bool isMonitoredChange(int mask, int oldValue, int newValue, int bit) {
    return isBitSet(mask, bit) && isBitSet(oldValue, bit) != isBitSet(newValue, bit);
}

bool hasWordFlag(int station, const QString& regType, int address, int flag) {
    return (dataArea(station, regType, address).wordMonitorFlags & flag) != 0;
}

}  // namespace

int getIndexOfDataArea(int station, const QString& regType, int address, QList<_DATA_>& areas) {
    if (&areas == &driver.dataAreas) {
        return areaIndex.findOrAppend(station, regType, address);
    }
    return indexByWalk(station, regType, address, areas);
}

const _DATA_& dataArea(int station, const QString& regType, int address) {
    const int position = areaIndex.findOrAppend(station, regType, address);
    return driver.dataAreas.at(position);
}

_DATA_& editDataArea(int station, const QString& regType, int address) {
    const int position = areaIndex.findOrAppend(station, regType, address);
    return driver.dataAreas[position];
}

DataAreaCall::DataAreaCall() {
    areaIndex.beginCall();
}

DataAreaCall::~DataAreaCall() {
    areaIndex.endCall();
}

void DataAreaCall::reportReturned() {
    areaIndex.distrust();
}

void clearMonitorFlags() {
    for (int i = 0; i < driver.dataAreas.size(); ++i) {
        _DATA_& area = driver.dataAreas[i];
        area.wordMonitorFlags = 0;
        area.bitMonitorMask = 0;
    }
}

int _setDataAreaMonitorFlag(int station, const QString& regType, int address, int length) {
    const RegisterKind kind = registerKind(regType);
    for (int i = 0; i < length; ++i) {
        const int item = addressAfter(address, i);
        if (kind == KIND_BIT) {
            _DATA_& area = editDataArea(station, regType, bitGroupBase(item));
            area.bitMonitorMask = _setBitValue(area.bitMonitorMask, bitNumberInGroup(item), 1);
        } else if (kind == KIND_WORD) {
            editDataArea(station, regType, item).wordMonitorFlags |= MONITOR_WORD;
        } else {
            break;
        }
    }
    return 0;
}

void _byteDataChange(const unsigned char* oldValue, const unsigned char* newValue, int station,
                     const QString& regType, int groupAddress) {
    const int mask = dataArea(station, regType, groupAddress).bitMonitorMask;
    if (*oldValue == *newValue || mask == 0) {
        return;
    }
    for (int bit = 0; bit < 8; ++bit) {
        if (isMonitoredChange(mask, *oldValue, *newValue, bit)) {
            reportValueChange(driver.linkId, station, regType, addressAfter(groupAddress, bit));
        }
    }
}

void _wordDataChange(const int* oldValue, const int* newValue, int station, const QString& regType,
                     int address, int noBitScan) {
    const int mask = dataArea(station, regType, address).bitMonitorMask;
    if (*oldValue == *newValue) {
        return;
    }
    if (noBitScan == 0 && mask != 0) {
        const QString bitType = regType + QLatin1String("_bit");
        for (int bit = 0; bit < 16; ++bit) {
            if (isMonitoredChange(mask, *oldValue, *newValue, bit)) {
                const unsigned bitAddress = 16U * static_cast<unsigned>(address) + static_cast<unsigned>(bit);
                reportValueChange(driver.linkId, station, bitType, static_cast<int>(bitAddress));
            }
        }
    }
    // Flags are looked up anew each time: the host may have changed the plan inside a report.
    if (hasWordFlag(station, regType, address, MONITOR_WORD)) {
        reportValueChange(driver.linkId, station, regType, address);
    }
    if (address >= 0 && hasWordFlag(station, regType, address, MONITOR_DOUBLE_FIRST)) {
        reportValueChange(driver.linkId, station, regType + QLatin1String("_double"), address);
    }
    if (address >= 1 && hasWordFlag(station, regType, address, MONITOR_DOUBLE_SECOND)) {
        reportValueChange(driver.linkId, station, regType + QLatin1String("_double"), address - 1);
    }
}

int intf_getData(int station, const QString& regType, int address, int count, unsigned char* out) {
    const RegisterKind kind = registerKind(regType);
    if (kind == KIND_UNKNOWN) {
        return 1;
    }
    const DataAreaCall call;
    const QString& name = canonicalName(regType);
    for (int k = 0; k < count; ++k) {
        const _DATA_& area = dataArea(station, name, addressAfter(address, k));
        const unsigned char* shown = area.writePending != 0 ? area.writtenValue : area.value;
        *out++ = shown[0];
        if (kind == KIND_WORD) {
            *out++ = shown[1];
        }
    }
    return 1;
}
