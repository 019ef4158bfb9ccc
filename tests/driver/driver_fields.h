/// \file
/// The fields of the driver object in their order, once for every test that goes through all of them.
#ifndef KORVALENT_DX7_TESTS_DRIVER_FIELDS_H
#define KORVALENT_DX7_TESTS_DRIVER_FIELDS_H

/// Expands `field(name)` for each field of korvalent_dx7. A test holds that none is missing.
#define DX7_DRIVER_FIELDS(field)                                                                            \
    field(valueChangeCallback) field(linkId) field(propField1) field(propField2) field(retryCount)          \
        field(maxBlockWords) field(hostFlags) field(hostParam2) field(recipeMemory) field(hostMutex)        \
            field(pollList) field(writeList) field(conditionList) field(dataAreas) field(recipeVars)        \
                field(recipeBlocks) field(recipeBlockStart) field(regNames) field(conditionVar)             \
                    field(currentVar) field(opKind) field(burstCount) field(reservedA) field(badReplyCount) \
                        field(maxBlockBits) field(maxBlockWordsCopy) field(commFailed) field(reservedB)     \
                            field(reservedC) field(frameList) field(recipeIndex)

#endif
