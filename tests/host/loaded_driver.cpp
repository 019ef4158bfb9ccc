#include "loaded_driver.h"

#include "host/driver/driver_library.h"

const dx7::DriverFunctions& driverFunctions() {
    static const dx7::DriverLibrary library(QStringLiteral(DX7_TEST_DRIVER));
    return library.functions();
}

const dx7::ItemNotation& notation() {
    static const dx7::ItemNotation instance(driverFunctions());
    return instance;
}
