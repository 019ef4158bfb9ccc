// The polling plan, the request lists and condition reads.
#include <utility>

#include "model.h"

namespace model {

int Model::intf_addrMerge(std::vector<KeyAddress>& list) {
    for (DataArea& item : dataAreas) {
        item.wordMonitorFlags = 0;
        item.bitMonitorMask = 0;
    }
    for (const KeyAddress& entry : list) {
        _setDataAreaMonitorFlag(entry.station, entry.regType, entry.address, entry.length);
    }
    pollList.clear();
    if (list.empty()) {
        return 0;
    }
    addrMerge(list, 1);
    for (const KeyAddress& block : list) {
        Variable var;
        var.opKind = 4;
        var.station = block.station;
        var.regType = block.regType;
        var.address = block.address;
        var.count = block.length;
        pollList.push_back(var);
    }
    return static_cast<int>(pollList.size());
}

void Model::addrMerge(std::vector<KeyAddress>& list, int mode) {
    if (mode != 2) {
        const auto weight = [this](const KeyAddress& key) {
            return static_cast<std::uint32_t>(getRegAddressWeight(key.station, key.regType, key.address, 0));
        };
        for (std::size_t pass = 0; pass < list.size(); ++pass) {
            for (std::size_t i = 0; i + 1 < list.size(); ++i) {
                if (weight(list[i]) > weight(list[i + 1])) {
                    std::swap(list[i], list[i + 1]);
                }
            }
        }
    }
    std::vector<KeyAddress> result;
    mergeOnce(list, mode, result);
    if (mode == 2) {
        list = result;
        return;
    }
    std::vector<KeyAddress> result2;
    mergeOnce(result, mode, result2);
    list = result2;
}

void Model::mergeOnce(const std::vector<KeyAddress>& list, int mode, std::vector<KeyAddress>& result) {
    const std::size_t n = list.size();
    KeyAddress current = list[0];
    if (mode == 2) {
        recipeBlockStart.push_back(0);
    }
    if (n == 1) {
        result.push_back(current);
    }
    for (std::size_t i = 1; i < n; ++i) {
        bool startsBlock = the_Merge(current, list[i]) == 1;
        if (!startsBlock) {
            const int span = wrapSub(wrapAdd(list[i].address, list[i].length), current.address);
            if (span > maxBlockWords) {
                startsBlock = true;
            } else {
                current.length = span;
            }
        }
        if (startsBlock) {
            result.push_back(current);
            current = list[i];
            if (mode == 2) {
                recipeBlockStart.push_back(static_cast<int>(i));
            }
        }
        if (i == n - 1) {
            result.push_back(current);
        }
    }
}

int Model::the_Merge(const KeyAddress& block, const KeyAddress& next) const {
    if (block.regType != next.regType) {
        return 1;
    }
    if (wrapSub(next.address, wrapAdd(block.address, block.length)) > 0) {
        return 1;
    }
    for (const char16_t* grouped : {u"F", u"D", u"DE"}) {
        if (block.regType != grouped) {
            continue;
        }
        if (next.address / 56 != block.address / 56) {
            return 1;
        }
        if (next.address % 56 / 10 != block.address % 56 / 10) {
            return 1;
        }
    }
    return 0;
}

void Model::addVarToList(std::vector<Variable>& list, const Variable& var) const {
    if (list.empty()) {
        list.push_back(var);
        return;
    }
    const std::size_t n = list.size();
    for (std::size_t i = n - 1; i >= 1; --i) {
        if (list[i].station == var.station && list[i].regType == var.regType &&
            list[i].address == var.address && list[i].count == var.count) {
            list[i] = var;
            return;
        }
    }
    if (n > 512) {
        list[512] = var;
        return;
    }
    list.push_back(var);
}

int Model::intf_addConditionRead(const KeyAddress& key, int tag) {
    const int limit = key.bitOffset == -1 ? maxBlockBits : maxBlockWordsCopy;
    std::vector<KeyAddress> pieces;
    if (limit >= key.length || limit <= 0) {
        pieces.push_back(key);
    } else {
        const int q = key.length / limit;
        const int r = key.length % limit;
        const int number = q + (r != 0 ? 1 : 0);
        for (int k = 0; k < number; ++k) {
            KeyAddress piece = key;
            piece.address = wrapAdd(key.address, wrapMul(k, limit));
            piece.length = k == number - 1 && r != 0 ? r : limit;
            pieces.push_back(piece);
        }
    }
    for (const KeyAddress& piece : pieces) {
        Variable v;
        v.opKind = tag;
        v.station = piece.station;
        v.regType = piece.regType;
        v.address = piece.address;
        v.count = piece.length;
        addVarToList(conditionList, v);
        conditionVar = v;
    }
    return 1;
}

}  // namespace model
