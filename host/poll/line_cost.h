/// \file
/// What polling points costs a line, and which of them are the same register: for a look at a file without
/// the line. Nothing is kept between calls; what takes a session uses it, which must not be in use, on its
/// thread.
#ifndef DX7_HOST_LINE_COST_H
#define DX7_HOST_LINE_COST_H

#include <optional>
#include <vector>

#include "host/line/line_settings.h"
#include "host/poll/plan_report.h"

namespace dx7 {

/// Points that are polled together.
struct IntervalCost {
    /// Empty for points without one, and of several.
    std::optional<qint64> intervalUs;
    int points = 0;
    int items = 0;
    int requests = 0;
    /// As PlannedBlock::lineUs, of all requests. Not known over TCP.
    std::optional<qint64> lineUs;

    /// Of the interval; not known without either.
    std::optional<double> share() const;
};

/// Of all points in one cycle, whatever their intervals. The session has no plan afterwards.
IntervalCost cycleCost(DriverSession& session, const ItemNotation& notation, const QVector<Point>& points,
                       const LineSettings& settings);

/// In ascending order of the intervals, those without last. Points that fall due together share requests, so
/// that together they may cost less.
std::vector<IntervalCost> intervalCosts(DriverSession& session, const ItemNotation& notation,
                                        const QVector<Point>& points, const LineSettings& settings);

/// Points that read the same register of a station, by their indexes.
struct SharedRegister {
    QVector<int> points;
    int station = 0;
    /// The function code that reads it.
    int function = 0;
    /// None of a function that addresses no register.
    std::optional<int> reg;
};

/// In the order of their first points. Points of several shared registers are there once for each.
std::vector<SharedRegister> sharedRegisters(DriverSession& session, const QVector<Point>& points);

}  // namespace dx7

#endif
