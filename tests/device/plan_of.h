/// \file
/// A plan of faults as the tests write it.
#ifndef DX7_TESTS_DEVICE_PLAN_OF_H
#define DX7_TESTS_DEVICE_PLAN_OF_H

#include <string>

#include "device/station/faults.h"

/// The plan of "drop=0.01,late=0.1".
inline dx7sim::FaultPlan planOf(const std::string& text) {
    dx7sim::FaultPlan plan;
    dx7sim::parseFaults(text, plan);
    return plan;
}

#endif
