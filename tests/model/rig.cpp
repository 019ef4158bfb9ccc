#include "rig.h"

#include <rapidcheck.h>

#include <QtCore/QList>
#include <algorithm>
#include <cstring>

#include "state_difference.h"
#include "texts.h"

namespace differential {

namespace {

HostScript* libraryListener = nullptr;

void onLibraryReport(int linkId, int station, QString& regType, int address) {
    model::Text text = toText(regType);
    libraryListener->onReport(linkId, station, text, address);
    regType = toQString(text);
}

// The type names as the library was loaded with them.
const QList<QString>& originalNames() {
    static const QList<QString> names = driver.regNames;
    return names;
}

// Every field of the driver as it is when the library has just been loaded.
void resetLibrary() {
    originalNames();
    int zero = 0;
    intf_initProperty(nullptr, 0, nullptr, &zero, "0#0#0#0#0", nullptr);
    driver.recipeVars.clear();
    driver.recipeBlocks.clear();
    driver.recipeBlockStart.clear();
    driver.regNames = originalNames();
    driver.conditionVar = VARIABLE();
    driver.currentVar = VARIABLE();
    driver.reservedC = 0;
    driver.recipeIndex = 0;
    driver.valueChangeCallback = nullptr;
}

}  // namespace

long long Rig::operationsCompared = 0;

Rig::Rig()
    : library(driver),
      modelView_(model),
      modelScript_(modelView_),
      libraryScript_(libraryView_),
      modelFlags_(60120, 0),
      libraryFlags_(60120, 0),
      modelRecipe_(2 * recipeWords, 0),
      libraryRecipe_(2 * recipeWords, 0) {
    resetLibrary();
    libraryListener = &libraryScript_;
    model.intf_setAddrValueChangeCallBack([this](int linkId, int station, model::Text& regType, int address) {
        modelScript_.onReport(linkId, station, regType, address);
    });
    intf_setAddrValueChangeCallBack(onLibraryReport);
    initProperty("1#0#0#3#8", 0);
}

Rig::~Rig() {
    resetLibrary();
    libraryListener = nullptr;
}

void Rig::initProperty(const char* properties, int hostParam2) {
    int modelOut = 1;
    int libraryOut = 1;
    const std::uintptr_t word = static_cast<std::uintptr_t>(hostParam2);
    const int modelResult = model.intf_initProperty(modelFlags_.data(), word, modelRecipe_.data(), &modelOut,
                                                    properties, &mutex_);
    const int libraryResult = intf_initProperty(libraryFlags_.data(), word, libraryRecipe_.data(),
                                                &libraryOut, properties, &mutex_);
    same("result", modelResult, libraryResult);
    same("out", modelOut, libraryOut);
}

void Rig::chooseScript(ScriptMode mode, int seed) {
    modelScript_.choose(mode, seed);
    libraryScript_.choose(mode, seed);
}

void Rig::setHostFlag(int index, int value) {
    modelFlags_[static_cast<std::size_t>(index)] = static_cast<model::Byte>(value);
    libraryFlags_[static_cast<std::size_t>(index)] = static_cast<model::Byte>(value);
}

void Rig::setRecipeByte(int index, int value) {
    modelRecipe_[static_cast<std::size_t>(index)] = static_cast<model::Byte>(value);
    libraryRecipe_[static_cast<std::size_t>(index)] = static_cast<model::Byte>(value);
}

void Rig::beginOperation() {
    modelScript_.beginOperation();
    libraryScript_.beginOperation();
}

void Rig::endOperation() {
    compareEvents();
    agree("state", stateDifference(model, library));
    if (modelFlags_ != libraryFlags_) {
        RC_FAIL("the host memory block differs");
    }
    if (modelRecipe_ != libraryRecipe_) {
        const auto where = std::mismatch(modelRecipe_.begin(), modelRecipe_.end(), libraryRecipe_.begin());
        same(("recipe memory byte " + std::to_string(where.first - modelRecipe_.begin())).c_str(),
             *where.first, *where.second);
    }
    if (!mutex_.tryLock()) {
        RC_FAIL("the library kept the host's mutex");
    }
    mutex_.unlock();
    ++operationsCompared;
}

void Rig::same(const char* what, long long modelValue, long long libraryValue) const {
    if (modelValue != libraryValue) {
        RC_FAIL(std::string(what) + ": model " + std::to_string(modelValue) + ", library " +
                std::to_string(libraryValue));
    }
}

void Rig::same(const char* what, const model::Text& modelValue, const QString& libraryValue) const {
    if (modelValue != toText(libraryValue)) {
        RC_FAIL(std::string(what) + ": model " + quoted(modelValue) + ", library " +
                quoted(toText(libraryValue)));
    }
}

void Rig::same(const char* what, const std::vector<model::Byte>& modelValue,
               const std::vector<model::Byte>& libraryValue) const {
    same((std::string(what) + " size").c_str(), static_cast<long long>(modelValue.size()),
         static_cast<long long>(libraryValue.size()));
    for (std::size_t i = 0; i < modelValue.size(); ++i) {
        if (modelValue[i] != libraryValue[i]) {
            same((std::string(what) + "[" + std::to_string(i) + "]").c_str(), modelValue[i], libraryValue[i]);
        }
    }
}

void Rig::agree(const char* what, const std::string& difference) const {
    if (!difference.empty()) {
        RC_FAIL(std::string(what) + ": " + difference);
    }
}

bool Rig::headIsTooBig() const {
    return !model.frameList.empty() &&
           (model.frameList[0].dataCount > 4000 || model.frameList[0].expectLen > 100000);
}

void Rig::compareEvents() const {
    const std::vector<Event>& ours = modelScript_.events();
    const std::vector<Event>& theirs = libraryScript_.events();
    for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
        if (!(ours[i] == theirs[i])) {
            RC_FAIL("report " + std::to_string(i) + "\n  model   " + describe(ours[i]) + "\n  library " +
                    describe(theirs[i]));
        }
    }
    if (ours.size() > theirs.size()) {
        RC_FAIL("the library did not report " + describe(ours[theirs.size()]));
    }
    if (ours.size() < theirs.size()) {
        RC_FAIL("the model did not report " + describe(theirs[ours.size()]));
    }
}

}  // namespace differential
