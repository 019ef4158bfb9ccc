#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/poll/wire_access.h"

namespace dx7::cli {

namespace {

// How the items of a type are accessed: by a function code for one of them, and for a run, which differs
// where `run` is given.
struct TypeAccess {
    int function = 0;
    std::optional<int> run;
    std::optional<int> lowest;
    std::optional<int> highest;
};

using AskDriver = std::optional<WireAccess> (*)(DriverSession&, const RegisterType&, int address, int count);

std::optional<TypeAccess> accessOf(DriverSession& session, const RegisterType& type, AskDriver ask) {
    const auto first = ask(session, type, type.lowestAddress, 1);
    const auto last = ask(session, type, type.highestAddress, 1);
    if (!first || !last) {
        return std::nullopt;
    }
    TypeAccess access{first->function, std::nullopt, first->reg, last->reg};
    if (type.highestAddress > type.lowestAddress) {
        const auto run = ask(session, type, type.lowestAddress, 2);
        if (run && run->function != first->function) {
            access.run = run->function;
        }
    }
    return access;
}

// "FC 6, 16 E000-EF55".
QString accessText(const std::optional<TypeAccess>& access) {
    if (!access) {
        return QStringLiteral("-");
    }
    QString text = QStringLiteral("FC %1").arg(access->function);
    if (access->run) {
        text += QStringLiteral(", %1").arg(*access->run);
    }
    if (access->lowest && access->highest) {
        text += QLatin1Char(' ') + registerText(*access->lowest);
        text +=
            access->lowest == access->highest ? QString() : QLatin1Char('-') + registerText(*access->highest);
    }
    return text;
}

Json registerJson(std::optional<int> reg) {
    return reg ? Json(utf8(registerText(*reg))) : Json(nullptr);
}

Json accessJson(const std::optional<TypeAccess>& access) {
    if (!access) {
        return nullptr;
    }
    Json json{{"function", access->function}};
    if (access->run) {
        json["run_function"] = *access->run;
    }
    json["lowest"] = registerJson(access->lowest);
    json["highest"] = registerJson(access->highest);
    return json;
}

void printType(DriverSession& session, const RegisterType& type, bool json) {
    const std::optional<TypeAccess> read = accessOf(session, type, readAccess);
    const std::optional<TypeAccess> write = accessOf(session, type, writeAccess);
    const QString table = read ? tableName(read->function) : QString();
    if (json) {
        Json object = eventJson("type");
        object["type"] = utf8(type.name);
        object["kind"] = type.bit ? "bit" : "word";
        object["lowest"] = utf8(type.lowest);
        object["highest"] = utf8(type.highest);
        object["format"] = utf8(type.format);
        object["writable"] = type.writable;
        object["meaning"] = utf8(type.meaning());
        object["table"] = utf8(table);
        object["read"] = accessJson(read);
        object["write"] = accessJson(write);
        print(object);
        return;
    }
    print(QStringLiteral("%1 %2  %3  %4  %5  %6  %7  %8")
              .arg(type.name, -6)
              .arg(QLatin1String(type.bit ? "bit" : "word"), -4)
              .arg(QStringLiteral("%1 to %2").arg(type.lowest, type.highest), -16)
              .arg(type.format, -6)
              .arg(table, -17)
              .arg(accessText(read), -14)
              .arg(accessText(write), -18)
              .arg(type.meaning()));
}

int runTypes(const CommonOptions& options) {
    const Driver loaded(options);
    DriverSession session(loaded.library.functions(), propertyText(LineSettings(), 1));
    if (!options.json) {
        print(QStringLiteral(
            "TYPE   KIND  ADDRESSES         FORM    TABLE              READ            WRITE     "
            "          MEANING"));
    }
    for (const RegisterType& type : loaded.notation.types()) {
        printType(session, type, options.json);
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
        "READ and WRITE are the function code (FC; after a comma that of several items at once) and the\n"
        "registers of the first and the last address, hexadecimal as on the wire.\n"
        "Examples:\n"
        "  dx7 types\n"
        "  dx7 types --json | jq -r 'select(.writable).type'");
    command.action([options] { return runTypes(*options); });
}

}  // namespace dx7::cli
