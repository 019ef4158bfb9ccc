#include "state_difference.h"

#include <cstring>

#include "texts.h"

namespace differential {

namespace {

std::string numbers(const std::string& name, long long model, long long library) {
    return name + ": model " + std::to_string(model) + ", library " + std::to_string(library);
}

std::string number(const std::string& name, long long model, long long library) {
    return model == library ? std::string() : numbers(name, model, library);
}

std::string text(const char* name, const model::Text& model, const QString& library) {
    const bool same = model.size() == static_cast<std::size_t>(library.size()) &&
                      std::memcmp(model.data(), library.constData(), model.size() * sizeof(char16_t)) == 0;
    return same ? std::string()
                : std::string(name) + ": model " + quoted(model) + ", library " + quoted(toText(library));
}

template <typename Array>
std::string bytes(const char* name, const Array& model, const unsigned char* library) {
    if (std::memcmp(model.data(), library, model.size()) == 0) {
        return std::string();
    }
    std::size_t i = 0;
    while (model[i] == library[i]) {
        ++i;
    }
    return numbers(std::string(name) + "[" + std::to_string(i) + "]", model[i], library[i]);
}

std::string recipeDifference(const model::RecipeVar& m, const _RCP_VAR_PRO& l) {
    std::string d;
    (d = number("linkId", m.linkId, l.linkId)).empty() &&
        (d = number("station", m.station, l.station)).empty() &&
        (d = text("regType", m.regType, l.regType)).empty() &&
        (d = number("address", m.address, l.address)).empty() &&
        (d = number("count", m.count, l.count)).empty() &&
        (d = number("recipeIndex", m.recipeIndex, l.recipeIndex)).empty() &&
        (d = number("hostReserved", m.hostReserved, l.hostReserved)).empty();
    return d;
}

std::string areaDifference(const model::DataArea& m, const _DATA_& l) {
    std::string d;
    (d = number("station", m.station, l.station)).empty() &&
        (d = text("regType", m.regType, l.regType)).empty() &&
        (d = number("address", m.address, l.address)).empty() &&
        (d = number("commError", m.commError, l.commError)).empty() &&
        (d = number("writePending", m.writePending, l.writePending)).empty() &&
        (d = number("pendingBits", m.pendingBits, l.pendingBits)).empty() &&
        (d = number("wordMonitorFlags", m.wordMonitorFlags, l.wordMonitorFlags)).empty() &&
        (d = number("bitMonitorMask", m.bitMonitorMask, l.bitMonitorMask)).empty() &&
        (d = bytes("value", m.value, l.value)).empty() &&
        (d = bytes("writtenValue", m.writtenValue, l.writtenValue)).empty();
    return d;
}

std::string intDifference(const int& m, const int& l) {
    return number("value", m, l);
}

std::string nameDifference(const model::Text& m, const QString& l) {
    return text("value", m, l);
}

template <typename ModelList, typename LibraryList, typename Compare>
std::string lists(const std::string& name, const ModelList& model, const LibraryList& library,
                  const Compare& compare) {
    const int size = library.size();
    if (model.size() != static_cast<std::size_t>(size)) {
        return numbers(name + " size", static_cast<long long>(model.size()), size);
    }
    for (int i = 0; i < size; ++i) {
        const std::string difference = compare(model[static_cast<std::size_t>(i)], library.at(i));
        if (!difference.empty()) {
            return name + "[" + std::to_string(i) + "]." + difference;
        }
    }
    return std::string();
}

std::string named(const char* name, const std::string& difference) {
    return difference.empty() ? difference : name + ("." + difference);
}

std::string counterDifference(const model::Model& m, const korvalent_dx7& l) {
    std::string d;
    (d = number("linkId", m.linkId, l.linkId)).empty() &&
        (d = number("propField1", m.propField1, l.propField1)).empty() &&
        (d = number("propField2", m.propField2, l.propField2)).empty() &&
        (d = number("retryCount", m.retryCount, l.retryCount)).empty() &&
        (d = number("maxBlockWords", m.maxBlockWords, l.maxBlockWords)).empty() &&
        (d = number("opKind", m.opKind, l.opKind)).empty() &&
        (d = number("burstCount", m.burstCount, l.burstCount)).empty() &&
        (d = number("reservedA", m.reservedA, l.reservedA)).empty() &&
        (d = number("badReplyCount", m.badReplyCount, l.badReplyCount)).empty() &&
        (d = number("maxBlockBits", m.maxBlockBits, l.maxBlockBits)).empty() &&
        (d = number("maxBlockWordsCopy", m.maxBlockWordsCopy, l.maxBlockWordsCopy)).empty() &&
        (d = number("commFailed", m.commFailed, l.commFailed)).empty() &&
        (d = number("reservedB", m.reservedB, l.reservedB)).empty() &&
        (d = number("reservedC", m.reservedC, l.reservedC)).empty() &&
        (d = number("recipeIndex", m.recipeIndex, l.recipeIndex)).empty() &&
        (d = number("hostParam2", static_cast<long long>(m.hostParam2), static_cast<long long>(l.hostParam2)))
            .empty() &&
        (d = number("hostMutex is the host's", 1, m.hostMutex == l.hostMutex ? 1 : 0)).empty();
    return d;
}

}  // namespace

std::string variableDifference(const model::Variable& m, const VARIABLE& l) {
    std::string d;
    (d = number("opKind", m.opKind, l.opKind)).empty() &&
        (d = number("station", m.station, l.station)).empty() &&
        (d = text("regType", m.regType, l.regType)).empty() &&
        (d = number("address", m.address, l.address)).empty() &&
        (d = number("count", m.count, l.count)).empty() && (d = bytes("data", m.data, l.data)).empty();
    return d;
}

std::string keyDifference(const model::KeyAddress& m, const KEY_ADDRESS& l) {
    std::string d;
    (d = text("hostText", m.hostText, l.hostText)).empty() &&
        (d = number("hostWord1", m.hostWord1, l.hostWord1)).empty() &&
        (d = number("hostWord2", m.hostWord2, l.hostWord2)).empty() &&
        (d = number("station", m.station, l.station)).empty() &&
        (d = text("regType", m.regType, l.regType)).empty() &&
        (d = text("hostText2", m.hostText2, l.hostText2)).empty() &&
        (d = number("address", m.address, l.address)).empty() &&
        (d = number("bitOffset", m.bitOffset, l.bitOffset)).empty() &&
        (d = number("length", m.length, l.length)).empty() && (d = bytes("data", m.data, l.data)).empty();
    return d;
}

std::string frameDifference(const model::Frame& m, const FRAME_PRO& l) {
    std::string d;
    (d = number("sendLen", m.sendLen, l.sendLen)).empty() &&
        (d = bytes("sendBuf", m.sendBuf, l.sendBuf)).empty() &&
        (d = number("expectLen", m.expectLen, l.expectLen)).empty() &&
        (d = number("dataOffset", m.dataOffset, l.dataOffset)).empty() &&
        (d = number("dataCount", m.dataCount, l.dataCount)).empty() &&
        (d = number("frameReserved", m.frameReserved, l.frameReserved)).empty() &&
        (d = number("opKind", m.opKind, l.opKind)).empty() &&
        (d = number("station", m.station, l.station)).empty() &&
        (d = text("regType", m.regType, l.regType)).empty() &&
        (d = number("address", m.address, l.address)).empty() &&
        (d = number("count", m.count, l.count)).empty() &&
        (d = bytes("varData", m.varData, l.varData)).empty();
    return d;
}

std::string stateDifference(const model::Model& m, const korvalent_dx7& l) {
    std::string d;
    (d = counterDifference(m, l)).empty() &&
        (d = lists("pollList", m.pollList, l.pollList, variableDifference)).empty() &&
        (d = lists("writeList", m.writeList, l.writeList, variableDifference)).empty() &&
        (d = lists("conditionList", m.conditionList, l.conditionList, variableDifference)).empty() &&
        (d = lists("dataAreas", m.dataAreas, l.dataAreas, areaDifference)).empty() &&
        (d = lists("recipeVars", m.recipeVars, l.recipeVars, recipeDifference)).empty() &&
        (d = lists("recipeBlocks", m.recipeBlocks, l.recipeBlocks, recipeDifference)).empty() &&
        (d = lists("recipeBlockStart", m.recipeBlockStart, l.recipeBlockStart, intDifference)).empty() &&
        (d = lists("regNames", m.regNames, l.regNames, nameDifference)).empty() &&
        (d = named("conditionVar", variableDifference(m.conditionVar, l.conditionVar))).empty() &&
        (d = named("currentVar", variableDifference(m.currentVar, l.currentVar))).empty() &&
        (d = lists("frameList", m.frameList, l.frameList, frameDifference)).empty();
    return d;
}

}  // namespace differential
