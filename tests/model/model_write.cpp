// Host writes and how operations end.
#include "model.h"

namespace model {

namespace {

// Copies what fits into the 1024 bytes of a request.
void fill(Variable& var, const Byte* source, long long bytes) {
    for (long long i = 0; i < bytes && i < 1024; ++i) {
        var.data[static_cast<std::size_t>(i)] = source[i];
    }
}

}  // namespace

int Model::intf_setData(int station, const Text& regType, int address, int count, const Byte* data, int tag) {
    if (propField1 == 0) {
        Variable var;
        var.opKind = tag;
        var.station = station;
        var.regType = regType;
        if (isBitType(regType)) {
            var.address = address;
            var.count = count;
            fill(var, data, count);
            addVarToList(writeList, var);
        } else if (isWordType(regType)) {
            // A block limit that is not positive means that nothing is split.
            const int block = maxBlockWordsCopy > 0 ? maxBlockWordsCopy : count;
            int n = block == 0 ? 0 : count / block;
            const int r = block == 0 ? 0 : count % block;
            if (r != 0) {
                n = n + 1;
            }
            for (int k = 0; k < n; ++k) {
                var.address = wrapAdd(address, wrapMul(k, block));
                var.count = k == n - 1 && r != 0 ? r : block;
                var.data.fill(0);
                fill(var, data + 2LL * k * block, 2LL * var.count);
                addVarToList(writeList, var);
            }
        }
    }
    write_saveDataToArea(station, regType, address, count, data);
    return 1;
}

void Model::write_saveDataToArea(int station, const Text& regType, int address, int count, const Byte* data) {
    for (int i = 0; i < count; ++i) {
        const int a = wrapAdd(address, i);
        if (isWordType(regType)) {
            const DataArea before = area(station, regType, a);
            const Byte low = data[2LL * i];
            const Byte high = data[2LL * i + 1];
            const std::array<Byte, 4>& shown = before.writePending == 1 ? before.writtenValue : before.value;
            _wordDataChange(shown[0] + 256 * shown[1], low + 256 * high, station, regType, a, 0);
            area(station, regType, a).writtenValue[0] = low;
            area(station, regType, a).writtenValue[1] = high;
            area(station, regType, a).writePending = 1;
        } else if (isBitType(regType)) {
            const DataArea before = area(station, regType, groupBase(a));
            const Byte shown = before.writePending == 1 ? before.writtenValue[0] : before.value[0];
            if (data[i] != shown) {
                report(linkId, station, regType, a);
            }
            area(station, regType, groupBase(a)).writtenValue[0] = data[i];
            area(station, regType, groupBase(a)).writePending = 1;
        }
    }
}

void Model::_write_FailOrSuc(int station, const Text& regType, int address, int count, int success) {
    for (int i = 0; i < count; ++i) {
        const int a = wrapAdd(address, i);
        if (isWordType(regType)) {
            DataArea& item = area(station, regType, a);
            item.writePending = 0;
            if (success == 1) {
                item.value[0] = item.writtenValue[0];
                item.value[1] = item.writtenValue[1];
            } else {
                _wordDataChange(item.value[0] + 256 * item.value[1],
                                item.writtenValue[0] + 256 * item.writtenValue[1], station, regType, a, 0);
            }
        } else if (isBitType(regType)) {
            DataArea& group = area(station, regType, groupBase(a));
            group.pendingBits = _setBitValue(group.pendingBits, bitInGroup(a), 0);
            if (group.pendingBits == 0) {
                group.writePending = 0;
            }
            if (success == 1) {
                group.value[0] = group.writtenValue[0];
            } else {
                _byteDataChange(group.value[0], group.writtenValue[0], station, regType, groupBase(a));
            }
        }
    }
}

void Model::dealListWhenFinish() {
    if (opKind == 2) {
        if (writeList.empty()) {
            return;
        }
        const Variable head = writeList[0];
        _write_FailOrSuc(head.station, head.regType, head.address, head.count, commFailed != 0 ? 0 : 1);
        if (!writeList.empty()) {
            writeList.erase(writeList.begin());
        }
    } else if (opKind == 3) {
        if (!conditionList.empty() && conditionList[0].station == conditionVar.station &&
            conditionList[0].regType == conditionVar.regType &&
            conditionList[0].address == conditionVar.address &&
            conditionList[0].count == conditionVar.count) {
            report(-1, -1, u"-1", commFailed != 0 ? -1 : 0);
        }
        if (commFailed != 0) {
            conditionList.clear();
        } else if (!conditionList.empty()) {
            conditionList.erase(conditionList.begin());
        }
    } else if (opKind == 4) {
        if (pollList.size() >= 2) {
            pollList.push_back(Variable(pollList[0]));
            pollList.erase(pollList.begin());
        }
    } else if (opKind == 5) {
        endRecipe(60115);
    } else if (opKind == 6) {
        endRecipe(60116);
    }
}

void Model::endRecipe(int flagIndex) {
    if (commFailed != 0) {
        recipeIndex = 0;
    } else {
        recipeIndex = wrapAdd(recipeIndex, 1);
        if (recipeIndex < static_cast<int>(recipeBlocks.size())) {
            return;
        }
        recipeIndex = 0;
    }
    hostFlags[flagIndex] = 0;
}

}  // namespace model
