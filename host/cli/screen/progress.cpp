#include "host/cli/screen/progress.h"

#include <unistd.h>

#include <cstdio>

namespace dx7::cli {

namespace {
constexpr int BAR_WIDTH = 30;
}

Progress::Progress(int total, Clock& clock)
    : total_(total), clock_(clock), startUs_(clock.nowUs()), terminal_(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
    clear();
}

QString Progress::bar(int done, int total, qint64 elapsedUs, const QString& what) {
    const int filled = total > 0 ? BAR_WIDTH * done / total : BAR_WIDTH;
    QString left;
    if (done > 0) {
        left = QStringLiteral(" %1 s left").arg((elapsedUs * (total - done) / done + 999999) / 1000000);
    }
    return QStringLiteral("%1%2 %3 %%4 %5")
        .arg(QString(filled, QLatin1Char('#')), QString(BAR_WIDTH - filled, QLatin1Char('.')))
        .arg(total > 0 ? 100 * done / total : 100, 3)
        .arg(left, what);
}

void Progress::show(int done, const QString& what) {
    if (terminal_) {
        const QString line = bar(done, total_, clock_.nowUs() - startUs_, what);
        std::fprintf(stderr, "\r\033[K%s", line.toUtf8().constData());
        std::fflush(stderr);
    }
}

void Progress::clear() {
    if (terminal_) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }
}

}  // namespace dx7::cli
