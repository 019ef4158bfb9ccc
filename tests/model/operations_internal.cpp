// The internal routines, called by name as the project's tests may.
#include <QtCore/QList>
#include <QtCore/QString>
#include <vector>

#include "data_areas.h"
#include "generators.h"
#include "operations.h"
#include "polling_plan.h"
#include "readframe.h"
#include "receive.h"
#include "state_difference.h"
#include "texts.h"
#include "write_path.h"
#include "writeframe.h"

namespace differential {

namespace gen = rc::gen;

namespace {

struct Builder {
    const char* name;
    void (model::Model::*ours)(const model::Variable&);
    void (*theirs)(const VARIABLE&);
};

const Builder builders[] = {
    {"getReadFrame", &model::Model::getReadFrame, getReadFrame},
    {"getWriteFrame", &model::Model::getWriteFrame, getWriteFrame},
    {"readframe_bit", &model::Model::readframe_bit, readframe_bit},
    {"readframe_oneword", &model::Model::readframe_oneword, readframe_oneword},
    {"readframe_word", &model::Model::readframe_word, readframe_word},
    {"QueryStatusFrame", &model::Model::QueryStatusFrame, QueryStatusFrame},
    {"writeframe_bit", &model::Model::writeframe_bit, writeframe_bit},
    {"writeframe_cwword", &model::Model::writeframe_cwword, writeframe_cwword},
    {"writeframe_word", &model::Model::writeframe_word, writeframe_word},
};

std::ostream& operator<<(std::ostream& out, const model::Variable& var) {
    return out << "{" << var.station << ", " << quoted(var.regType) << ", " << var.address << ", count "
               << var.count << ", data " << static_cast<int>(var.data[0]) << ' '
               << static_cast<int>(var.data[1]) << " ...}";
}

struct BuildFrame {
    int builder = 0;
    model::Variable var;
    void perform(Rig& rig) const {
        if (rig.model.frameList.size() > 4) {
            rig.model.frameList.clear();
            rig.library.frameList.clear();
        }
        (rig.model.*builders[builder].ours)(var);
        builders[builder].theirs(toLibrary(var));
    }
    void print(std::ostream& out) const { out << builders[builder].name << "(" << var << ")"; }
};

struct Finish {
    void perform(Rig& rig) const {
        rig.model.dealListWhenFinish();
        dealListWhenFinish();
    }
    void print(std::ostream& out) const { out << "dealListWhenFinish"; }
};

struct Complete {
    model::Variable var;
    int success = 0;
    void perform(Rig& rig) const {
        rig.model._write_FailOrSuc(var.station, var.regType, var.address, var.count, success);
        _write_FailOrSuc(var.station, toQString(var.regType), var.address, var.count, success);
    }
    void print(std::ostream& out) const { out << "_write_FailOrSuc(" << var << ", " << success << ")"; }
};

struct Store {
    model::Variable var;
    void perform(Rig& rig) const {
        // The host's data, as long as any count here needs it.
        std::vector<model::Byte> data(var.data.begin(), var.data.end());
        data.insert(data.end(), var.data.begin(), var.data.end());
        rig.model.write_saveDataToArea(var.station, var.regType, var.address, var.count, data.data());
        write_saveDataToArea(var.station, toQString(var.regType), var.address, var.count, data.data());
        rig.same("monitor",
                 rig.model._setDataAreaMonitorFlag(var.station, var.regType, var.address, var.count / 2),
                 _setDataAreaMonitorFlag(var.station, toQString(var.regType), var.address, var.count / 2));
    }
    void print(std::ostream& out) const {
        out << "write_saveDataToArea(" << var << "), then the first half of it is monitored";
    }
};

struct Changes {
    int oldValue = 0;
    int newValue = 0;
    int station = 0;
    model::Text type;
    int address = 0;
    int noBitScan = 0;
    /// What is watched of the word, as a mask of bits and of word flags; 0 leaves it.
    int watch = 0;
    void perform(Rig& rig) const {
        const QString name = toQString(type);
        const int index = rig.model.getIndexOfDataArea(station, type, address, rig.model.dataAreas);
        rig.same("area", index, getIndexOfDataArea(station, name, address, rig.library.dataAreas));
        if (watch != 0) {
            rig.model.dataAreas[static_cast<std::size_t>(index)].bitMonitorMask = watch;
            rig.model.dataAreas[static_cast<std::size_t>(index)].wordMonitorFlags = watch >> 4;
            rig.library.dataAreas[index].bitMonitorMask = watch;
            rig.library.dataAreas[index].wordMonitorFlags = watch >> 4;
        }
        const unsigned char oldByte = static_cast<unsigned char>(oldValue);
        const unsigned char newByte = static_cast<unsigned char>(newValue);
        rig.model._byteDataChange(oldByte, newByte, station, type, model::groupBase(address));
        _byteDataChange(&oldByte, &newByte, station, name, model::groupBase(address));
        rig.model._wordDataChange(oldValue, newValue, station, type, address, noBitScan);
        _wordDataChange(&oldValue, &newValue, station, name, address, noBitScan);
    }
    void print(std::ostream& out) const {
        out << "_byteDataChange and _wordDataChange(" << oldValue << ", " << newValue << ", " << station
            << ", " << quoted(type) << ", " << address << ", " << noBitScan << "), watched " << watch;
    }
};

// Lists of areas that are not the driver's own.
struct OwnAreas {
    std::vector<KeyEntry> keys;
    void perform(Rig& rig) const {
        std::vector<model::DataArea> ours;
        QList<_DATA_> theirs;
        for (const KeyEntry& key : keys) {
            rig.same("index", rig.model.getIndexOfDataArea(key.station, key.type, key.address, ours),
                     getIndexOfDataArea(key.station, toQString(key.type), key.address, theirs));
            rig.same("areas", static_cast<long long>(ours.size()), theirs.size());
        }
    }
    void print(std::ostream& out) const {
        out << "getIndexOfDataArea in a list of its own, " << keys.size() << " keys";
    }
};

struct MergeMode {
    int mode = 0;
    model::Text type;
    std::vector<KeyEntry> entries;
    void perform(Rig& rig) const {
        std::vector<model::KeyAddress> ours;
        QList<KEY_ADDRESS> theirs;
        for (const KeyEntry& entry : entries) {
            ours.push_back(entry.key(type));
            theirs.append(toLibrary(ours.back()));
        }
        rig.same("the_Merge", rig.model.the_Merge(ours.front(), ours.back()),
                 the_Merge(theirs.first(), theirs.last()));
        rig.model.addrMerge(ours, mode);
        addrMerge(theirs, mode);
        rig.same("merged list size", static_cast<long long>(ours.size()), theirs.size());
        for (std::size_t i = 0; i < ours.size(); ++i) {
            rig.agree("merged block", keyDifference(ours[i], theirs.at(static_cast<int>(i))));
        }
        if (rig.model.recipeBlockStart.size() > 30) {
            rig.model.recipeBlockStart.clear();
            rig.library.recipeBlockStart.clear();
        }
    }
    void print(std::ostream& out) const {
        out << "addrMerge, mode " << mode;
        for (const KeyEntry& entry : entries) {
            out << " {" << entry.station << ", " << quoted(entry.ownType ? entry.type : type) << ", "
                << entry.address << ", length " << entry.length << "}";
        }
    }
};

struct Insert {
    int list = 0;
    int times = 0;
    model::Variable var;
    void perform(Rig& rig) const {
        for (int i = 0; i < times; ++i) {
            model::Variable next = var;
            next.address = model::wrapAdd(var.address, i % 600);
            rig.model.addVarToList(list == 0 ? rig.model.writeList : rig.model.conditionList, next);
            addVarToList(list == 0 ? rig.library.writeList : rig.library.conditionList, toLibrary(next));
        }
    }
    void print(std::ostream& out) const {
        out << "addVarToList(" << (list == 0 ? "writeList" : "conditionList") << ", " << var
            << ") and the next " << times - 1 << " addresses";
    }
};

struct Recipe {
    model::RecipeVar recipe;
    int withData = 0;
    void perform(Rig& rig) const {
        rig.model.rcpAddrToVar(recipe, rig.model.currentVar, withData);
        rcpAddrToVar(toLibrary(recipe), rig.library.currentVar, withData);
    }
    void print(std::ostream& out) const {
        out << "rcpAddrToVar({" << recipe.station << ", " << quoted(recipe.regType) << ", " << recipe.address
            << ", count " << recipe.count << ", word " << recipe.recipeIndex << "}, " << withData << ")";
    }
};

}  // namespace

rc::Gen<OperationPtr> internalOperations() {
    const auto frame = gen::build<BuildFrame>(gen::set(&BuildFrame::builder, gen::inRange(0, 9)),
                                              gen::set(&BuildFrame::var, variables()));
    const auto complete = gen::build<Complete>(gen::set(&Complete::var, variables()),
                                               gen::set(&Complete::success, gen::element(1, 0, 2, -1)));
    const auto store = gen::build<Store>(gen::set(&Store::var, variables()));
    const auto word = gen::weightedOneOf<int>(
        {{3, gen::inRange(0, 5)}, {3, gen::inRange(0, 65536)}, {1, gen::element(-1, 0x10000, 0xFF, 0x8001)}});
    const auto changes = gen::build<Changes>(
        gen::set(&Changes::oldValue, word), gen::set(&Changes::newValue, word),
        gen::set(&Changes::station, stations()), gen::set(&Changes::type, regTypes()),
        gen::set(&Changes::address, addresses()), gen::set(&Changes::noBitScan, gen::element(0, 0, 1)),
        gen::set(&Changes::watch,
                 gen::weightedOneOf<int>({{1, gen::just(0)}, {2, gen::inRange(0, 0x20000)}})));
    const auto lists = gen::mapcat(gen::inRange<std::size_t>(1, 10), [](std::size_t size) {
        return gen::container<std::vector<KeyEntry>>(size, keyEntries());
    });
    const auto merge =
        gen::build<MergeMode>(gen::set(&MergeMode::mode, gen::element(2, 1, 0, 3)),
                              gen::set(&MergeMode::type, regTypes()), gen::set(&MergeMode::entries, lists));
    const auto own = gen::build<OwnAreas>(gen::set(&OwnAreas::keys, lists));
    const auto insert = gen::build<Insert>(
        gen::set(&Insert::list, gen::inRange(0, 2)),
        gen::set(&Insert::times,
                 gen::weightedOneOf<int>({{40, gen::inRange(1, 4)}, {1, gen::inRange(500, 650)}})),
        gen::set(&Insert::var, variables()));
    const auto recipe = gen::build<Recipe>(gen::set(&Recipe::recipe, recipeVars()),
                                           gen::set(&Recipe::withData, gen::inRange(0, 3)));
    return gen::weightedOneOf<OperationPtr>({{8, operationOf<BuildFrame>(frame)},
                                             {3, operationOf<Finish>(gen::just(Finish()))},
                                             {5, operationOf<Complete>(complete)},
                                             {4, operationOf<Store>(store)},
                                             {6, operationOf<Changes>(changes)},
                                             {3, operationOf<MergeMode>(merge)},
                                             {4, operationOf<Insert>(insert)},
                                             {1, operationOf<OwnAreas>(own)},
                                             {1, operationOf<Recipe>(recipe)}});
}

}  // namespace differential
