#include "data_areas.h"

#include <QtCore/QHash>

#include "addressing.h"
#include "register_map.h"

namespace {

// Lists up to this size are always walked, so that in them the first of two areas with one key is found,
// whatever hosts edit.
const int WALKED_AREAS = 48;
const int ANY_NUMBER = 0x7FFFFFFF;

bool hasKey(const _DATA_& area, int station, const QString& regType, int address) {
    return area.address == address && area.station == station && sameName(area.regType, regType);
}

int indexByWalk(int station, const QString& regType, int address, QList<_DATA_>& areas) {
    for (int i = 0; i < areas.size(); ++i) {
        if (hasKey(areas.at(i), station, regType, address)) {
            return i;
        }
    }
    _DATA_ area;
    area.station = station;
    area.regType = canonicalName(regType);
    area.address = address;
    areas.append(area);
    return areas.size() - 1;
}

bool hasRepeatedKey(QList<_DATA_>& areas) {
    for (int i = 0; i < areas.size(); ++i) {
        const _DATA_& area = areas.at(i);
        if (indexByWalk(area.station, area.regType, area.address, areas) != i) {
            return true;
        }
    }
    return false;
}

/// Where areas of driver.dataAreas were seen last. Never more than a hint, so it needs no care when the list
/// is edited or exchanged for another link's. Keys stay until a link starts anew.
class AreaHint {
public:
    AreaHint() : lastFound_(0), walked_(WALKED_AREAS) {}

    int find(int station, const QString& regType, int address) {
        QList<_DATA_>& areas = driver.dataAreas;
        if (areas.isEmpty()) {
            positions_.clear();
            walked_ = WALKED_AREAS;
        }
        if (areas.size() <= walked_) {
            const int position = indexByWalk(station, regType, address, areas);
            if (areas.size() > walked_ && hasRepeatedKey(areas)) {
                walked_ = ANY_NUMBER;
            }
            return position;
        }
        const quint64 key = keyOf(station, regType, address);
        const int hint = positions_.value(key, 0);
        if (hint < areas.size() && hasKey(areas.at(hint), station, regType, address)) {
            lastFound_ = hint;
        } else {
            lastFound_ = indexByWalk(station, regType, address, areas);
            positions_.insert(key, lastFound_);
        }
        return lastFound_;
    }

    /// The same, quicker where an item is looked up again, or the one whose area was made next: blocks follow
    /// the order in which their areas were made.
    int findNear(int station, const QString& regType, int address) {
        const QList<_DATA_>& areas = driver.dataAreas;
        if (areas.size() > walked_ && lastFound_ < areas.size() - 1) {
            if (hasKey(areas.at(lastFound_), station, regType, address)) {
                return lastFound_;
            }
            if (hasKey(areas.at(lastFound_ + 1), station, regType, address)) {
                return ++lastFound_;
            }
        }
        return find(station, regType, address);
    }

private:
    /// Different for different areas of known types and usual stations; where it is not, hints overwrite each
    /// other and the list is walked.
    static quint64 keyOf(int station, const QString& regType, int address) {
        return static_cast<quint64>(static_cast<quint32>(station)) << 40 ^
               static_cast<quint64>(registerRow(regType)) << 32 ^ static_cast<quint32>(address);
    }

    QHash<quint64, int> positions_;
    int lastFound_;
    /// Longest list that is walked; any, once a list has grown long with a key in it twice.
    int walked_;
};

AreaHint areaHint;

bool isBitSet(int value, int bit) {
    return (static_cast<unsigned>(value) >> bit & 1U) != 0;
}

int wordFlags(int station, const QString& regType, int address) {
    return dataArea(station, regType, address).wordMonitorFlags;
}

/// Whether bit `bit` is monitored and differs.
bool isMonitoredChange(int mask, int oldValue, int newValue, int bit) {
    return isBitSet(mask, bit) && isBitSet(oldValue, bit) != isBitSet(newValue, bit);
}

}  // namespace

int getIndexOfDataArea(int station, const QString& regType, int address, QList<_DATA_>& areas) {
    if (&areas == &driver.dataAreas) {
        return areaHint.find(station, regType, address);
    }
    return indexByWalk(station, regType, address, areas);
}

_DATA_& dataArea(int station, const QString& regType, int address) {
    const int position = areaHint.findNear(station, regType, address);
    return driver.dataAreas[position];
}

void clearMonitorFlags() {
    for (int i = 0; i < driver.dataAreas.size(); ++i) {
        _DATA_& area = driver.dataAreas[i];
        area.wordMonitorFlags = 0;
        area.bitMonitorMask = 0;
    }
}

int _setDataAreaMonitorFlag(int station, const QString& regType, int address, int length) {
    const RegisterKind kind = registerType(regType).kind;
    for (int i = 0; i < length; ++i) {
        const int item = addressAfter(address, i);
        if (kind == KIND_BIT) {
            _DATA_& area = dataArea(station, regType, bitGroupBase(item));
            area.bitMonitorMask = _setBitValue(area.bitMonitorMask, bitNumberInGroup(item), 1);
        } else if (kind == KIND_WORD) {
            dataArea(station, regType, item).wordMonitorFlags |= MONITOR_WORD;
        } else {
            break;
        }
    }
    return 0;
}

void reportValueChange(int linkId, int station, const QString& regType, int address) {
    Q_ASSERT_X(driver.valueChangeCallback != 0, "korvalent_dx7",
               "the host must register its callback before replies and writes");
    QString hostText(regType);
    driver.valueChangeCallback(linkId, station, hostText, address);
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
    const _DATA_& area = dataArea(station, regType, address);
    if (*oldValue == *newValue) {
        return;
    }
    const int mask = area.bitMonitorMask;
    int flags = area.wordMonitorFlags;
    // After a report the flags are looked up anew, since the report may have changed them. Where no report
    // can follow they are not: the lookup would bring back an area that the report has dropped.
    if (noBitScan == 0 && mask != 0) {
        const QString bitType = regType + QLatin1String("_bit");
        for (int bit = 0; bit < 16; ++bit) {
            if (isMonitoredChange(mask, *oldValue, *newValue, bit)) {
                const unsigned bitAddress = 16U * static_cast<unsigned>(address) + static_cast<unsigned>(bit);
                reportValueChange(driver.linkId, station, bitType, static_cast<int>(bitAddress));
            }
        }
        flags = wordFlags(station, regType, address);
    }
    if ((flags & MONITOR_WORD) != 0) {
        reportValueChange(driver.linkId, station, regType, address);
        if (address >= 0) {
            flags = wordFlags(station, regType, address);
        }
    }
    // A double word begins at address 0 or above, so its second word is at 1 or above.
    if (address >= 0 && (flags & MONITOR_DOUBLE_FIRST) != 0) {
        reportValueChange(driver.linkId, station, regType + QLatin1String("_double"), address);
        if (address >= 1) {
            flags = wordFlags(station, regType, address);
        }
    }
    if (address >= 1 && (flags & MONITOR_DOUBLE_SECOND) != 0) {
        reportValueChange(driver.linkId, station, regType + QLatin1String("_double"), address - 1);
    }
}

int intf_getData(int station, const QString& regType, int address, int count, unsigned char* out) {
    const RegisterKind kind = registerType(regType).kind;
    if (kind == KIND_UNKNOWN) {
        return DX7_DONE;
    }
    for (int k = 0; k < count; ++k) {
        const _DATA_& area = dataArea(station, regType, addressAfter(address, k));
        const unsigned char* shown = area.writePending != 0 ? area.writtenValue : area.value;
        *out++ = shown[0];
        if (kind == KIND_WORD) {
            *out++ = shown[1];
        }
    }
    return DX7_DONE;
}
