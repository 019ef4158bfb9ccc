// Edits of the driver's fields from outside, as a host or a test may make them between two calls.
#include <QtCore/QList>
#include <algorithm>
#include <climits>
#include <vector>

#include "generators.h"
#include "operations.h"
#include "texts.h"

namespace differential {

namespace gen = rc::gen;

namespace {

struct NumberField {
    const char* name;
    int model::Model::*ours;
    int korvalent_dx7::*theirs;
};

const NumberField numberFields[] = {
    {"opKind", &model::Model::opKind, &korvalent_dx7::opKind},
    {"burstCount", &model::Model::burstCount, &korvalent_dx7::burstCount},
    {"badReplyCount", &model::Model::badReplyCount, &korvalent_dx7::badReplyCount},
    {"retryCount", &model::Model::retryCount, &korvalent_dx7::retryCount},
    {"commFailed", &model::Model::commFailed, &korvalent_dx7::commFailed},
    {"recipeIndex", &model::Model::recipeIndex, &korvalent_dx7::recipeIndex},
    {"maxBlockWords", &model::Model::maxBlockWords, &korvalent_dx7::maxBlockWords},
    {"maxBlockWordsCopy", &model::Model::maxBlockWordsCopy, &korvalent_dx7::maxBlockWordsCopy},
    {"maxBlockBits", &model::Model::maxBlockBits, &korvalent_dx7::maxBlockBits},
    {"propField1", &model::Model::propField1, &korvalent_dx7::propField1},
    {"linkId", &model::Model::linkId, &korvalent_dx7::linkId},
};

struct EditNumber {
    int field = 0;
    int value = 0;
    const NumberField& which() const { return numberFields[field]; }
    void perform(Rig& rig) const {
        rig.model.*which().ours = value;
        rig.library.*which().theirs = value;
    }
    void print(std::ostream& out) const { out << "driver." << which().name << " = " << value; }
};

// The driver notices every edit of its areas but one: in a longer list, one that leaves two areas with the
// same key. Such edits are made only in lists that the driver walks: this is below WALKED_AREAS in
// driver/data_areas.cpp.
const std::size_t shortList = 24;

bool mayRepeatKeys(const std::vector<model::DataArea>& areas) {
    return areas.size() <= shortList;
}

bool holdsKey(const std::vector<model::DataArea>& areas, const model::DataArea& key) {
    return std::any_of(areas.begin(), areas.end(), [&key](const model::DataArea& area) {
        return area.station == key.station && area.regType == key.regType && area.address == key.address;
    });
}

const char* const areaEdits[] = {"commError",      "writePending", "pendingBits",  "wordMonitorFlags",
                                 "bitMonitorMask", "value",        "writtenValue", "station",
                                 "regType",        "address"};
const int firstKeyField = 7;

struct EditArea {
    int index = 0;
    int field = 0;
    int value = 0;
    /// Areas from that one on that are edited alike.
    int run = 1;
    model::Text type;
    void perform(Rig& rig) const {
        const int size = static_cast<int>(rig.model.dataAreas.size());
        if (field >= firstKeyField && !mayRepeatKeys(rig.model.dataAreas)) {
            return;
        }
        for (int place = size == 0 ? 0 : index % size, left = run; place < size && left > 0;
             ++place, --left) {
            edit(rig.model.dataAreas[static_cast<std::size_t>(place)], type);
            edit(rig.library.dataAreas[place], toQString(type));
        }
    }
    void print(std::ostream& out) const {
        out << "driver.dataAreas[" << index << " modulo size and on, " << run << "]." << areaEdits[field]
            << " = " << value << " or " << quoted(type);
    }

private:
    template <typename Area, typename Name>
    void edit(Area& area, const Name& name) const {
        const unsigned char byte = static_cast<unsigned char>(value);
        switch (field) {
            case 0:
                area.commError = byte & 1;
                break;
            case 1:
                area.writePending = byte & 1;
                break;
            case 2:
                area.pendingBits = value;
                break;
            case 3:
                area.wordMonitorFlags = value;
                break;
            case 4:
                area.bitMonitorMask = value;
                break;
            case 5:
                area.value[0] = byte;
                area.value[1] = static_cast<unsigned char>(byte / 2);
                break;
            case 6:
                area.writtenValue[0] = byte;
                area.writtenValue[1] = static_cast<unsigned char>(byte / 2);
                break;
            case 7:
                area.station = value;
                break;
            case 8:
                area.regType = name;
                break;
            default:
                area.address = value;
                break;
        }
    }
};

struct RearrangeAreas {
    int how = 0;
    int index = 0;
    model::DataArea area;
    void perform(Rig& rig) const {
        std::vector<model::DataArea>& ours = rig.model.dataAreas;
        QList<_DATA_>& theirs = rig.library.dataAreas;
        const bool adds = how == 0 || how == 1 || how == 5;
        if (adds && !mayRepeatKeys(ours) && holdsKey(ours, area)) {
            return;
        }
        if (how == 0) {
            ours.insert(ours.begin(), area);
            theirs.prepend(toLibrary(area));
            return;
        }
        if (how == 1) {
            ours.push_back(area);
            theirs.append(toLibrary(area));
            return;
        }
        if (ours.empty()) {
            return;
        }
        const int place = index % static_cast<int>(ours.size());
        const int last = static_cast<int>(ours.size()) - 1;
        if (how == 2) {
            ours.erase(ours.begin() + place);
            theirs.removeAt(place);
        } else if (how == 3) {
            std::swap(ours[static_cast<std::size_t>(place)], ours[static_cast<std::size_t>(last)]);
            std::swap(theirs[place], theirs[last]);
        } else if (how == 4) {
            std::reverse(ours.begin(), ours.end());
            std::reverse(theirs.begin(), theirs.end());
        } else if (how == 5) {
            ours.erase(ours.begin() + place);
            theirs.removeAt(place);
            ours.push_back(area);
            theirs.append(toLibrary(area));
        } else if (how == 6) {
            QList<_DATA_> other;
            for (int i = 0; i <= last; ++i) {
                other.append(theirs.at(i));
            }
            theirs = other;
        } else {
            ours.clear();
            theirs.clear();
        }
    }
    void print(std::ostream& out) const {
        const char* const names[] = {"prepend", "append",  "remove", "swap with the last",
                                     "reverse", "replace", "copy",   "clear"};
        out << "driver.dataAreas: " << names[how] << ", index " << index << " modulo size, area {"
            << area.station << ", " << quoted(area.regType) << ", " << area.address << "}";
    }
};

struct EditFrame {
    int field = 0;
    int value = 0;
    void perform(Rig& rig) const {
        if (rig.model.frameList.empty()) {
            return;
        }
        if (field == 7) {
            rig.model.frameList.clear();
            rig.library.frameList.clear();
        } else if (field == 6) {
            rig.model.frameList.push_back(model::Frame(rig.model.frameList[0]));
            rig.library.frameList.append(FRAME_PRO(rig.library.frameList.at(0)));
        } else {
            edit(rig.model.frameList[0]);
            edit(rig.library.frameList[0]);
        }
    }
    void print(std::ostream& out) const {
        const char* const names[] = {"expectLen", "dataCount", "dataOffset", "address",
                                     "count",     "station",   "(doubled)",  "(cleared)"};
        out << "driver.frameList[0]." << names[field] << " = " << value;
    }

private:
    template <typename Frame>
    void edit(Frame& frame) const {
        int* const numbers[] = {&frame.expectLen, &frame.dataCount, &frame.dataOffset,
                                &frame.address,   &frame.count,     &frame.station};
        *numbers[field] = value;
    }
};

struct EditRequests {
    int list = 0;
    int how = 0;
    model::Variable var;
    void perform(Rig& rig) const {
        if (list == 3) {
            rig.model.currentVar = var;
            rig.library.currentVar = toLibrary(var);
        } else if (list == 4) {
            rig.model.conditionVar = var;
            rig.library.conditionVar = toLibrary(var);
        } else {
            std::vector<model::Variable>* const ours[] = {&rig.model.pollList, &rig.model.writeList,
                                                          &rig.model.conditionList};
            QList<VARIABLE>* const theirs[] = {&rig.library.pollList, &rig.library.writeList,
                                               &rig.library.conditionList};
            edit(*ours[list], *theirs[list]);
        }
    }
    void print(std::ostream& out) const {
        const char* const names[] = {"pollList", "writeList", "conditionList", "currentVar", "conditionVar"};
        const char* const edits[] = {"append", "remove head", "clear"};
        out << "driver." << names[list] << ": " << edits[how] << ", request {" << var.station << ", "
            << quoted(var.regType) << ", " << var.address << ", count " << var.count << "}";
    }

private:
    void edit(std::vector<model::Variable>& ours, QList<VARIABLE>& theirs) const {
        if (how == 0) {
            ours.push_back(var);
            theirs.append(toLibrary(var));
        } else if (how == 2) {
            ours.clear();
            theirs.clear();
        } else if (!ours.empty()) {
            ours.erase(ours.begin());
            theirs.removeFirst();
        }
    }
};

struct EditNames {
    model::Text name;
    void perform(Rig& rig) const {
        if (rig.model.regNames.size() > 12) {
            rig.model.regNames.erase(rig.model.regNames.begin());
            rig.library.regNames.removeFirst();
        }
        rig.model.regNames.push_back(name);
        rig.library.regNames.append(toQString(name));
    }
    void print(std::ostream& out) const {
        out << "driver.regNames: the first goes, " << quoted(name) << " comes";
    }
};

rc::Gen<int> masks() {
    return gen::element(0, 1, 2, 3, 4, 5, 6, 7, 0x10, 0x80, 0xFF, 0x100, 0x8000, 0xFFFF, 0x10000, -1, 300);
}

}  // namespace

rc::Gen<OperationPtr> editOperations() {
    const auto number = gen::build<EditNumber>(
        gen::set(&EditNumber::field, gen::inRange(0, 5)),
        gen::set(&EditNumber::value,
                 gen::weightedOneOf<int>({{9, gen::inRange(0, 8)}, {1, gen::inRange(-4, 0)}})));
    const auto limit =
        gen::build<EditNumber>(gen::set(&EditNumber::field, gen::inRange(5, 11)),
                               gen::set(&EditNumber::value, gen::element(0, 1, 2, 3, 5, 8, 16, 64)));
    const auto area = gen::build<EditArea>(
        gen::set(&EditArea::index, gen::inRange(0, 400)), gen::set(&EditArea::field, gen::inRange(0, 7)),
        gen::set(&EditArea::value, masks()), gen::set(&EditArea::run, gen::element(1, 1, 3, 20, 400)),
        gen::set(&EditArea::type, regTypes()));
    const auto key = gen::build<EditArea>(
        gen::set(&EditArea::index, gen::inRange(0, 400)), gen::set(&EditArea::field, gen::inRange(7, 10)),
        gen::set(&EditArea::value, gen::inRange(0, 17)), gen::set(&EditArea::type, regTypes()));
    const auto areaValue = gen::build<model::DataArea>(
        gen::set(&model::DataArea::writePending, gen::element<model::Byte>(0, 1)),
        gen::set(&model::DataArea::pendingBits, masks()),
        gen::set(&model::DataArea::wordMonitorFlags, masks()),
        gen::set(&model::DataArea::bitMonitorMask, masks()), gen::set(&model::DataArea::station, stations()),
        gen::set(&model::DataArea::regType, regTypes()), gen::set(&model::DataArea::address, addresses()));
    const auto rearrange = gen::build<RearrangeAreas>(
        gen::set(&RearrangeAreas::how,
                 gen::weightedElement<int>({{4, 0}, {3, 1}, {4, 2}, {4, 3}, {2, 4}, {3, 5}, {2, 6}, {1, 7}})),
        gen::set(&RearrangeAreas::index, gen::inRange(0, 400)), gen::set(&RearrangeAreas::area, areaValue));
    const auto frame = gen::build<EditFrame>(
        gen::set(&EditFrame::field, gen::inRange(0, 8)),
        gen::set(&EditFrame::value,
                 gen::element(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 20, 30, -1, -2, 65539, 65538)));
    const auto requests = gen::build<EditRequests>(gen::set(&EditRequests::list, gen::inRange(0, 5)),
                                                   gen::set(&EditRequests::how, gen::inRange(0, 3)),
                                                   gen::set(&EditRequests::var, variables()));
    const auto names = gen::build<EditNames>(gen::set(&EditNames::name, regTypes()));
    return gen::weightedOneOf<OperationPtr>({{4, operationOf<EditNumber>(number)},
                                             {2, operationOf<EditNumber>(limit)},
                                             {12, operationOf<EditArea>(area)},
                                             {3, operationOf<EditArea>(key)},
                                             {4, operationOf<RearrangeAreas>(rearrange)},
                                             {3, operationOf<EditFrame>(frame)},
                                             {4, operationOf<EditRequests>(requests)},
                                             {1, operationOf<EditNames>(names)}});
}

}  // namespace differential
