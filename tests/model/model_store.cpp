// The store of current values, monitoring and change reports.
#include "model.h"

namespace model {

int Model::getIndexOfDataArea(int station, const Text& regType, int address,
                              std::vector<DataArea>& areas) const {
    for (std::size_t i = 0; i < areas.size(); ++i) {
        const DataArea& item = areas[i];
        if (item.station == station && item.address == address && item.regType == regType) {
            return static_cast<int>(i);
        }
    }
    DataArea item;
    item.station = station;
    item.regType = regType;
    item.address = address;
    areas.push_back(item);
    return static_cast<int>(areas.size()) - 1;
}

DataArea& Model::area(int station, const Text& regType, int address) {
    return dataAreas[static_cast<std::size_t>(getIndexOfDataArea(station, regType, address, dataAreas))];
}

int Model::_setDataAreaMonitorFlag(int station, const Text& regType, int address, int length) {
    if (length < 1) {
        return 0;
    }
    for (int i = 0; i < length; ++i) {
        const int a = wrapAdd(address, i);
        if (isBitType(regType)) {
            DataArea& group = area(station, regType, groupBase(a));
            group.bitMonitorMask = _setBitValue(group.bitMonitorMask, bitInGroup(a), 1);
        } else if (isWordType(regType)) {
            DataArea& item = area(station, regType, a);
            item.wordMonitorFlags = _setBitValue(item.wordMonitorFlags, 0, 1);
        }
    }
    return 0;
}

int Model::intf_getData(int station, const Text& regType, int address, int count, Byte* out) {
    for (int k = 0; k < count; ++k) {
        if (isBitType(regType) || regType == u"FAS") {
            const DataArea& item = area(station, regType, wrapAdd(address, k));
            out[k] = item.writePending != 0 ? item.writtenValue[0] : item.value[0];
        } else if (isWordType(regType)) {
            const DataArea& item = area(station, regType, wrapAdd(address, k));
            out[2LL * k] = item.writePending != 0 ? item.writtenValue[0] : item.value[0];
            out[2LL * k + 1] = item.writePending != 0 ? item.writtenValue[1] : item.value[1];
        }
    }
    return 1;
}

void Model::_byteDataChange(int oldValue, int newValue, int station, const Text& regType, int groupAddress) {
    const int m = area(station, regType, groupAddress).bitMonitorMask;
    if (oldValue == newValue) {
        return;
    }
    if (m == 0) {
        return;
    }
    for (int b = 0; b < 8; ++b) {
        if (((m >> b) & 1) != 0 && ((oldValue >> b) & 1) != ((newValue >> b) & 1)) {
            report(linkId, station, regType, wrapAdd(groupAddress, b));
        }
    }
}

void Model::_wordDataChange(int oldValue, int newValue, int station, const Text& regType, int address,
                            int noBitScan) {
    const DataArea found = area(station, regType, address);
    if (oldValue == newValue) {
        return;
    }
    if (noBitScan == 0 && found.bitMonitorMask != 0) {
        for (int b = 0; b < 16; ++b) {
            if (((found.bitMonitorMask >> b) & 1) != 0 && ((oldValue >> b) & 1) != ((newValue >> b) & 1)) {
                report(linkId, station, regType + u"_bit", wrapAdd(wrapMul(address, 16), b));
            }
        }
    }
    if ((found.wordMonitorFlags & 1) != 0) {
        report(linkId, station, regType, address);
    }
    if (address >= 0 && (found.wordMonitorFlags & 2) != 0) {
        report(linkId, station, regType + u"_double", address);
    }
    if (address >= 1 && (found.wordMonitorFlags & 4) != 0) {
        report(linkId, station, regType + u"_double", address - 1);
    }
}

}  // namespace model
