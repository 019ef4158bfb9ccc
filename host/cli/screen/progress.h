/// \file
/// A progress bar on standard error, shown only when that is a terminal.
#ifndef DX7_CLI_PROGRESS_H
#define DX7_CLI_PROGRESS_H

#include <QString>

#include "host/line/clock.h"

namespace dx7::cli {

class Progress {
public:
    /// `total` steps lie ahead. `clock` must outlive it.
    Progress(int total, Clock& clock);
    ~Progress();

    /// `done` steps are over; `what` is shown after the bar.
    void show(int done, const QString& what);
    /// Removes the bar, so that a line can be printed.
    void clear();

    /// "##########..........  50 % 3 s left what".
    static QString bar(int done, int total, qint64 elapsedUs, const QString& what);

private:
    Q_DISABLE_COPY(Progress)
    int total_;
    Clock& clock_;
    qint64 startUs_;
    bool terminal_;
};

}  // namespace dx7::cli

#endif
