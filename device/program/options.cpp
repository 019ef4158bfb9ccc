#include "device/program/options.h"

#include <iostream>

#include "common/completion.h"
#include "common/exit_codes.h"
#include "common/printable.h"
#include "device/line/usage_error.h"
#include "device/station/notation.h"

namespace dx7sim {

namespace {

using dx7common::CommandLine;

constexpr const char* EXAMPLES =
    "Examples:\n"
    "  dx7-device --pty /tmp/dx7\n"
    "      a device as station 1 on a pseudo-terminal; clients open /tmp/dx7\n"
    "  dx7-device --tcp 8888 --stations 1,2,9 --baud 9600\n"
    "      three stations, RTU frames over TCP on the loopback interface, at the pace of 9600 baud\n"
    "  dx7-device --modbus-tcp 1502\n"
    "      a device that speaks Modbus/TCP\n"
    "  dx7-device --pty /tmp/dx7 --fault drop=0.01,corrupt=0.01,late=0.02 --seed 7\n"
    "      a flaky line, flaky in the same way every time\n"
    "  dx7-device --pty /tmp/dx7 --values start.toml\n"
    "      with values to start from, as \"F:3.0.25\" = 500 in a table [values]\n"
    "\n"
    "Commands on standard input: set TYPE:ADDRESS[@STATION]=VALUE, get TYPE:ADDRESS[@STATION], silence "
    "STATION,\n"
    "revive STATION, fault LIST, time, summary, help, quit.\n"
    "Exit codes: 0 ended by quit or a signal, 1 the line failed, 2 wrong usage or a line that cannot be "
    "opened.\n";

// The conversion alone would take -1 for the largest number.
std::string wholeNumber(const std::string& text) {
    // 19 digits always fit.
    const bool digits =
        !text.empty() && text.size() <= 19 && text.find_first_not_of("0123456789") == std::string::npos;
    return digits ? std::string() : "\"" + text + "\" is not a whole number with at most 19 digits";
}

// What the conversion alone would take for octal or hexadecimal, or with a sign or blanks, is refused.
dx7common::ValueCheck plainNumber(int lowest, int highest) {
    return [lowest, highest](const std::string& text) {
        const bool digits = !text.empty() && text.size() <= 9 &&
                            text.find_first_not_of("0123456789") == std::string::npos &&
                            (text.size() == 1 || text[0] != '0');
        const bool fits = digits && std::stoi(text) >= lowest && std::stoi(text) <= highest;
        return fits ? std::string()
                    : "\"" + text + "\" is not a plain number from " + std::to_string(lowest) + " to " +
                          std::to_string(highest);
    };
}

// An empty text is a variable of a script that was never set.
std::string notEmpty(const std::string& text) {
    return text.empty() ? std::string("is an empty text") : std::string();
}

// The last one of a list.
dx7common::Offer offerFaults(const dx7common::Typed& typed) {
    const std::string before = typed.word.substr(0, typed.word.rfind(',') + 1);
    dx7common::Offer offer;
    for (const std::string& fault : faultWords()) {
        offer.words.push_back({before + fault, {}});
    }
    return offer;
}

// What takes more than a conversion.
struct RawTexts {
    std::string station;
    std::string stations;
    std::vector<std::string> faults;
    std::string parity = "none";
    int lateMs = 500;
    int copyMs = 0;
};

void addLineOptions(CommandLine& program, Options& options, RawTexts& raw) {
    auto& line = program.addAlternatives("Line", "Where the device is found; exactly one of these");
    line.add("--pty", &options.pty, "Make a pseudo-terminal and PATH a symbolic link to it")
        .named("PATH")
        .check(notEmpty);
    line.add("--tcp", &options.tcpPort, "RTU frames over TCP on this port, 0 for any free one")
        .named("PORT")
        .check(plainNumber(0, 65535));
    line.add("--modbus-tcp", &options.modbusTcpPort, "Modbus/TCP on this port, 0 for any free one")
        .named("PORT")
        .check(plainNumber(0, 65535));
    line.add("--serial", &options.serial, "Use a serial port").named("DEVICE").check(notEmpty);
    program.add("--bind", &options.bindAddress, "Listen on this address with --tcp and --modbus-tcp")
        .named("ADDRESS")
        .suggest({"127.0.0.1", "0.0.0.0", "::1"})
        .showDefault();
    program
        .add("--baud", &options.baud,
             "Speed of the serial port (default 9600); of the other lines: pace bytes as a line of this "
             "speed would (default: no pacing)")
        .named("N")
        .check(plainNumber(300, 4000000))
        .suggest({"1200", "2400", "4800", "9600", "19200", "38400", "57600", "115200"});
    program.add("--strict", &options.strictSettings,
                "With --pty: take nothing from a client with another baud rate (9600 unless --baud says) or "
                "number of stop bits");
    program.add("--parity", &raw.parity, "Parity: none, even or odd")
        .named("NAME")
        .oneOf({"none", "even", "odd"})
        .showDefault();
    program.add("--stop-bits", &options.serialSettings.stopBits, "Stop bits: 1 or 2")
        .named("N")
        .check(plainNumber(1, 2))
        .suggest({"1", "2"})
        .showDefault();
}

void addDeviceOptions(CommandLine& program, Options& options, RawTexts& raw) {
    const auto& station =
        program.add("--station", &raw.station, "The station simulated, 1 to 247 (default 1)")
            .named("N")
            .check(notEmpty);
    program.add("--stations", &raw.stations, "Several stations, as 1,2,9")
        .named("LIST")
        .check(notEmpty)
        .excludes(station);
    program.add("--values", &options.valuesFile, "Values to start from, a TOML file")
        .named("FILE")
        .check(notEmpty);
    program.add("--move-all", &options.moveAll,
                "Every value moves in steps of 0.25 s and tells its item and its time");
    program
        .add("--fault", &raw.faults,
             "Faults to make, as drop=0.01,echo; a SHARE is one from 0 to 1 of the requests: " + faultForms())
        .named("LIST")
        .takeOneEach()
        .suggest(offerFaults);
    program.add("--seed", &options.seed, "The faults of this seed are the same every time")
        .named("N")
        .check(wholeNumber)
        .showDefault();
    program.add("--late-by", &raw.lateMs, "How late a late reply is")
        .named("MS")
        .check(plainNumber(1, 60000))
        .showDefault();
    program
        .add("--copy-after", &raw.copyMs, "How long after a reply its copy comes, with the fault duplicate")
        .named("MS")
        .check(plainNumber(0, 60000))
        .showDefault();
    program.add("--trace", &options.trace, "Show every request and reply on standard error");
}

// Throws UsageError.
void settle(Options& options, const RawTexts& raw) {
    if (!raw.station.empty()) {
        options.stations = {parseStation(raw.station)};
    }
    if (!raw.stations.empty()) {
        options.stations = parseStations(raw.stations);
    }
    for (const std::string& faults : raw.faults) {
        parseFaults(faults, options.faults);
    }
    if (options.strictSettings && options.pty.empty()) {
        throw UsageError("--strict is of a pseudo-terminal's clients: use it with --pty");
    }
    options.lateBy = std::chrono::milliseconds(raw.lateMs);
    options.copyAfter = std::chrono::milliseconds(raw.copyMs);
    options.serialSettings.baud = options.baud.value_or(options.serialSettings.baud);
    options.serialSettings.parity = raw.parity == "none" ? 'N' : raw.parity == "even" ? 'E' : 'O';
}

}  // namespace

ChosenOptions parseCommandLine(int argc, const char* const* argv) {
    CommandLine program("dx7-device",
                        "A simulated field device that answers Modbus RTU and Modbus/TCP requests.");
    program.version("dx7-device " DX7_VERSION);
    program.footer(EXAMPLES);
    Options options;
    RawTexts raw;
    addLineOptions(program, options, raw);
    addDeviceOptions(program, options, raw);
    try {
        if (const auto answer = dx7common::answerToShell(program, argc, argv)) {
            std::cout << *answer << std::flush;
            return {std::nullopt, dx7common::EXIT_DONE};
        }
        if (const auto asked = program.read(argc, argv).asked) {
            std::cout << *asked << std::flush;
            return {std::nullopt, dx7common::EXIT_DONE};
        }
        settle(options, raw);
    } catch (const dx7common::CommandLineError& error) {
        std::cerr << "dx7-device: " << dx7common::printable(error.what())
                  << " (--help shows what can be asked)\n";
        return {std::nullopt, dx7common::EXIT_USAGE};
    } catch (const UsageError& error) {
        std::cerr << "dx7-device: " << error.what() << '\n';
        return {std::nullopt, dx7common::EXIT_USAGE};
    }
    return {options, dx7common::EXIT_DONE};
}

}  // namespace dx7sim
