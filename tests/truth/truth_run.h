// One run of a scenario: the engine with the real driver against the simulated line, and the oracle.
#ifndef DX7_TESTS_TRUTH_TRUTH_RUN_H
#define DX7_TESTS_TRUTH_TRUTH_RUN_H

#include <QString>
#include <QStringList>

#include "scenario.h"

namespace truth {

struct Outcome {
    enum Kind { True, FalseValue, FalseWrite, NotShown, Endless };
    Kind kind = True;
    QString failure;  // Empty when everything that was shown was true.
    bool undecidable = false;
    qint64 good = 0;  // Values shown as good.
    qint64 doubtful = 0;
    qint64 written = 0;  // Writes reported as carried out.
    qint64 requests = 0;
    qint64 queries = 0;
    QStringList conversation;  // When asked for.
};

Outcome runScenario(const Scenario& scenario, bool traced);

/// The scenario with as little in it as still fails, after at most `most` runs.
Scenario shrunk(const Scenario& scenario, int most);

}  // namespace truth

#endif
