#include "data_areas.h"

#include "addressing.h"
#include "area_index.h"

namespace {

AreaIndex areaIndex;

bool isBitSet(int value, int bit) {
    return (static_cast<unsigned>(value) >> bit & 1U) != 0;
}

/// Whether bit `bit` is monitored and differs.
bool isMonitoredChange(int mask, int oldValue, int newValue, int bit) {
    return isBitSet(mask, bit) && isBitSet(oldValue, bit) != isBitSet(newValue, bit);
}

int wordFlags(int station, const QString& regType, int address) {
    return dataArea(station, regType, address).wordMonitorFlags;
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
    const _DATA_& area = dataArea(station, regType, address);
    if (*oldValue == *newValue) {
        return;
    }
    const int mask = area.bitMonitorMask;
    int flags = area.wordMonitorFlags;
    // Flags are looked up anew after each report that others may follow: the host may have changed the plan
    // inside it.
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
    const RegisterRow row = registerRow(regType);
    if (row == ROW_UNKNOWN) {
        return 1;
    }
    const RegisterKind kind = kindOf(row);
    const QString& name = REG_LIST[row];
    const DataAreaCall call;
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
