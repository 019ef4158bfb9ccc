#include "common/modbus_limits.h"
#include "host/cli/commands/commands.h"
#include "host/cli/commands/params_options.h"
#include "host/error.h"

namespace dx7::cli {

int stationOf(const ParamsOptions& options, int fallback) {
    const qint64 station = options.station.value_or(fallback);
    if (station < dx7common::LOWEST_STATION || station > dx7common::HIGHEST_STATION) {
        throw UsageError(QStringLiteral("--station is %1, it must be %2 to %3")
                             .arg(station)
                             .arg(dx7common::LOWEST_STATION)
                             .arg(dx7common::HIGHEST_STATION));
    }
    return static_cast<int>(station);
}

namespace {

void addAction(CommandLine& params, const char* name, const char* what, const char* footer,
               int (*action)(const ParamsOptions&)) {
    auto options = std::make_shared<ParamsOptions>();
    CommandLine& command = params.addCommand(name, what);
    command.add("file", &options->file, "The TOML file").demand().named("FILE").check(notEmpty);
    if (action == runDiff) {
        command
            .add("other", &options->otherFile, "Another file, to compare the first one with, without a line")
            .named("FILE")
            .check(notEmpty);
    }
    command
        .add("--station", &options->station,
             action == runSave ? "The station (default 1)" : "The station (default: the file's)")
        .check(wholeNumber)
        .named("N");
    if (action == runSave) {
        command.add("--groups", &options->groups, "Groups to save, such as 0-3 (default 0-15)").named("LIST");
        command.add("--force", &options->force, "Replace a file that is there; it is kept as FILE.~1~");
    } else {
        command.add("--accept-altered", &options->acceptAltered,
                    "Take a file that was cut or edited since it was saved as it is");
    }
    if (action == runLoad) {
        command
            .add("--stations", &options->stations, "Several stations, one after the other, such as 2-10,12")
            .named("LIST")
            .check(notEmpty);
        command.add("--dry-run", &options->dryRun, "Show what would be written, and write nothing");
    }
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    command.footer(footer);
    addLineOptions(command, *options);
    addRecordOption(command, *options);
    command.action([options, action] { return action(*options); });
}

}  // namespace

void addParamsCommand(CommandLine& program) {
    CommandLine& command =
        program.addCommand("params", "Saves, compares and loads the writable parameters of a station");
    addAction(command, "save", "Reads the parameters into a file",
              "Examples:\n"
              "  dx7 params save pump.toml --serial /dev/ttyUSB0 --groups 0-3\n"
              "  dx7 params save pump.toml --tcp 192.168.0.10 --station 2 --force\n"
              "A file that is there is refused without --force, with exit code 2. With it the file is kept "
              "beside the\n"
              "new one, which takes its name when everything has been read and is on the disk.\n"
              "Names and units of the tags of -c follow the values as comments.",
              runSave);
    addAction(
        command, "diff", "Shows what differs between file and device, or between two files",
        "Examples:\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0 --station 2 --json\n"
        "  dx7 params diff pump.toml delivered.toml\n"
        "A file that was cut or edited since it was saved is refused unless --accept-altered is given.\n"
        "Exit code 0 when all is equal, 1 when something differs or could not be compared, 2 when nothing "
        "could\n"
        "be.",
        runDiff);
    addAction(
        command, "load", "Writes what differs back and verifies each value",
        "Examples:\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0 --stations 2-10 --dry-run\n"
        "A file that was cut or edited since it was saved is refused unless --accept-altered is given.\n"
        "After Ctrl-C a second run writes what is left. Exit code 1 when a value did not take.",
        runLoad);
    command.footer(
        "Examples:\n"
        "  dx7 params save pump.toml --serial /dev/ttyUSB0 --groups 0-3\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0 --station 2\n"
        "After Ctrl-C a second run does what is left. Exit code 1 when a value did not take.");
}

}  // namespace dx7::cli
