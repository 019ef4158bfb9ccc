// The TOML files of dx7 and dx7-device: each text is read as a line file, as its tags, as a parameter file
// and as a values file, and is taken or refused with a sentence.
#include <algorithm>

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

// A file is refused just when a fault is found in it, and each tag is found on its own line by its name.
void checkTags(const dx7::LineFile& file) {
    QStringList faults;
    const QVector<dx7::LineTag> valid = file.tags(notation(), &faults);
    QVector<dx7::LineTag> tags;
    takeOrRefuse([&] { tags = file.tags(notation()); });
    if (tags.size() != (faults.isEmpty() ? valid.size() : 0)) {
        std::abort();
    }
    const QVector<dx7::LineFile::NamedTag> named = file.namedTags();
    for (const dx7::LineTag& tag : tags) {
        for (const dx7::Point& point : tag.points) {
            if (file.lineOfTag(tag.name) != tag.line || file.lineOfTag(point.name) != tag.line) {
                std::abort();
            }
        }
        if (std::none_of(named.begin(), named.end(),
                         [&tag](const dx7::LineFile::NamedTag& one) { return one.name == tag.name; })) {
            std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const dx7fuzz::InputFile file(data, size);
    takeOrRefuse([&file] {
        const dx7::LineFile lines(file.path());
        for (int line = 0; line < lines.lines().size(); ++line) {
            dx7::LineSettings settings;
            lines.apply(settings, line);
            dx7::checkSettings(settings);
        }
    });
    takeOrRefuse([&file] { checkTags(dx7::LineFile(file.path())); });
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
