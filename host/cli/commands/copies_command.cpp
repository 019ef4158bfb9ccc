#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/cli/value_offers.h"
#include "host/error.h"

namespace dx7::cli {

namespace {

constexpr int HIGHEST_COPIES = 1000;
constexpr int LONGEST_STEP = 1000;

struct CopiesOptions : CommonOptions {
    std::string item;
    qint64 copies = 0;
    qint64 step = 1;
};

// The driver's own texts are not those that it takes back ("f.0.54", and "0.0.55" for DE), and it goes on
// beyond the end of DE.
void printCopy(const RegisterType& type, int copy, int address, bool json) {
    const bool beyond = type.beyondTable(address, 1);
    const QString addressText = type.addressText(address);
    if (json) {
        print(Json{{"event", "copy"},
                   {"copy", copy},
                   {"type", utf8(type.name)},
                   {"address", beyond ? Json(nullptr) : Json(utf8(addressText))},
                   {"number", address}});
        return;
    }
    print(QStringLiteral("%1  %2  (%3)%4")
              .arg(copy, 4)
              .arg(beyond ? QStringLiteral("-") : type.name + QLatin1Char(':') + addressText)
              .arg(address)
              .arg(beyond ? QStringLiteral("  beyond %1").arg(type.highest) : QString()));
}

int runCopies(const CopiesOptions& options) {
    if (options.copies < 1 || options.copies > HIGHEST_COPIES) {
        throw UsageError(QStringLiteral("the number of copies is %1, it must be 1 to %2")
                             .arg(options.copies)
                             .arg(HIGHEST_COPIES));
    }
    if (options.step < -LONGEST_STEP || options.step > LONGEST_STEP) {
        throw UsageError(QStringLiteral("--step is %1, it must be %2 to %3")
                             .arg(options.step)
                             .arg(-LONGEST_STEP)
                             .arg(LONGEST_STEP));
    }
    const Driver loaded(options);
    const QVector<Point> points = loaded.notation.points(text(options.item));
    const Point& first = points.first();
    QVector<QString> addressTexts;
    QVector<int> addresses;
    const int result =
        loaded.library.functions().multiCopy(first.type.name, first.address, static_cast<int>(options.copies),
                                             static_cast<int>(options.step), &addressTexts, &addresses);
    for (int i = 0; i < addresses.size(); ++i) {
        printCopy(first.type, i + 1, addresses.at(i), options.json);
    }
    if (result == DX7_COPY_CLAMPED) {
        const QString held = QStringLiteral("copies beyond %1 were held at it").arg(first.type.highest);
        if (options.json) {
            print(Json{{"event", "held"}, {"held_at", utf8(first.type.highest)}});
        } else {
            print(held);
        }
    }
    return EXIT_DONE;
}

}  // namespace

void addCopiesCommand(CommandLine& program) {
    auto options = std::make_shared<CopiesOptions>();
    CommandLine& command =
        program.addCommand("copies", "Shows the addresses that the driver gives copies of an object");
    command.add("item", &options->item, "TYPE:ADDRESS of the first one")
        .demand()
        .named("ITEM")
        .suggest(itemOffer(ItemWords::Plain));
    command.add("copies", &options->copies, "How many, the first one included, at most 1000")
        .demand()
        .check(wholeNumber)
        .named("N");
    command
        .add("--step", &options->step, "Items from one to the next; -2 is one value of two words (default 1)")
        .check(wholeNumber)
        .named("N");
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 copies F:3.0.25 4\n"
        "  dx7 copies CW_bit:0 8 --step 2");
    command.action([options] { return runCopies(*options); });
}

}  // namespace dx7::cli
