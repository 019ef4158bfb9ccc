/// \file
/// The host calls, as values that can be generated, printed, shrunk and performed on both sides.
#ifndef DX7_TESTS_MODEL_OPERATIONS_H
#define DX7_TESTS_MODEL_OPERATIONS_H

#include <rapidcheck.h>
#include <rapidcheck/state.h>

#include <memory>
#include <ostream>
#include <utility>

#include "rig.h"

namespace differential {

/// rapidcheck tracks no state of its own: operations look at the model when they are performed, so that every
/// subsequence of a sequence is one too, which makes shrinking plain.
struct NoState {};

using Operation = rc::state::Command<NoState, Rig>;
using OperationPtr = std::shared_ptr<const Operation>;

/// Makes an operation of a value that has `void perform(Rig&) const` and `void print(std::ostream&) const`.
template <typename Value>
class OperationOf : public Operation {
public:
    explicit OperationOf(Value value) : value_(std::move(value)) {}
    void run(const NoState& /*state*/, Rig& rig) const override {
        rig.beginOperation();
        value_.perform(rig);
        rig.endOperation();
    }
    void show(std::ostream& out) const override { value_.print(out); }

private:
    Value value_;
};

template <typename Value>
rc::Gen<OperationPtr> operationOf(rc::Gen<Value> values) {
    return rc::gen::map(std::move(values), [](Value&& value) {
        return OperationPtr(std::make_shared<const OperationOf<Value>>(std::move(value)));
    });
}

// One generator per file of operations.
/// Properties, merging, condition reads, recipe variables.
rc::Gen<OperationPtr> planOperations();
/// Reading and writing values, choosing the callback's script.
rc::Gen<OperationPtr> valueOperations();
/// Frames out, replies in, recipe request flags.
rc::Gen<OperationPtr> lineOperations();
/// Address checks, multi-copy, descriptions.
rc::Gen<OperationPtr> textOperations();
/// Edits of the driver's fields, as a test or a host may make.
rc::Gen<OperationPtr> editOperations();
/// The internal routines, called by name.
rc::Gen<OperationPtr> internalOperations();

/// All of them, as often as a session of the host would use them.
rc::Gen<OperationPtr> operations();

}  // namespace differential

#endif
