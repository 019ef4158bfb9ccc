/// \file
/// The options that commands share.
#ifndef DX7_CLI_OPTIONS_H
#define DX7_CLI_OPTIONS_H

#include <QStringList>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/command_line.h"
#include "common/exit_codes.h"
#include "host/files/line_file.h"

namespace dx7::cli {

using dx7common::CommandLine;
using dx7common::EXIT_DONE;
using dx7common::EXIT_FAILED;
using dx7common::EXIT_USAGE;

/// What the command line said about the driver and the line; what it left open the driver's defaults fill.
struct CommonOptions {
    std::string driverPath;
    std::string filePath;
    /// The line of the file, by its name.
    std::string lineName;
    /// The items, tags or writes that the command line names; null for a command that takes none. Borrowed.
    const std::vector<std::string>* named = nullptr;
    std::string serialPort;
    std::string tcpAddress;
    std::string modbusTcpAddress;
    std::optional<qint64> baud;
    std::optional<std::string> parity;
    std::optional<qint64> dataBits;
    std::optional<qint64> stopBits;
    std::optional<qint64> timeoutMs;
    /// Without effect; accepted from earlier versions.
    std::optional<qint64> lateMs;
    std::optional<std::string> echo;
    std::optional<qint64> retries;
    std::optional<qint64> block;
    std::optional<double> gapMs;
    bool rs485 = false;
    std::string recordPath;
    /// What is to be done where another dx7 has the port.
    const char* inUseHint = "end it first";
    /// FILE of a command that takes one.
    std::string file;
    bool json = false;
    /// The line is not listened to before something is sent.
    bool anyway = false;

    /// The file of -c, read when it is first asked for; null when there is none. Throws UsageError.
    const LineFile* lineFile() const;
    /// The index of the line in that file: the one of --line, else the only one, else that of the tags which
    /// are named. 0 without a file. Throws UsageError when that is not one line.
    int chosenLine() const;

private:
    mutable std::shared_ptr<const LineFile> lineFile_;
};

/// Refuses an empty text: a variable of a script that was never set.
std::string notEmpty(const std::string& given);
/// Refuse a text that is not a plainNumber(), with or without a minus sign, or not a finite
/// decimalFraction(), before the parser converts it by rules of its own.
std::string wholeNumber(const std::string& given);
std::string anyNumber(const std::string& given);

void addDriverOption(CommandLine& command, CommonOptions& options);
/// The file with lines and tags, and which of its lines.
void addFileOptions(CommandLine& command, CommonOptions& options);
/// Baud rate, parity, data and stop bits.
void addSerialFormatOptions(CommandLine& command, CommonOptions& options);
/// How the line is reached; enough for a command that sends nothing on it. Returns --modbus-tcp, which not
/// every such command has a use for.
dx7common::CommandOption& addPortOptions(CommandLine& command, CommonOptions& options);
/// How the line is reached and treated; enough for a command that only plans what it would send.
void addLineOptions(CommandLine& command, CommonOptions& options);
void addRecordOption(CommandLine& command, CommonOptions& options);
/// For a command that listens to the line first.
void addAnywayOption(CommandLine& command, CommonOptions& options);
void addJsonOption(CommandLine& command, CommonOptions& options);
/// All of these, for a command that exchanges values with the device.
void addDeviceOptions(CommandLine& command, CommonOptions& options);

/// The settings that the options, else the file of -c, else the driver's defaults, else `defaults` make,
/// checked. Throws UsageError. A line is demanded when `needLine`.
LineSettings lineSettings(const CommonOptions& options, const QString& driverParameter, bool needLine,
                          const LineSettings& defaults = {});

/// Those of the line with this index in the file; a line of no kind is taken as a serial one. For what opens
/// none.
LineSettings fileSettings(const LineFile& file, const QString& driverParameter, int line);

QString text(const std::string& argument);
QStringList texts(const std::vector<std::string>& arguments);

}  // namespace dx7::cli

#endif
