#include "host/cli/output_files.h"

#include <unistd.h>

#include "host/error.h"
#include "host/files/file_identity.h"

namespace dx7::cli {

namespace {

struct Used {
    QString path;
    const char* as;
};

void refuseClash(const QString& output, const QVector<Used>& uses) {
    for (const Used& use : uses) {
        if (!use.path.isEmpty() && sameFile(output, use.path)) {
            throw UsageError(QStringLiteral("%1 would overwrite %2, name another file")
                                 .arg(output, QLatin1String(use.as)));
        }
    }
    if (isOpenedAs(output, STDOUT_FILENO)) {
        throw UsageError(QStringLiteral("%1 is where standard output goes, name another file").arg(output));
    }
    if (isOpenedAs(output, STDERR_FILENO)) {
        throw UsageError(QStringLiteral("%1 is where error messages go, name another file").arg(output));
    }
}

QVector<Used> inputs(const Driver& loaded, const LineSettings& settings, const CommonOptions& options) {
    QVector<Used> used{
        {text(options.filePath), "the file of -c"},
        {loaded.library.loadedFile(), "the driver library"},
        {settings.carrier == Carrier::Serial ? settings.serialPort : QString(), "the port of the line"}};
    const LineFile* const file = options.lineFile();
    for (const QString& path : file == nullptr ? QStringList() : file->paths().mid(1)) {
        used += Used{path, "a file that the file of -c includes"};
    }
    return used;
}

}  // namespace

void checkRecordingPath(const Driver& loaded, const LineSettings& settings, const CommonOptions& options) {
    refuseClash(text(options.recordPath), inputs(loaded, settings, options) +
                                              QVector<Used>{{text(options.file), "the parameter file"}});
}

void checkLogPath(const Driver& loaded, const LineSettings& settings, const CommonOptions& options,
                  const QString& path) {
    refuseClash(
        path, inputs(loaded, settings, options) + QVector<Used>{{text(options.recordPath), "the recording"}});
}

void checkFilePath(const Driver& loaded, const LineSettings& settings, const CommonOptions& options) {
    refuseClash(text(options.file), inputs(loaded, settings, options));
}

}  // namespace dx7::cli
