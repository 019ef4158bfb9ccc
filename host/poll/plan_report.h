/// \file
/// The polling plan, or a write, explained: the requests that the driver builds for it, their cost, and why
/// neighbours are apart.
#ifndef DX7_HOST_PLAN_REPORT_H
#define DX7_HOST_PLAN_REPORT_H

#include <QByteArray>
#include <optional>

#include "host/line/line_settings.h"
#include "host/poll/operation.h"
#include "host/poll/poll_plan.h"

namespace dx7 {

/// One block of the plan, or one request of a write.
struct PlannedBlock {
    ItemRange range;
    /// As the driver built it.
    QByteArray request;
    int replyBytes = 0;
    /// Silent interval, request and reply at the baud rate, without the device's own time. Not known over
    /// TCP.
    std::optional<qint64> lineUs;
    /// Why it is not one block with the one before; empty for the first, and of a write.
    QString apart;
};

/// Every block of a plan over `points`, in the order of polling. Uses the session, which must not be in use
/// and keeps the plan afterwards; on its thread. All arguments are borrowed for the call.
QVector<PlannedBlock> explainPlan(DriverSession& session, const ItemNotation& notation,
                                  const QVector<Point>& points, const LineSettings& settings);

/// The requests of a write, in the order in which they go out. As explainPlan(); the session keeps nothing of
/// them.
QVector<PlannedBlock> explainWrite(DriverSession& session, const WriteRequest& request,
                                   const LineSettings& settings);

}  // namespace dx7

#endif
