/// \file
/// The driver library, loaded and resolved by name as a host does it.
#ifndef DX7_TESTS_SURFACE_LOADED_LIBRARY_H
#define DX7_TESTS_SURFACE_LOADED_LIBRARY_H

#include <korvalent_dx7.h>

#include <string>

/// One loaded library file with all its functions; unloaded when it goes out of scope.
class LoadedLibrary {
public:
    /// Loads `path` with the dlopen flags `flags`. `problem()` tells what failed.
    LoadedLibrary(const std::string& path, int flags);
    ~LoadedLibrary();
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    const std::string& problem() const { return problem_; }

    decltype(&intf_getProtocolType) getProtocolType = nullptr;
    decltype(&intf_getDriverParameter) getDriverParameter = nullptr;
    decltype(&intf_getDriverPropertyPage) getDriverPropertyPage = nullptr;
    decltype(&intf_SetDriverPropertyPage) setDriverPropertyPage = nullptr;
    decltype(&intf_getRegListByType) getRegListByType = nullptr;
    decltype(&intf_getRegDiscription) getRegDiscription = nullptr;
    decltype(&intf_initProperty) initProperty = nullptr;
    decltype(&intf_setAddrValueChangeCallBack) setAddrValueChangeCallBack = nullptr;
    decltype(&intf_setRcpAddress) setRcpAddress = nullptr;
    decltype(&intf_checkAddrValidity) checkAddrValidity = nullptr;
    decltype(&intf_checkAddr) checkAddr = nullptr;
    decltype(&intf_multiCopy) multiCopy = nullptr;
    decltype(&intf_addrMerge) addrMerge = nullptr;
    decltype(&intf_addConditionRead) addConditionRead = nullptr;
    decltype(&intf_getSendFrame) getSendFrame = nullptr;
    decltype(&intf_dealRcvFrame) dealRcvFrame = nullptr;
    decltype(&intf_getData) getData = nullptr;
    decltype(&intf_setData) setData = nullptr;
    /// The library's own `driver`.
    korvalent_dx7* state = nullptr;

private:
    template <typename Pointer>
    void resolve(Pointer& target, const char* name);

    void* handle_;
    std::string problem_;
};

/// Whether the library at `path` is loaded in this process at the moment.
bool isLoaded(const std::string& path);

#endif
