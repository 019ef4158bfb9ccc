#include "state_difference.h"

#include <QtCore/QString>
#include <cstring>
#include <initializer_list>

#include "texts.h"

namespace differential {

namespace {

std::string numbers(const std::string& name, long long model, long long library) {
    return name + ": model " + std::to_string(model) + ", library " + std::to_string(library);
}

std::string number(const char* name, long long model, long long library) {
    return model == library ? std::string() : numbers(name, model, library);
}

// The first of several comparisons that found a difference.
std::string first(std::initializer_list<std::string> differences) {
    for (const std::string& difference : differences) {
        if (!difference.empty()) {
            return difference;
        }
    }
    return std::string();
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
    return first({number("linkId", m.linkId, l.linkId), number("station", m.station, l.station),
                  text("regType", m.regType, l.regType), number("address", m.address, l.address),
                  number("count", m.count, l.count), number("recipeIndex", m.recipeIndex, l.recipeIndex),
                  number("hostReserved", m.hostReserved, l.hostReserved)});
}

std::string areaDifference(const model::DataArea& m, const _DATA_& l) {
    return first({number("station", m.station, l.station), text("regType", m.regType, l.regType),
                  number("address", m.address, l.address), number("commError", m.commError, l.commError),
                  number("writePending", m.writePending, l.writePending),
                  number("pendingBits", m.pendingBits, l.pendingBits),
                  number("wordMonitorFlags", m.wordMonitorFlags, l.wordMonitorFlags),
                  number("bitMonitorMask", m.bitMonitorMask, l.bitMonitorMask),
                  bytes("value", m.value, l.value), bytes("writtenValue", m.writtenValue, l.writtenValue)});
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
    return first(
        {number("linkId", m.linkId, l.linkId), number("propField1", m.propField1, l.propField1),
         number("propField2", m.propField2, l.propField2), number("retryCount", m.retryCount, l.retryCount),
         number("maxBlockWords", m.maxBlockWords, l.maxBlockWords), number("opKind", m.opKind, l.opKind),
         number("burstCount", m.burstCount, l.burstCount), number("reservedA", m.reservedA, l.reservedA),
         number("badReplyCount", m.badReplyCount, l.badReplyCount),
         number("maxBlockBits", m.maxBlockBits, l.maxBlockBits),
         number("maxBlockWordsCopy", m.maxBlockWordsCopy, l.maxBlockWordsCopy),
         number("commFailed", m.commFailed, l.commFailed), number("reservedB", m.reservedB, l.reservedB),
         number("reservedC", m.reservedC, l.reservedC), number("recipeIndex", m.recipeIndex, l.recipeIndex),
         number("hostParam2", static_cast<long long>(m.hostParam2), static_cast<long long>(l.hostParam2)),
         number("hostMutex is the host's", 1, m.hostMutex == l.hostMutex ? 1 : 0)});
}

}  // namespace

std::string variableDifference(const model::Variable& m, const VARIABLE& l) {
    return first({number("opKind", m.opKind, l.opKind), number("station", m.station, l.station),
                  text("regType", m.regType, l.regType), number("address", m.address, l.address),
                  number("count", m.count, l.count), bytes("data", m.data, l.data)});
}

std::string keyDifference(const model::KeyAddress& m, const KEY_ADDRESS& l) {
    return first({text("hostText", m.hostText, l.hostText), number("hostWord1", m.hostWord1, l.hostWord1),
                  number("hostWord2", m.hostWord2, l.hostWord2), number("station", m.station, l.station),
                  text("regType", m.regType, l.regType), text("hostText2", m.hostText2, l.hostText2),
                  number("address", m.address, l.address), number("bitOffset", m.bitOffset, l.bitOffset),
                  number("length", m.length, l.length), bytes("data", m.data, l.data)});
}

std::string frameDifference(const model::Frame& m, const FRAME_PRO& l) {
    return first({number("sendLen", m.sendLen, l.sendLen), bytes("sendBuf", m.sendBuf, l.sendBuf),
                  number("expectLen", m.expectLen, l.expectLen),
                  number("dataOffset", m.dataOffset, l.dataOffset),
                  number("dataCount", m.dataCount, l.dataCount),
                  number("frameReserved", m.frameReserved, l.frameReserved),
                  number("opKind", m.opKind, l.opKind), number("station", m.station, l.station),
                  text("regType", m.regType, l.regType), number("address", m.address, l.address),
                  number("count", m.count, l.count), bytes("varData", m.varData, l.varData)});
}

std::string stateDifference(const model::Model& m, const korvalent_dx7& l) {
    return first({counterDifference(m, l), lists("pollList", m.pollList, l.pollList, variableDifference),
                  lists("writeList", m.writeList, l.writeList, variableDifference),
                  lists("conditionList", m.conditionList, l.conditionList, variableDifference),
                  lists("dataAreas", m.dataAreas, l.dataAreas, areaDifference),
                  lists("recipeVars", m.recipeVars, l.recipeVars, recipeDifference),
                  lists("recipeBlocks", m.recipeBlocks, l.recipeBlocks, recipeDifference),
                  lists("recipeBlockStart", m.recipeBlockStart, l.recipeBlockStart, intDifference),
                  lists("regNames", m.regNames, l.regNames, nameDifference),
                  named("conditionVar", variableDifference(m.conditionVar, l.conditionVar)),
                  named("currentVar", variableDifference(m.currentVar, l.currentVar)),
                  lists("frameList", m.frameList, l.frameList, frameDifference)});
}

}  // namespace differential
