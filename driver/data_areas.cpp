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
    return a.station == b.station && a.address == b.address && a.regType == b.regType;
}

// Neighbouring addresses fall into neighbouring buckets, so that a walk over a block stays within the cache.
uint qHash(const AreaKey& key) {
    return ::qHash(key.regType) + 16384U * static_cast<uint>(key.station) + static_cast<uint>(key.address);
}

/// Where the areas of driver.dataAreas stand, by key.
///
/// The list itself is public and the only truth. Between two accesses a second reference to it (the seal) is
/// held, so that anyone else's edit makes the list detach from the seal; then the index is made anew.
class AreaIndex {
public:
    /// Position of the first area with this key, or -1.
    int find(const AreaKey& key) {
        if (!driver.dataAreas.isSharedWith(seal_)) {
            rebuild();
        }
        return positions_.value(key, -1);
    }

    int append(const AreaKey& key) {
        _DATA_ area;
        area.station = key.station;
        area.regType = key.regType;
        area.address = key.address;
        const int position = driver.dataAreas.size();
        open();
        driver.dataAreas.append(area);
        close();
        positions_.insert(key, position);
        return position;
    }

    void clear() {
        driver.dataAreas.clear();
        positions_.clear();
        close();
    }

    /// Lets go of the second reference, so that an edit of our own does not copy the list.
    void open() { seal_ = QList<_DATA_>(); }
    /// Takes the second reference again.
    void close() { seal_ = driver.dataAreas; }

private:
    void rebuild() {
        positions_.clear();
        positions_.reserve(driver.dataAreas.size());
        for (int i = driver.dataAreas.size() - 1; i >= 0; --i) {
            const _DATA_& area = driver.dataAreas.at(i);
            const AreaKey key = {area.station, area.address, area.regType};
            positions_.insert(key, i);  // from the end, so that the first of equal keys stays
        }
        close();
    }

    QHash<AreaKey, int> positions_;
    QList<_DATA_> seal_;
};

AreaIndex areaIndex;

int indexByWalk(const AreaKey& key, QList<_DATA_>& areas) {
    for (int i = 0; i < areas.size(); ++i) {
        const _DATA_& area = areas.at(i);
        if (area.station == key.station && area.regType == key.regType && area.address == key.address) {
            return i;
        }
    }
    _DATA_ area;
    area.station = key.station;
    area.regType = key.regType;
    area.address = key.address;
    areas.append(area);
    return areas.size() - 1;
}

int areaPosition(int station, const QString& regType, int address) {
    const AreaKey key = {station, address, regType};
    const int position = areaIndex.find(key);
    return position >= 0 ? position : areaIndex.append(key);
}

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
        return areaPosition(station, regType, address);
    }
    const AreaKey key = {station, address, regType};
    return indexByWalk(key, areas);
}

const _DATA_& dataArea(int station, const QString& regType, int address) {
    const int position = areaPosition(station, regType, address);
    return driver.dataAreas.at(position);
}

DataAreaEdit::DataAreaEdit(int station, const QString& regType, int address) {
    const int position = areaPosition(station, regType, address);
    areaIndex.open();
    area_ = &driver.dataAreas[position];
}

DataAreaEdit::~DataAreaEdit() {
    areaIndex.close();
}

void clearMonitorFlags() {
    if (driver.dataAreas.isEmpty()) {
        return;
    }
    areaPosition(driver.dataAreas.at(0).station, driver.dataAreas.at(0).regType,
                 driver.dataAreas.at(0).address);
    areaIndex.open();
    for (int i = 0; i < driver.dataAreas.size(); ++i) {
        _DATA_& area = driver.dataAreas[i];
        area.wordMonitorFlags = 0;
        area.bitMonitorMask = 0;
    }
    areaIndex.close();
}

void clearDataAreas() {
    areaIndex.clear();
}

int _setDataAreaMonitorFlag(int station, const QString& regType, int address, int length) {
    const RegisterKind kind = registerKind(regType);
    for (int i = 0; i < length; ++i) {
        const int item = addressAfter(address, i);
        if (kind == KIND_BIT) {
            DataAreaEdit edit(station, regType, bitGroupBase(item));
            edit->bitMonitorMask = _setBitValue(edit->bitMonitorMask, bitNumberInGroup(item), 1);
        } else if (kind == KIND_WORD) {
            DataAreaEdit edit(station, regType, item);
            edit->wordMonitorFlags |= MONITOR_WORD;
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
    for (int k = 0; k < count; ++k) {
        const _DATA_& area = dataArea(station, regType, addressAfter(address, k));
        const unsigned char* shown = area.writePending != 0 ? area.writtenValue : area.value;
        *out++ = shown[0];
        if (kind == KIND_WORD) {
            *out++ = shown[1];
        }
    }
    return 1;
}
