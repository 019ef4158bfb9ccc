#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/cli/value_offers.h"
#include "host/exchange/rtu_frame.h"
#include "host/poll/plan_report.h"

namespace dx7::cli {

namespace {

struct PlanOptions : CommonOptions {
    std::vector<std::string> items;
};

QString blockText(const Driver& loaded, const ItemRange& range) {
    const RegisterType type = loaded.notation.type(range.regType);
    return QStringLiteral("%1:%2,%3@%4")
        .arg(range.regType, type.addressText(range.address))
        .arg(range.count)
        .arg(range.station);
}

Json lineTimeJson(std::optional<qint64> us) {
    return us ? Json(static_cast<double>(*us) / 1000) : Json(nullptr);
}

QString lineTimeText(std::optional<qint64> us) {
    return us ? msText(*us) : QStringLiteral("-");
}

// Of all blocks; not known where that of one of them is not.
std::optional<qint64> cycleUs(const QVector<PlannedBlock>& blocks) {
    qint64 total = 0;
    for (const PlannedBlock& block : blocks) {
        if (!block.lineUs) {
            return std::nullopt;
        }
        total += *block.lineUs;
    }
    return total;
}

void printBlock(const Driver& loaded, const PlannedBlock& block, int number, bool json) {
    if (json) {
        Json object = eventJson("block");
        object["block"] = number;
        object["items"] = utf8(blockText(loaded, block.range));
        object["request"] = utf8(hexText(block.request));
        object["reply_bytes"] = block.replyBytes;
        object["line_ms"] = lineTimeJson(block.lineUs);
        if (!block.apart.isEmpty()) {
            object["apart"] = utf8(block.apart);
        }
        print(object);
        return;
    }
    const QString line = QStringLiteral("  %1  %2  %3 %4 %5")
                             .arg(number, 5)
                             .arg(blockText(loaded, block.range), -16)
                             .arg(hexText(block.request), -23)
                             .arg(block.replyBytes, 6)
                             .arg(lineTimeText(block.lineUs), 9);
    print(block.apart.isEmpty() ? line : line + QStringLiteral("  ") + block.apart);
}

int runPlan(const PlanOptions& options) {
    const Driver loaded(options);
    LineSettings settings = lineSettings(options, loaded.parameter(), false);
    if (settings.carrier == Carrier::None) {
        settings.carrier = Carrier::Serial;
    }
    const QVector<Point> points = loaded.points(options, options.items);
    DriverSession session(loaded.library.functions(), propertyText(settings, 1));
    const QVector<PlannedBlock> blocks = explainPlan(session, loaded.notation, points, settings);
    if (!options.json) {
        print(
            QStringLiteral("  BLOCK  ITEMS             REQUEST                  REPLY   LINE ms  APART FROM "
                           "THE ONE BEFORE"));
    }
    for (int i = 0; i < blocks.size(); ++i) {
        printBlock(loaded, blocks.at(i), i + 1, options.json);
    }
    const std::optional<qint64> totalUs = cycleUs(blocks);
    if (options.json) {
        Json summary = summaryJson("plan");
        summary["blocks"] = blocks.size();
        summary["cycle_ms"] = lineTimeJson(totalUs);
        print(summary);
    } else if (!totalUs) {
        print(QStringLiteral("cycle: %1; over TCP no line time is known")
                  .arg(counted(blocks.size(), "request")));
    } else {
        print(QStringLiteral("cycle: %1, %2 ms on the line at %3 baud, plus the device's own time")
                  .arg(counted(blocks.size(), "request"), msText(*totalUs))
                  .arg(settings.baud));
    }
    return EXIT_DONE;
}

}  // namespace

void addPlanCommand(CommandLine& program) {
    auto options = std::make_shared<PlanOptions>();
    options->named = &options->items;
    CommandLine& command = program.addCommand("plan", "Shows the requests that the driver would poll with");
    command.add("items", &options->items, "TYPE:ADDRESS[,COUNT][@STATION[-LAST]], or names of tags")
        .named("ITEM")
        .suggest(itemOffer(ItemWords::Read));
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    addLineOptions(command, *options);
    command.footer(
        "No line is opened; --baud and the like only count.\n"
        "Examples:\n"
        "  dx7 plan F:0.0.00,20 AI:0,4 DI:1,6\n"
        "  dx7 plan --baud 19200 --parity even --block 8 F:0.0.00,20@1 F:0.0.00,20@2");
    command.action([options] { return runPlan(*options); });
}

}  // namespace dx7::cli
