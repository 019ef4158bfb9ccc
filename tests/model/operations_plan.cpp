// Properties, merging, condition reads and recipe variables.
#include <QtCore/QList>
#include <QtCore/QVector>
#include <string>
#include <vector>

#include "generators.h"
#include "operations.h"
#include "state_difference.h"
#include "texts.h"

namespace differential {

namespace gen = rc::gen;

namespace {

struct InitProperty {
    std::string properties;
    bool noText = false;
    int hostParam2 = 0;
    void perform(Rig& rig) const { rig.initProperty(noText ? nullptr : properties.c_str(), hostParam2); }
    void print(std::ostream& out) const {
        out << "initProperty(";
        if (noText) {
            out << "null";
        } else {
            rc::show(properties, out);
        }
        out << ", " << hostParam2 << ")";
    }
};

struct AddrMerge {
    model::Text type;
    std::vector<KeyEntry> entries;
    void perform(Rig& rig) const {
        std::vector<model::KeyAddress> modelList;
        QList<KEY_ADDRESS> libraryList;
        for (const KeyEntry& entry : entries) {
            modelList.push_back(entry.key(type));
            libraryList.append(toLibrary(modelList.back()));
        }
        const int modelResult = rig.model.intf_addrMerge(modelList);
        rig.same("result", modelResult, intf_addrMerge(libraryList));
        rig.same("merged list size", static_cast<long long>(modelList.size()), libraryList.size());
        for (std::size_t i = 0; i < modelList.size(); ++i) {
            rig.agree("merged block", keyDifference(modelList[i], libraryList.at(static_cast<int>(i))));
        }
    }
    void print(std::ostream& out) const {
        out << "addrMerge";
        for (const KeyEntry& entry : entries) {
            out << " {" << entry.station << ", " << quoted(entry.ownType ? entry.type : type) << ", "
                << entry.address << ", length " << entry.length << "}";
        }
    }
};

struct AddConditionRead {
    KeyEntry key;
    int tag = 0;
    void perform(Rig& rig) const {
        const model::KeyAddress modelKey = key.key(key.type);
        KEY_ADDRESS libraryKey = toLibrary(modelKey);
        rig.same("result", rig.model.intf_addConditionRead(modelKey, tag),
                 intf_addConditionRead(libraryKey, tag));
        rig.agree("the host's key", keyDifference(modelKey, libraryKey));
    }
    void print(std::ostream& out) const {
        out << "addConditionRead(" << key.station << ", " << quoted(key.type) << ", " << key.address
            << ", length " << key.length << ", bitOffset " << key.bitOffset << ", tag " << tag << ")";
    }
};

struct ManyConditionReads {
    int number = 0;
    int first = 0;
    void perform(Rig& rig) const {
        for (int i = 0; i < number; ++i) {
            model::KeyAddress key;
            key.station = 1;
            key.regType = u"CW";
            key.address = first + i;
            key.length = 1;
            KEY_ADDRESS libraryKey = toLibrary(key);
            rig.same("result", rig.model.intf_addConditionRead(key, i), intf_addConditionRead(libraryKey, i));
        }
    }
    void print(std::ostream& out) const {
        out << "addConditionRead of CW " << first << ", one by one, " << number << " times";
    }
};

struct SetRcpAddress {
    std::vector<model::RecipeVar> vars;
    void perform(Rig& rig) const {
        QVector<_RCP_VAR_PRO> libraryVars;
        for (const model::RecipeVar& var : vars) {
            libraryVars.append(toLibrary(var));
        }
        rig.same("result", rig.model.intf_setRcpAddress(vars), intf_setRcpAddress(libraryVars));
        rig.same("the host's list", static_cast<long long>(vars.size()), libraryVars.size());
    }
    void print(std::ostream& out) const { out << "setRcpAddress of " << vars.size() << " variables"; }
};

// What an application would do to prepare recipes, straight into the fields of both sides.
struct FillRecipe {
    std::vector<model::RecipeVar> vars;
    std::vector<int> variablesPerBlock;
    int dataSeed = 0;
    void perform(Rig& rig) const {
        rig.model.recipeVars = vars;
        rig.model.recipeBlocks.clear();
        rig.model.recipeBlockStart.clear();
        rig.library.recipeVars.clear();
        rig.library.recipeBlocks.clear();
        rig.library.recipeBlockStart.clear();
        for (const model::RecipeVar& var : vars) {
            rig.library.recipeVars.append(toLibrary(var));
        }
        std::size_t start = 0;
        for (int number : variablesPerBlock) {
            if (start >= vars.size()) {
                break;
            }
            rig.model.recipeBlocks.push_back(vars[start]);
            rig.library.recipeBlocks.append(toLibrary(vars[start]));
            rig.model.recipeBlockStart.push_back(static_cast<int>(start));
            rig.library.recipeBlockStart.append(static_cast<int>(start));
            start += static_cast<std::size_t>(number);
        }
        const std::vector<model::Byte> bytes = bytesOf(dataSeed, 64);
        for (const model::RecipeVar& var : vars) {
            for (int i = 0; i < 64; ++i) {
                rig.setRecipeByte(2 * var.recipeIndex + i, bytes[static_cast<std::size_t>(i)]);
            }
        }
    }
    void print(std::ostream& out) const {
        out << "recipe blocks of";
        for (int number : variablesPerBlock) {
            out << ' ' << number;
        }
        out << " variables, data " << dataSeed << ":";
        for (const model::RecipeVar& v : vars) {
            out << " {" << v.station << ", " << quoted(v.regType) << ", " << v.address << ", count "
                << v.count << ", word " << v.recipeIndex << "}";
        }
    }
};

}  // namespace

rc::Gen<OperationPtr> planOperations() {
    const auto init = gen::build<InitProperty>(
        gen::set(&InitProperty::properties, propertyTexts()),
        gen::set(&InitProperty::noText, gen::map(gen::inRange(0, 20), [](int n) { return n == 19; })),
        gen::set(&InitProperty::hostParam2, gen::inRange(0, 9)));
    const auto merge = gen::build<AddrMerge>(
        gen::set(&AddrMerge::type, regTypes()),
        gen::set(&AddrMerge::entries, gen::mapcat(gen::inRange<std::size_t>(0, 14), [](std::size_t size) {
            return gen::container<std::vector<KeyEntry>>(size, keyEntries());
        })));
    const auto condition =
        gen::build<AddConditionRead>(gen::set(&AddConditionRead::key, keyEntries()),
                                     gen::set(&AddConditionRead::tag, gen::element(3, 0, -1, 99)));
    const auto many =
        gen::build<ManyConditionReads>(gen::set(&ManyConditionReads::number, gen::inRange(0, 520)),
                                       gen::set(&ManyConditionReads::first, gen::inRange(0, 30)));
    const auto lists = gen::mapcat(gen::inRange<std::size_t>(0, 7), [](std::size_t size) {
        return gen::container<std::vector<model::RecipeVar>>(size, recipeVars());
    });
    const auto recipeAddresses = gen::build<SetRcpAddress>(gen::set(&SetRcpAddress::vars, lists));
    const auto fill = gen::build<FillRecipe>(
        gen::set(&FillRecipe::vars, lists),
        gen::set(&FillRecipe::variablesPerBlock, gen::container<std::vector<int>>(3, gen::inRange(1, 4))),
        gen::set(&FillRecipe::dataSeed, dataSeeds()));
    return gen::weightedOneOf<OperationPtr>({{20, operationOf<InitProperty>(init)},
                                             {60, operationOf<AddrMerge>(merge)},
                                             {60, operationOf<AddConditionRead>(condition)},
                                             {1, operationOf<ManyConditionReads>(many)},
                                             {10, operationOf<SetRcpAddress>(recipeAddresses)},
                                             {30, operationOf<FillRecipe>(fill)}});
}

}  // namespace differential
