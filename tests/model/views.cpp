// The two sides as the host sees them from inside the callback, and records on their way from one to the
// other.
#include <QtCore/QString>
#include <cstring>

#include "rig.h"
#include "texts.h"

namespace differential {

namespace {

// A number that depends on every value, flag and key of the areas and on their order.
class Digest {
public:
    void add(std::int64_t number) { hash_ = (hash_ ^ static_cast<std::uint64_t>(number)) * 0x100000001B3ULL; }
    template <typename Area>
    void addArea(const Area& area) {
        add(area.commError);
        add(area.writePending);
        add(area.pendingBits);
        add(area.wordMonitorFlags);
        add(area.bitMonitorMask);
        add(area.station);
        addText(toText(area.regType));
        add(area.address);
        for (std::size_t i = 0; i < 4; ++i) {
            add(area.value[i]);
            add(area.writtenValue[i]);
        }
    }
    std::int64_t result() const { return static_cast<std::int64_t>(hash_ >> 1); }

private:
    static const model::Text& toText(const model::Text& text) { return text; }
    static model::Text toText(const QString& text) { return differential::toText(text); }
    void addText(const model::Text& text) {
        for (const char16_t character : text) {
            add(character);
        }
    }

    std::uint64_t hash_ = 0xCBF29CE484222325ULL;
};

template <typename Side>
std::vector<std::int64_t> snapshotOf(const Side& side) {
    Digest digest;
    for (const auto& area : side.dataAreas) {
        digest.addArea(area);
    }
    return {side.opKind,
            side.burstCount,
            side.badReplyCount,
            side.commFailed,
            side.recipeIndex,
            static_cast<std::int64_t>(side.pollList.size()),
            static_cast<std::int64_t>(side.writeList.size()),
            static_cast<std::int64_t>(side.conditionList.size()),
            static_cast<std::int64_t>(side.frameList.size()),
            static_cast<std::int64_t>(side.dataAreas.size()),
            side.conditionVar.address,
            side.currentVar.address,
            side.hostFlags[RECIPE_WRITE_REQUEST],
            side.hostFlags[RECIPE_READ_REQUEST],
            digest.result()};
}

}  // namespace

std::string quoted(const model::Text& text) {
    std::string result = "\"";
    for (char16_t c : text) {
        if (c >= 0x20 && c < 0x7F) {
            result += static_cast<char>(c);
        } else {
            const char* const digits = "0123456789ABCDEF";
            result += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4) {
                result += digits[(c >> shift) & 0xF];
            }
        }
    }
    return result + "\"";
}

void ModelView::getData(int station, const model::Text& regType, int address, int count, model::Byte* out) {
    model_.intf_getData(station, regType, address, count, out);
}

void ModelView::setData(int station, const model::Text& regType, int address, int count,
                        const model::Byte* data, int tag) {
    model_.intf_setData(station, regType, address, count, data, tag);
}

void ModelView::addConditionRead(const model::KeyAddress& key, int tag) {
    model_.intf_addConditionRead(key, tag);
}

std::vector<std::int64_t> ModelView::snapshot() const {
    return snapshotOf(model_);
}

void LibraryView::getData(int station, const model::Text& regType, int address, int count, model::Byte* out) {
    intf_getData(station, toQString(regType), address, count, out);
}

void LibraryView::setData(int station, const model::Text& regType, int address, int count,
                          const model::Byte* data, int tag) {
    std::vector<model::Byte> own(data, data + 16);
    intf_setData(station, toQString(regType), address, count, own.data(), tag);
}

void LibraryView::addConditionRead(const model::KeyAddress& key, int tag) {
    KEY_ADDRESS own = toLibrary(key);
    intf_addConditionRead(own, tag);
}

std::vector<std::int64_t> LibraryView::snapshot() const {
    const korvalent_dx7& side = driver;
    return snapshotOf(side);
}

VARIABLE toLibrary(const model::Variable& var) {
    VARIABLE result;
    result.opKind = var.opKind;
    result.station = var.station;
    result.regType = toQString(var.regType);
    result.address = var.address;
    result.count = var.count;
    std::memcpy(result.data, var.data.data(), sizeof result.data);
    return result;
}

KEY_ADDRESS toLibrary(const model::KeyAddress& key) {
    KEY_ADDRESS result;
    result.hostText = toQString(key.hostText);
    result.hostWord1 = key.hostWord1;
    result.hostWord2 = key.hostWord2;
    result.station = key.station;
    result.regType = toQString(key.regType);
    result.hostText2 = toQString(key.hostText2);
    result.address = key.address;
    result.bitOffset = key.bitOffset;
    result.length = key.length;
    std::memcpy(result.data, key.data.data(), sizeof result.data);
    return result;
}

_DATA_ toLibrary(const model::DataArea& area) {
    _DATA_ result;
    result.commError = area.commError;
    result.writePending = area.writePending;
    result.pendingBits = area.pendingBits;
    result.wordMonitorFlags = area.wordMonitorFlags;
    result.bitMonitorMask = area.bitMonitorMask;
    result.station = area.station;
    result.regType = toQString(area.regType);
    result.address = area.address;
    std::memcpy(result.value, area.value.data(), sizeof result.value);
    std::memcpy(result.writtenValue, area.writtenValue.data(), sizeof result.writtenValue);
    return result;
}

_RCP_VAR_PRO toLibrary(const model::RecipeVar& var) {
    _RCP_VAR_PRO result;
    result.linkId = var.linkId;
    result.station = var.station;
    result.regType = toQString(var.regType);
    result.address = var.address;
    result.count = var.count;
    result.recipeIndex = var.recipeIndex;
    result.hostReserved = var.hostReserved;
    return result;
}

}  // namespace differential
