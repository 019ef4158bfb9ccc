#include "loaded_library.h"

#include <dlfcn.h>

template <typename Pointer>
void LoadedLibrary::resolve(Pointer& target, const char* name) {
    target = reinterpret_cast<Pointer>(dlsym(handle_, name));
    if (target == nullptr)
        problem_ += std::string("no symbol ") + name + "; ";
}

LoadedLibrary::LoadedLibrary(const std::string& path, int flags) : handle_(dlopen(path.c_str(), flags)) {
    if (handle_ == nullptr) {
        problem_ = dlerror();
        return;
    }
    resolve(getProtocolType, "intf_getProtocolType");
    resolve(getDriverParameter, "intf_getDriverParameter");
    resolve(getDriverPropertyPage, "intf_getDriverPropertyPage");
    resolve(setDriverPropertyPage, "intf_SetDriverPropertyPage");
    resolve(getRegListByType, "intf_getRegListByType");
    resolve(getRegDiscription, "intf_getRegDiscription");
    resolve(initProperty, "intf_initProperty");
    resolve(setAddrValueChangeCallBack, "intf_setAddrValueChangeCallBack");
    resolve(setRcpAddress, "intf_setRcpAddress");
    resolve(checkAddrValidity, "intf_checkAddrValidity");
    resolve(checkAddr, "intf_checkAddr");
    resolve(multiCopy, "intf_multiCopy");
    resolve(addrMerge, "intf_addrMerge");
    resolve(addConditionRead, "intf_addConditionRead");
    resolve(getSendFrame, "intf_getSendFrame");
    resolve(dealRcvFrame, "intf_dealRcvFrame");
    resolve(getData, "intf_getData");
    resolve(setData, "intf_setData");
    resolve(state, "driver");
}

LoadedLibrary::~LoadedLibrary() {
    if (handle_ != nullptr)
        dlclose(handle_);
}

bool isLoaded(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}
