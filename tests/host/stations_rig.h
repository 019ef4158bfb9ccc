// An engine over the real driver on a paced line with stations that answer, or do not.
#ifndef DX7_TESTS_HOST_STATIONS_RIG_H
#define DX7_TESTS_HOST_STATIONS_RIG_H

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "rig.h"

class StationsTest : public testing::Test {
protected:
    StationsTest();

    void allGood() const;

    Rig rig;
    dx7::PollEngine& engine = rig.engine;
    std::map<int, ScriptedDevice> devices;
    std::set<int> silent;
    bool refusing = false;
};

#endif
