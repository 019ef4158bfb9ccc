#include "host/cli/saved_file.h"

#include "host/cli/output_files.h"
#include "host/error.h"
#include "host/files/whole_file.h"

namespace dx7::cli {

namespace {

Existing existingOf(bool force) {
    return force ? Existing::Keep : Existing::Refuse;
}

}  // namespace

void checkSavedFile(const Driver& loaded, const LineSettings& settings, const CommonOptions& options,
                    bool force) {
    if (!options.file.empty()) {
        checkFilePath(loaded, settings, options);
        checkWholeFile(text(options.file), existingOf(force));
    } else if (force) {
        throw UsageError(QStringLiteral("--force replaces the file of --save, use it with --save FILE"));
    }
}

QString saveFile(const CommonOptions& options, const QByteArray& content, bool force) {
    const QString kept = writeWholeFile(text(options.file), content, existingOf(force));
    return kept.isEmpty() ? kept : QStringLiteral("; the one before is ") + kept;
}

}  // namespace dx7::cli
