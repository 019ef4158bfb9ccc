#include "host/cli/commands/check_file.h"
#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/cli/value_offers.h"
#include "host/error.h"
#include "host/poll/wire_access.h"

namespace dx7::cli {

namespace {

struct CheckOptions : CommonOptions {
    std::vector<std::string> items;
};

// The driver's requests for the items.
struct Access {
    std::optional<WireAccess> read;
    std::optional<WireAccess> write;
};

QString registerPart(const WireAccess& access, const char* before) {
    return access.reg ? QLatin1String(before) + registerText(*access.reg) : QString();
}

// "function code 3, register F325, written with 6 at E325".
QString wireText(const Access& access) {
    if (!access.read) {
        return QStringLiteral("the driver has no request for it");
    }
    QString read = QStringLiteral("function code %1%2")
                       .arg(access.read->function)
                       .arg(registerPart(*access.read, ", register "));
    if (!access.write) {
        return read;
    }
    const bool same = access.write->reg == access.read->reg;
    return QStringLiteral("%1, written with %2%3")
        .arg(read)
        .arg(access.write->function)
        .arg(same ? QString() : registerPart(*access.write, " at "));
}

Json wireJson(const std::optional<WireAccess>& access) {
    if (!access) {
        return nullptr;
    }
    return Json{{"function", access->function},
                {"register", access->reg ? Json(utf8(registerText(*access->reg))) : Json(nullptr)}};
}

void printPoint(const Point& first, int count, const Access& access, bool json) {
    const bool beyond = first.type.beyondTable(first.address, count);
    const bool writable = first.type.writable && !beyond;
    if (json) {
        Json object = eventJson("checked");
        object["item"] = utf8(first.notation());
        object["type"] = utf8(first.type.name);
        object["number"] = first.address;
        object["count"] = count;
        object["kind"] = first.type.bit ? "bit" : "word";
        object["writable"] = writable;
        object["read"] = wireJson(access.read);
        object["write"] = wireJson(access.write);
        print(object);
        return;
    }
    print(QStringLiteral("%1 is valid: %2 of %3, %4 %5, %6; %7%8")
              .arg(first.notation())
              .arg(first.type.addressText(first.address))
              .arg(first.type.name)
              .arg(QLatin1String(first.type.bit ? "bit" : "word"))
              .arg(count == 1 ? QString::number(first.address)
                              : QStringLiteral("%1 to %2").arg(first.address).arg(first.address + count - 1))
              .arg(QLatin1String(writable ? "read and write" : "read only"))
              .arg(wireText(access))
              .arg(beyond ? QStringLiteral("; beyond the end, %1").arg(first.type.highest) : QString()));
}

int runCheck(const CheckOptions& options) {
    const Driver loaded(options);
    if (!options.filePath.empty()) {
        if (!options.items.empty()) {
            throw UsageError(QStringLiteral("check looks at a file (-c) or at items, not at both"));
        }
        return checkFile(loaded, options);
    }
    if (options.items.empty()) {
        throw UsageError(QStringLiteral(
            "no item is given to be checked: write TYPE:ADDRESS[,COUNT][@STATION[-LAST]], or name a "
            "file (-c FILE)"));
    }
    options.chosenLine();
    DriverSession session(loaded.library.functions(), propertyText(LineSettings(), 1));
    bool valid = true;
    for (const std::string& item : options.items) {
        try {
            for (const QString& single : ItemNotation::perStation(text(item))) {
                const QVector<Point> points = loaded.notation.points(single);
                const Point& first = points.first();
                const int count = points.size() * first.items();
                const Access access{readAccess(session, first.type, first.address, count),
                                    writeAccess(session, first.type, first.address, count)};
                printPoint(first, count, access, options.json);
            }
        } catch (const UsageError& error) {
            valid = false;
            const QString reading = loaded.notation.driversReading(text(item));
            printError(reading.isEmpty()
                           ? error.text()
                           : error.text() + QStringLiteral("; the driver alone takes it as %1").arg(reading));
        }
    }
    return valid ? EXIT_DONE : EXIT_USAGE;
}

}  // namespace

void addCheckCommand(CommandLine& program) {
    auto options = std::make_shared<CheckOptions>();
    CommandLine& command =
        program.addCommand("check", "Checks addresses, or a whole file (-c), without a line");
    command.add("items", &options->items, "TYPE:ADDRESS[,COUNT][@STATION[-LAST]]")
        .named("ITEM")
        .suggest(itemOffer(ItemWords::Plain));
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    addFileOptions(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 check F:3.0.25\n"
        "  dx7 check DO:1,2 AI:0,4 F:F.0.55\n"
        "  dx7 check -c plant.toml\n"
        "Function codes are decimal and registers hexadecimal, as on the wire.\n"
        "Of a file: each fault, tags that read the same register, and what polling costs each line at its "
        "intervals.\n"
        "Exit code 2 when anything is not valid, 1 when a line cannot keep its intervals. A panel's host may "
        "take more: what the driver alone "
        "takes,\n"
        "such as F:F.#.55, is named.");
    command.action([options] { return runCheck(*options); });
}

}  // namespace dx7::cli
