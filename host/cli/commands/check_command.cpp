#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/error.h"

namespace dx7::cli {

namespace {

struct CheckOptions : CommonOptions {
    std::vector<std::string> items;
};

void printPoint(const Point& first, int count, bool json) {
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
        print(object);
        return;
    }
    print(QStringLiteral("%1 is valid: %2 of %3, %4 %5, %6%7")
              .arg(first.notation())
              .arg(first.type.addressText(first.address))
              .arg(first.type.name)
              .arg(QLatin1String(first.type.bit ? "bit" : "word"))
              .arg(count == 1 ? QString::number(first.address)
                              : QStringLiteral("%1 to %2").arg(first.address).arg(first.address + count - 1))
              .arg(QLatin1String(writable ? "read and write" : "read only"))
              .arg(beyond ? QStringLiteral("; beyond the end, %1").arg(first.type.highest) : QString()));
}

int runCheck(const CheckOptions& options) {
    const Driver loaded(options);
    bool valid = true;
    for (const std::string& item : options.items) {
        try {
            const QVector<Point> points = loaded.notation.points(text(item));
            printPoint(points.first(), points.size() * points.first().items(), options.json);
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
        program.addCommand("check", "Checks addresses, and says what the driver makes of others");
    command.add("items", &options->items, "TYPE:ADDRESS[,COUNT][@STATION]").demand().named("ITEM");
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 check F:3.0.25\n"
        "  dx7 check DO:1,2 AI:0,4 F:F.0.55\n"
        "Exit code 2 when one of them is not valid. A panel's host may take more: what the driver alone "
        "takes,\n"
        "such as F:F.#.55, is named.");
    command.action([options] { return runCheck(*options); });
}

}  // namespace dx7::cli
