/// \file
/// The driver's host interface as a table of functions, resolved at run time.
#ifndef DX7_HOST_DRIVER_FUNCTIONS_H
#define DX7_HOST_DRIVER_FUNCTIONS_H

#include "korvalent_dx7.h"

namespace dx7 {

/// The 18 exported functions, under their names without the prefix. korvalent_dx7.h has their
/// contracts. The library that they belong to must stay loaded. The driver takes one call at a time.
struct DriverFunctions {
    decltype(&::intf_getProtocolType) getProtocolType = nullptr;
    decltype(&::intf_getDriverParameter) getDriverParameter = nullptr;
    decltype(&::intf_getDriverPropertyPage) getDriverPropertyPage = nullptr;
    decltype(&::intf_SetDriverPropertyPage) SetDriverPropertyPage = nullptr;
    decltype(&::intf_getRegListByType) getRegListByType = nullptr;
    decltype(&::intf_getRegDiscription) getRegDiscription = nullptr;
    decltype(&::intf_initProperty) initProperty = nullptr;
    decltype(&::intf_setAddrValueChangeCallBack) setAddrValueChangeCallBack = nullptr;
    decltype(&::intf_setRcpAddress) setRcpAddress = nullptr;
    decltype(&::intf_checkAddrValidity) checkAddrValidity = nullptr;
    decltype(&::intf_checkAddr) checkAddr = nullptr;
    decltype(&::intf_multiCopy) multiCopy = nullptr;
    decltype(&::intf_addrMerge) addrMerge = nullptr;
    decltype(&::intf_addConditionRead) addConditionRead = nullptr;
    decltype(&::intf_getSendFrame) getSendFrame = nullptr;
    decltype(&::intf_dealRcvFrame) dealRcvFrame = nullptr;
    decltype(&::intf_getData) getData = nullptr;
    decltype(&::intf_setData) setData = nullptr;
};

}  // namespace dx7

#endif
