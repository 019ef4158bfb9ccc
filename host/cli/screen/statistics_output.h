/// \file
/// The statistics of a line as text and as JSON.
#ifndef DX7_CLI_STATISTICS_OUTPUT_H
#define DX7_CLI_STATISTICS_OUTPUT_H

#include <QStringList>

#include "host/cli/output.h"

namespace dx7::cli {

/// A table with a column per station and one for all, and what concerns the line as a whole.
QStringList statisticsLines(const Statistics& statistics, qint64 nowUs);
void printStatistics(const Statistics& statistics, qint64 nowUs, bool json);

}  // namespace dx7::cli

#endif
