/// \file
/// What a master polls as a line file.
#ifndef DX7_CLI_POLLED_FILE_H
#define DX7_CLI_POLLED_FILE_H

#include <QByteArray>

#include "host/exchange/bus_watch.h"
#include "host/poll/polled_items.h"

namespace dx7::cli {

struct PolledFile {
    QByteArray content;
    /// How many items have a tag.
    int items = 0;
};

/// The line with a tag for each run of items that a request reads, each item once. Other types in a tag's
/// registers, writes, and registers that belong to no item are comments. `comment` begins the file.
PolledFile polledFile(const BusWatch& watch, const RegisterIndex& index, const LineSettings& settings,
                      const QString& comment);

}  // namespace dx7::cli

#endif
