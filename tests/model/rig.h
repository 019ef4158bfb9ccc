/// \file
/// The model and the library side by side, fed with the same calls.
#ifndef DX7_TESTS_MODEL_RIG_H
#define DX7_TESTS_MODEL_RIG_H

#include <QtCore/QMutex>
#include <QtCore/QString>
#include <string>
#include <vector>

#include "host_script.h"
#include "korvalent_dx7.h"
#include "model.h"

namespace differential {

class ModelView : public HostView {
public:
    explicit ModelView(model::Model& model) : model_(model) {}
    void getData(int station, const model::Text& regType, int address, int count, model::Byte* out) override;
    void setData(int station, const model::Text& regType, int address, int count, const model::Byte* data,
                 int tag) override;
    void addConditionRead(const model::KeyAddress& key, int tag) override;
    std::vector<std::int64_t> snapshot() const override;

private:
    model::Model& model_;
};

class LibraryView : public HostView {
public:
    void getData(int station, const model::Text& regType, int address, int count, model::Byte* out) override;
    void setData(int station, const model::Text& regType, int address, int count, const model::Byte* data,
                 int tag) override;
    void addConditionRead(const model::KeyAddress& key, int tag) override;
    std::vector<std::int64_t> snapshot() const override;
};

/// Both sides of one sequence of operations. There is one library, so there may be one Rig at a time.
class Rig {
public:
    /// Words of recipe memory on each side.
    static constexpr int recipeWords = 4096;
    /// Words that recipe tests may start at, so that 512 words from there are still inside.
    static constexpr int recipeStarts = 3000;

    Rig();
    ~Rig();
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    model::Model model;
    korvalent_dx7& library;

    /// Calls intf_initProperty on both sides, each with host memory of its own.
    void initProperty(const char* properties, int hostParam2);
    void chooseScript(ScriptMode mode, int seed);
    /// Sets one byte of the host memory block on both sides.
    void setHostFlag(int index, int value);
    void setRecipeByte(int index, int value);

    /// To be called around every operation; endOperation compares everything and counts.
    void beginOperation();
    void endOperation();

    /// Fails the sequence unless the two are equal.
    void same(const char* what, long long modelValue, long long libraryValue) const;
    void same(const char* what, const model::Text& modelValue, const QString& libraryValue) const;
    void same(const char* what, const std::vector<model::Byte>& modelValue,
              const std::vector<model::Byte>& libraryValue) const;
    /// Fails the sequence unless `difference` is empty.
    void agree(const char* what, const std::string& difference) const;

    /// Whether dealing with the head frame would create more data areas than a test has the time for.
    bool headIsTooBig() const;

    static long long operationsCompared;

private:
    void compareEvents() const;

    ModelView modelView_;
    LibraryView libraryView_;
    HostScript modelScript_;
    HostScript libraryScript_;
    std::vector<model::Byte> modelFlags_;
    std::vector<model::Byte> libraryFlags_;
    std::vector<model::Byte> modelRecipe_;
    std::vector<model::Byte> libraryRecipe_;
    QMutex mutex_;
};

VARIABLE toLibrary(const model::Variable& var);
KEY_ADDRESS toLibrary(const model::KeyAddress& key);
_DATA_ toLibrary(const model::DataArea& area);
_RCP_VAR_PRO toLibrary(const model::RecipeVar& var);

}  // namespace differential

#endif
