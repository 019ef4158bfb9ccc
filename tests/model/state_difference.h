/// \file
/// Comparing the whole state of the model with the whole state of the driver.
#ifndef DX7_TESTS_MODEL_STATE_DIFFERENCE_H
#define DX7_TESTS_MODEL_STATE_DIFFERENCE_H

#include <string>

#include "korvalent_dx7.h"
#include "model.h"

namespace differential {

/// The first field in which the two differ, with both values; empty when they agree in every field.
std::string stateDifference(const model::Model& model, const korvalent_dx7& library);

/// The same for one record that crosses the host interface.
std::string frameDifference(const model::Frame& model, const FRAME_PRO& library);
std::string variableDifference(const model::Variable& model, const VARIABLE& library);
std::string keyDifference(const model::KeyAddress& model, const KEY_ADDRESS& library);

}  // namespace differential

#endif
