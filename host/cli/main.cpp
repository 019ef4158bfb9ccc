/// \file
/// dx7: a reference host for the driver, on the command line.

#include <QCoreApplication>
#include <clocale>
#include <csignal>
#include <cstdio>

#include "common/completion.h"
#include "common/standard_descriptors.h"
#include "common/timer_slack.h"
#include "host/cli/commands/commands.h"
#include "host/cli/options.h"
#include "host/cli/output.h"
#include "host/error.h"
#include "host/items/address_text.h"

namespace {

using namespace dx7::cli;

// The first line of a parser's message, which may go on with a hint to --help.
QString firstLine(const std::string& message) {
    return text(message).section(QLatin1Char('\n'), 0, 0);
}

QString nearestOf(const QStringList& names, const QString& typed) {
    const QString nearest = dx7::nearestName(names, typed);
    return nearest.isNull() ? QString() : QStringLiteral("; the nearest is \"%1\"").arg(nearest);
}

// The long names of its options.
QStringList optionNames(const CommandLine& line) {
    QStringList names{QStringLiteral("--help")};
    if (!line.version().empty()) {
        names += QStringLiteral("--version");
    }
    for (const dx7common::CommandOption& option : line.options()) {
        const QString name = text(option.names).section(QLatin1Char(','), -1);
        if (name.startsWith(QLatin1String("--")) && !option.section.empty()) {
            names += name;
        }
    }
    return names;
}

// The command that the words name, and what follows its name.
const CommandLine& commandOf(const CommandLine& program, QStringList* words) {
    const CommandLine* line = &program;
    while (!words->isEmpty() && line->command(words->first().toStdString()) != nullptr) {
        line = line->command(words->takeFirst().toStdString());
    }
    return *line;
}

// The nearest to the first option that the command does not have; empty when it has them all, or none is
// near.
QString nearestOption(const CommandLine& program, QStringList words) {
    const CommandLine& command = commandOf(program, &words);
    for (const QString& word : words) {
        const QString option = word.section(QLatin1Char('='), 0, 0);
        if (option.startsWith(QLatin1String("--")) && option.size() > 2 &&
            !command.hasOption(option.toStdString())) {
            return nearestOf(optionNames(command), option);
        }
    }
    return {};
}

void checkCommandName(const CommandLine& line, const QString& path, const QStringList& words);

// An option in place of a command: only those of the program itself are valid there.
void checkLeadingOption(const CommandLine& line, const QString& path, const QStringList& words) {
    const QString option = words.first().section(QLatin1Char('='), 0, 0);
    if (!line.hasOption(option.toStdString())) {
        throw dx7::UsageError(QStringLiteral("option \"%1\" is not valid here; a command's options follow it "
                                             "(%2 --help shows more)%3")
                                  .arg(option, path, nearestOf(optionNames(line), option)));
    }
    if (option == QLatin1String("--version") && words.size() > 1) {
        throw dx7::UsageError(QStringLiteral("--version is given alone, not with \"%1\"").arg(words.at(1)));
    }
    // The help of the command that follows, if there is one.
    if (words.size() > 1) {
        checkCommandName(line, path, words.mid(1));
    }
}

// The parser would only say that a command is missing. `path` names the commands that the words follow.
void checkCommandName(const CommandLine& line, const QString& path, const QStringList& words) {
    QStringList names;
    for (const CommandLine& command : line.commands()) {
        names += text(command.name());
    }
    if (names.isEmpty()) {
        return;
    }
    const QString name = words.value(0);
    if (name.isEmpty()) {
        throw dx7::UsageError(QStringLiteral("no command is given, use one of %1 (%2 --help shows more)")
                                  .arg(names.join(QStringLiteral(", ")), path));
    }
    if (name.startsWith(QLatin1Char('-'))) {
        checkLeadingOption(line, path, words);
        return;
    }
    if (!names.contains(name)) {
        throw dx7::UsageError(QStringLiteral("command \"%1\" is unknown, use one of %2%3")
                                  .arg(name, names.join(QStringLiteral(", ")), nearestOf(names, name)));
    }
    checkCommandName(*line.command(name.toStdString()), path + QLatin1Char(' ') + name, words.mid(1));
}

QStringList wordsAfterProgram(int argc, char** argv) {
    QStringList words;
    for (int i = 1; i < argc; ++i) {
        words += QString::fromLocal8Bit(argv[i]);
        // Two names that cannot be told apart once they are read would be one file.
        if (words.last().toLocal8Bit() != argv[i]) {
            throw dx7::UsageError(
                QStringLiteral(
                    "argument %1 (\"%2\") holds bytes that are not characters of this locale; rename "
                    "the file, or set the locale that it was named in")
                    .arg(i)
                    .arg(words.last()));
        }
        // The parser would take what is in the brackets for several arguments.
        if (words.last().startsWith(QLatin1Char('[')) && words.last().endsWith(QLatin1Char(']'))) {
            throw dx7::UsageError(
                QStringLiteral("argument \"%1\" is in brackets; write items without them, and "
                               "a file of that name as \"./%1\"")
                    .arg(words.last()));
        }
    }
    return words;
}

void printHelp(const std::string& help) {
    QString lines = text(help);
    while (lines.endsWith(QLatin1Char('\n'))) {
        lines.chop(1);
    }
    print(lines);
}

int parseAndRun(int argc, char** argv) {
    CommandLine program(
        "dx7", "Reads, writes and watches a device over Modbus RTU through the korvalent_dx7 driver.");
    program.version("dx7 " DX7_VERSION);
    program.footer(
        "Items are written TYPE:ADDRESS[,COUNT][@STATION[-LAST]][/FORMAT...], for example AI:0,4  F:3.0.25@2 "
        " DO:1\n"
        "Examples:\n"
        "  dx7 scan --serial /dev/ttyUSB0\n"
        "  dx7 read --serial /dev/ttyUSB0 AI:0,4 F:3.0.25\n"
        "  dx7 write --serial /dev/ttyUSB0 F:3.0.25=500\n"
        "  dx7 monitor --tcp 192.168.0.10:8888 DI:1,6 AI:0,4\n"
        "Exit codes: 0 done, 1 the device or the line failed, 2 wrong usage.\n"
        "dx7 COMMAND --help shows the options of a command, with examples.");
    addMonitorCommand(program);
    addReadCommand(program);
    addWriteCommand(program);
    addTypesCommand(program);
    addCheckCommand(program);
    addCopiesCommand(program);
    addListenCommand(program);
    addParamsCommand(program);
    addPlanCommand(program);
    addPortsCommand(program);
    addRawCommand(program);
    addReplayCommand(program);
    addScanCommand(program);
    if (const auto answer = dx7common::answerToShell(program, argc, argv)) {
        std::fputs(answer->c_str(), stdout);
        return EXIT_DONE;
    }
    const QStringList words = wordsAfterProgram(argc, argv);
    checkCommandName(program, QStringLiteral("dx7"), words);
    try {
        const CommandLine::Reading reading = program.read(argc, argv);
        if (reading.asked) {
            printHelp(*reading.asked);
            return EXIT_DONE;
        }
        return reading.command->run();
    } catch (const dx7common::CommandLineError& error) {
        printError(firstLine(error.what()) + nearestOption(program, words));
        return EXIT_USAGE;
    }
}

int runChecked(int argc, char** argv) {
    try {
        return parseAndRun(argc, argv);
    } catch (const dx7::LineError& error) {
        printError(error.text());
        return EXIT_FAILED;
    } catch (const dx7::Error& error) {
        printError(error.text());
        return EXIT_USAGE;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (!dx7common::occupyStandardDescriptors(dx7common::LostOutput::Fails)) {
        return EXIT_FAILED;
    }
    dx7common::useExactTimers();
    try {
        // A file that may not grow any more fails as one on a full disk.
        std::signal(SIGXFSZ, SIG_IGN);
        // Silence Qt's messages; our own error line includes them.
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        QCoreApplication application(argc, argv);
        // It has taken over the user's locale, in which 1.5 may not be a number; characters stay the user's.
        std::setlocale(LC_NUMERIC, "C");
        return runChecked(argc, argv);
    } catch (...) {
        // Nothing but memory running out is left to come here.
        std::fputs("dx7: out of memory\n", stderr);
        return EXIT_FAILED;
    }
}
