/// \file
/// What the commands of "params" share: options, and the commands themselves.
#ifndef DX7_CLI_PARAMS_OPTIONS_H
#define DX7_CLI_PARAMS_OPTIONS_H

#include "host/cli/connection.h"
#include "host/files/parameter_file.h"

namespace dx7::cli {

struct ParamsOptions : CommonOptions {
    std::string groups = "0-15";
    std::optional<qint64> station;
    bool acceptAltered = false;
    /// Of save.
    bool force = false;
    /// Of diff: the file that the first one is compared with; empty for the station.
    std::string otherFile;
    /// Of load.
    std::string stations;
    bool dryRun = false;

    Altered altered() const { return acceptAltered ? Altered::Accept : Altered::Refuse; }
};

/// --station, or what holds without it. Throws UsageError.
int stationOf(const ParamsOptions& options, int fallback);

int runSave(const ParamsOptions& options);
int runDiff(const ParamsOptions& options);
int runLoad(const ParamsOptions& options);

}  // namespace dx7::cli

#endif
