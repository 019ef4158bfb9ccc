#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"

namespace dx7::cli {

namespace {

int runTypes(const CommonOptions& options) {
    const Driver loaded(options);
    if (!options.json) {
        print(QStringLiteral("TYPE     KIND  ADDRESSES            FORM    ACCESS"));
    }
    for (const RegisterType& type : loaded.notation.types()) {
        if (options.json) {
            Json json = eventJson("type");
            json["type"] = utf8(type.name);
            json["kind"] = type.bit ? "bit" : "word";
            json["lowest"] = utf8(type.lowest);
            json["highest"] = utf8(type.highest);
            json["format"] = utf8(type.format);
            json["writable"] = type.writable;
            print(json);
            continue;
        }
        const QString range = QStringLiteral("%1 to %2").arg(type.lowest, type.highest);
        print(QStringLiteral("%1 %2  %3 %4 %5")
                  .arg(type.name, -8)
                  .arg(QLatin1String(type.bit ? "bit" : "word"), -4)
                  .arg(range, -20)
                  .arg(type.format, -7)
                  .arg(QLatin1String(type.writable ? "read and write" : "read only")));
    }
    return EXIT_DONE;
}

}  // namespace

void addTypesCommand(CommandLine& program) {
    auto options = std::make_shared<CommonOptions>();
    CommandLine& command = program.addCommand("types", "Lists the register types that the driver knows");
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 types\n"
        "  dx7 types --json | jq -r 'select(.writable).type'");
    command.action([options] { return runTypes(*options); });
}

}  // namespace dx7::cli
