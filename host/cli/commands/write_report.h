/// \file
/// What `dx7 write` says of its writes, as text and JSON.
#ifndef DX7_CLI_WRITE_REPORT_H
#define DX7_CLI_WRITE_REPORT_H

#include "host/cli/commands/write_job.h"

namespace dx7::cli {

/// Says what has become of a write. False when it is not done, or could not be said on standard output.
bool report(const Connection& connection, const WriteJob& job, bool json);

/// Says on standard error why not all was written, and how to go on: what broke the writes off, or the
/// stations that did not answer. Nothing when neither is so.
void reportBreak(const Connection& connection, const QVector<WriteJob>& jobs);

/// "F:3.0.20,3@1 = 25,26,27".
QString assignmentText(const WriteJob& job);

}  // namespace dx7::cli

#endif
