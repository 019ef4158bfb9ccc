/// \file
/// Random values of the host's world, leaning towards the interesting ones. Everything shrinks towards zero,
/// short texts and the first type.
#ifndef DX7_TESTS_MODEL_GENERATORS_H
#define DX7_TESTS_MODEL_GENERATORS_H

#include <rapidcheck.h>

#include <string>
#include <vector>

#include "model.h"

namespace differential {

/// Mostly one of the fifteen types; also FW, FI, unknown and empty names.
rc::Gen<model::Text> regTypes();
/// One of the types that have data areas.
rc::Gen<model::Text> storedTypes();
rc::Gen<int> stations();
/// Small, around the group boundaries, negative and huge.
rc::Gen<int> addresses();
/// Small, zero, negative, above the block limits.
rc::Gen<int> counts();
/// What users type, rightly and wrongly.
rc::Gen<model::Text> addressTexts();
/// "#"-separated property texts, mostly with five numbers.
rc::Gen<std::string> propertyTexts();
/// Small numbers and the ends of the range.
rc::Gen<int> anyInts();
/// Seeds of data; 0 is all zeros, 1 all ones.
rc::Gen<int> dataSeeds();

/// `size` bytes of that seed: small values mostly, so that equal ones meet.
std::vector<model::Byte> bytesOf(int seed, std::size_t size);

/// One entry of a host list. Entries without a type of their own take the type of the list.
struct KeyEntry {
    bool ownType = false;
    model::Text type;
    int station = 0;
    int address = 0;
    int length = 0;
    int bitOffset = 0;
    int hostWord = 0;
    model::KeyAddress key(const model::Text& listType) const;
};
rc::Gen<KeyEntry> keyEntries();

rc::Gen<model::Variable> variables();
rc::Gen<model::RecipeVar> recipeVars();

}  // namespace differential

#endif
