// The real driver, loaded once for the test program.
#ifndef DX7_TESTS_HOST_LOADED_DRIVER_H
#define DX7_TESTS_HOST_LOADED_DRIVER_H

#include "host/driver/driver_functions.h"
#include "host/items/item_notation.h"

const dx7::DriverFunctions& driverFunctions();
const dx7::ItemNotation& notation();

#endif
