/// \file
/// A line and its tags in a TOML file.
#ifndef DX7_HOST_LINE_FILE_H
#define DX7_HOST_LINE_FILE_H

#include <memory>

#include "host/files/line_tag.h"
#include "host/items/item_notation.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// A file that is read once, so that it may be a pipe. Borrows nothing after a call. One thread at a time.
class LineFile {
public:
    /// Throws UsageError for what cannot be read or is not valid TOML.
    explicit LineFile(const QString& path);
    ~LineFile();

    /// Takes the table [line] of the file over into `settings`: name, serial or tcp, baud, parity, data_bits,
    /// stop_bits, rs485, echo, timeout, retries, block, gap; `late` is accepted for old files and has no
    /// effect. Throws UsageError with line and column for the first fault of the
    /// file; what was taken before that stays in `settings`.
    void apply(LineSettings& settings) const;

    /// The file's [[tag]] tables, as readTag() takes them, with at most 100000 points. Throws UsageError with
    /// line and column, also for a name that is taken, by a point as well.
    QVector<LineTag> tags(const ItemNotation& notation) const;

private:
    Q_DISABLE_COPY(LineFile)
    struct Content;
    std::unique_ptr<Content> content_;
};

/// A line file with the comment, the port and its baud rate, parity, data and stop bits. The other settings
/// are left out.
QByteArray lineFileText(const LineSettings& settings, const QString& comment);

}  // namespace dx7

#endif
