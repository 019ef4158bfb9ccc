/// \file
/// What `dx7 write --dry-run` shows.
#ifndef DX7_CLI_WRITE_PREVIEW_H
#define DX7_CLI_WRITE_PREVIEW_H

#include "host/cli/commands/write_job.h"

namespace dx7::cli {

/// Prints the frames that would write the jobs, in their order, as the driver builds them. No line is needed;
/// the driver must not be in use.
void previewWrites(const Driver& loaded, const LineSettings& settings, const QVector<WriteJob>& jobs,
                   bool json);

}  // namespace dx7::cli

#endif
