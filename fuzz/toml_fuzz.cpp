// The TOML files of dx7 and dx7-device: each text is read as a line file, as its tags, as a parameter file
// and as a values file, and is taken or refused with a sentence.
#include "device/line/usage_error.h"
#include "device/values_file.h"
#include "host/error.h"
#include "host/files/line_file.h"
#include "host/files/parameter_file.h"
#include "input_file.h"

namespace {

dx7::DriverFunctions linkedFunctions() {
    dx7::DriverFunctions functions;
    functions.getDriverParameter = intf_getDriverParameter;
    functions.getRegListByType = intf_getRegListByType;
    functions.getRegDiscription = intf_getRegDiscription;
    functions.checkAddrValidity = intf_checkAddrValidity;
    functions.checkAddr = intf_checkAddr;
    functions.multiCopy = intf_multiCopy;
    return functions;
}

const dx7::ItemNotation& notation() {
    static const dx7::DriverFunctions functions = linkedFunctions();
    static const dx7::ItemNotation instance(functions);
    return instance;
}

template <typename Read>
void takeOrRefuse(Read read) {
    try {
        read();
    } catch (const dx7::UsageError& error) {
        if (error.text().isEmpty()) {
            std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const dx7fuzz::InputFile file(data, size);
    takeOrRefuse([&file] {
        dx7::LineSettings settings;
        dx7::LineFile(file.path()).apply(settings);
        dx7::checkSettings(settings);
    });
    takeOrRefuse([&file] { dx7::LineFile(file.path()).tags(notation()); });
    takeOrRefuse([&file] { dx7::loadParameters(file.path(), notation(), dx7::Altered::Refuse); });
    takeOrRefuse([&file] { dx7::loadParameters(file.path(), notation(), dx7::Altered::Accept); });
    try {
        dx7sim::parseValues(std::string(reinterpret_cast<const char*>(data), size), "values", {1, 2});
    } catch (const dx7sim::UsageError& error) {
        if (*error.what() == '\0') {
            std::abort();
        }
    }
    return 0;
}
