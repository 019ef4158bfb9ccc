/// \file
/// One write of `dx7 write`: what is sent and read back, and what is known of each value then.
#ifndef DX7_CLI_WRITE_JOB_H
#define DX7_CLI_WRITE_JOB_H

#include <optional>

#include "host/cli/connection.h"
#include "host/files/wall_clock.h"
#include "host/poll/read_back.h"

namespace dx7::cli {

/// What is known of a value that is written.
enum class Fate {
    /// The device does not have it.
    NotWritten,
    /// It was sent, and nothing that came shows whether the station carried it out.
    Unknown,
    /// The station acknowledged it, and that is proven; or it was sent to all stations, none of which
    /// answers.
    Acknowledged,
    /// The device has it: a good value that was read back is equal.
    Written
};

/// What has become of a value of a write, or of one item of it.
struct ValueFate {
    Fate fate = Fate::NotWritten;
    /// The station acknowledged all of it, and that is proven.
    bool acknowledged = false;
    /// Why it has failed; empty when it has not.
    QString fault;
    /// How its request ended, where that was not as it should.
    QString outcome;
    /// When it ended, in microseconds since 1970, UTC.
    qint64 endUs = wallTimeUs();
    /// It was not sent, or broken off: it has not failed.
    bool open = false;
    /// Parts of it have ended differently.
    bool byHalf = false;
    /// The good value that was read back last; empty without one.
    std::optional<quint32> readsBack;
    /// It was acknowledged, and reading back showed another value, or failed, where that is a fault.
    bool backFault = false;
    /// Why reading back failed, where that is no fault: the device may have taken the value back by itself,
    /// or be starting anew by it.
    QString unread;
};

/// A write, the points that show its values, and how it went.
struct WriteJob {
    /// `chosen`: what the user said of reading back, for all writes of the command.
    WriteJob(const WriteRequest& written, std::optional<bool> chosen);

    WriteRequest request;
    ReadBackRule rule;
    QVector<Point> points;
    /// One for each item of the request.
    QVector<ValueFate> items;
    /// One for each point.
    QVector<ValueFate> values;

    /// The written value of point number `index`.
    quint32 raw(int index) const;
    bool broadcast() const { return request.first.station == 0; }
    /// All of it is as its rule demands.
    bool done() const;
};

/// "acknowledged, but reading back failed: no reply".
QString unreadText(const QString& failure);

/// Writes, and reads back by the job's rule, before it returns: two items may be the same bits of the device
/// under two names. What a station that did not answer before would cost is spared.
void carryOut(Connection& connection, WriteJob& job);

}  // namespace dx7::cli

#endif
