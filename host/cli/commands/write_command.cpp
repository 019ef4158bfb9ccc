#include "host/cli/commands/commands.h"
#include "host/cli/commands/write_preview.h"
#include "host/cli/commands/write_report.h"
#include "host/cli/value_offers.h"
#include "host/error.h"

namespace dx7::cli {

namespace {

struct WriteOptions : CommonOptions {
    std::vector<std::string> items;
    bool verify = false;
    bool noVerify = false;
    bool dryRun = false;

    // What was said of reading back, for all writes.
    std::optional<bool> chosen() const {
        return verify ? std::optional<bool>(true) : noVerify ? std::optional<bool>(false) : std::nullopt;
    }
};

QVector<WriteJob> jobsOf(const Driver& loaded, const WriteOptions& options) {
    QVector<WriteJob> jobs;
    for (const WriteRequest& request : loaded.writes(options, options.items)) {
        jobs += WriteJob(request, options.chosen());
        if (options.verify && jobs.last().broadcast()) {
            throw UsageError(
                QStringLiteral("a broadcast (station 0) cannot be verified, no station answers it"));
        }
    }
    return jobs;
}

int runDry(const Driver& loaded, const WriteOptions& options) {
    if (!options.recordPath.empty()) {
        throw UsageError(
            QStringLiteral(
                "--record %1 and --dry-run exclude each other: nothing is sent that could be recorded")
                .arg(text(options.recordPath)));
    }
    LineSettings settings = lineSettings(options, loaded.parameter(), false);
    if (settings.carrier == Carrier::None) {
        settings.carrier = Carrier::Serial;
    }
    previewWrites(loaded, settings, jobsOf(loaded, options), options.json);
    return EXIT_DONE;
}

int runWrite(const WriteOptions& options) {
    const Driver loaded(options);
    if (options.dryRun) {
        return runDry(loaded, options);
    }
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    QVector<WriteJob> jobs = jobsOf(loaded, options);
    Connection connection(loaded, settings, options);
    connection.abandonAfterSilence();
    connection.listenFirst();
    bool good = true;
    for (WriteJob& job : jobs) {
        carryOut(connection, job);
        good = report(connection, job, options.json) && good;
    }
    reportBreak(connection, jobs);
    connection.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addWriteCommand(CommandLine& program) {
    auto options = std::make_shared<WriteOptions>();
    options->named = &options->items;
    options->inUseHint =
        "where that is dx7 monitor with its live table, the key w writes there; else end it first";
    CommandLine& command = program.addCommand("write", "Writes items, in the order given");
    command
        .add("items", &options->items,
             "TYPE:ADDRESS[,COUNT][@STATION[-LAST]][/FORMAT...]=VALUE[,VALUE...], or TAG=VALUE[,VALUE...]; "
             "as many values as the count, 1 without")
        .demand()
        .named("ITEM=VALUE")
        .suggest(itemOffer(ItemWords::Written));
    const auto& verify = command.add("--verify", &options->verify,
                                     "Fail unless every value reads back equal, of CW, DO and the like, too");
    command.add("--no-verify", &options->noVerify, "Read nothing back: an acknowledgement is enough")
        .excludes(verify);
    command.add("--dry-run", &options->dryRun, "Show the frames; open no line and send nothing");
    addDeviceOptions(command, *options);
    addAnywayOption(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 write --serial /dev/ttyUSB0 DO:1=on CW:0=0x047F\n"
        "  dx7 write --serial /dev/ttyUSB0 F:0.0.10,2@2=10,258 --dry-run\n"
        "  dx7 write --tcp 192.168.0.10 F:3.0.24/s32=-100000\n"
        "F and MOD are read back until they are equal; of the other types it is shown what they read, for "
        "the "
        "device\n"
        "may clear them by itself. On a serial line 0.3 s are listened to first (--anyway).\n"
        "Station 0 writes bits to all stations at once, and none confirms it.");
    command.action([options] { return runWrite(*options); });
}

}  // namespace dx7::cli
