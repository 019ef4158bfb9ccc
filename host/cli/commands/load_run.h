/// \file
/// The writing half of "params load".
#ifndef DX7_CLI_LOAD_RUN_H
#define DX7_CLI_LOAD_RUN_H

#include <QStringList>

#include "host/cli/commands/parameter_exchange.h"

namespace dx7::cli {

/// Writes what differs between a file and a station, verifies each value, and says what became of it. Borrows
/// the connection and the comparison.
class LoadRun {
public:
    /// `named`: the summary names the station.
    LoadRun(bool json, bool named, Connection& connection, const Comparison& compared, int station)
        : json_(json), named_(named), connection_(connection), compared_(compared), station_(station) {}

    void writeDifferences();
    /// Nothing is written, for the comparison was broken off.
    void giveUp(const QString& why) { broken_ = why; }
    /// One object for each parameter that was not tried.
    void tellRest();
    /// False when not everything is done and said.
    bool tellSummary(int parameters);

private:
    void take(const Difference& difference, const WriteEnd& end);
    void tellItem(const Difference& difference, Written state, const QString& fault);
    QString summaryText(int parameters) const;
    QString comparedText(int parameters) const;

    const bool json_;
    const bool named_;
    Connection& connection_;
    const Comparison& compared_;
    const int station_;
    int tried_ = 0;
    int written_ = 0;
    AnswerWatch watch_;
    QStringList unknown_;
    /// Why it was broken off; empty when it was not.
    QString broken_;
    bool told_ = true;
};

}  // namespace dx7::cli

#endif
