#include "connection.h"
#include "error.h"
#include "output.h"

namespace dx7::cli {

namespace {

struct CheckOptions : CommonOptions {
    std::vector<std::string> items;
};

void printPoint(const Point& first, int count, bool json) {
    if (json) {
        Json object;
        object["item"] = utf8(first.notation());
        object["type"] = utf8(first.type.name);
        object["number"] = first.address;
        object["count"] = count;
        object["kind"] = first.type.bit ? "bit" : "word";
        object["writable"] = first.type.writable;
        print(object);
        return;
    }
    print(QStringLiteral("%1 is valid: %2 of %3, %4 %5, %6")
              .arg(first.notation())
              .arg(first.type.addressText(first.address))
              .arg(first.type.name)
              .arg(QLatin1String(first.type.bit ? "bit" : "word"))
              .arg(count == 1 ? QString::number(first.address)
                              : QStringLiteral("%1 to %2").arg(first.address).arg(first.address + count - 1))
              .arg(QLatin1String(first.type.writable ? "read and write" : "read only")));
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
            complain(error.text());
        }
    }
    return valid ? EXIT_DONE : EXIT_USAGE;
}

}  // namespace

void addCheckCommand(CLI::App& app, Run& run) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App* command = app.add_subcommand("check", "Checks addresses with the driver's own rules");
    command->add_option("items", options->items, "TYPE:ADDRESS[,COUNT][@STATION]")
        ->required()
        ->type_name("ITEM");
    addDriverOption(*command, *options);
    addJsonOption(*command, *options);
    command->footer(
        "Examples:\n"
        "  dx7 check F:3.0.25\n"
        "  dx7 check DO:1,2 AI:0,4 F:F.#.55\n"
        "Exit code 2 when one of them is not valid.");
    command->callback([options, &run] { run = [options] { return runCheck(*options); }; });
}

}  // namespace dx7::cli
