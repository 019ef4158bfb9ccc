/// \file
/// What happened to one request on the line.
#ifndef DX7_HOST_TRANSACTION_H
#define DX7_HOST_TRANSACTION_H

#include <QByteArray>
#include <QString>
#include <QVector>
#include <optional>

#include "host/driver/driver_functions.h"

namespace dx7 {

enum class Outcome {
    /// The driver took the reply (or the silence after a broadcast).
    Good,
    /// Nothing that belongs to the request came.
    Timeout,
    WrongCrc,
    WrongLength,
    /// The station refused the request.
    Exception,
    /// Not sent: the station still owes the reply to a request before.
    Skipped,
    /// Not sent: the adapter echoes, and its echo would pass for the acknowledgement.
    EchoOnly,
    /// The host ended the operation before its end; `info` says why.
    CutShort,
};

/// One request, sent once, and its end.
struct Transaction {
    /// The request as the driver described it.
    FRAME_PRO frame;
    QByteArray request;
    /// What the driver got; empty after an exception.
    QByteArray reply;
    Outcome outcome = Outcome::Timeout;
    /// With Outcome::Exception.
    int exceptionCode = 0;
    /// Of a reply or refusal: what its settlement is named by. Up to that it is not proven.
    std::optional<quint64> ticket;
    /// It was settled as doubtful: what came may be the answer to something else.
    bool doubtful = false;
    /// Of a good read, for the end of an operation: its raw items.
    QVector<int> items;
    /// Bytes outside of whole frames that came while the operation's attempts waited.
    qint64 noiseBytes = 0;
    /// Whole frames that were put aside while the operation's attempts waited.
    int otherFrames = 0;
    /// The last of them from the operation's station with its function code, which does not answer it; empty
    /// without one.
    QByteArray mismatch;
    /// Likewise the last reply that came damaged.
    QByteArray damaged;
    /// Not the first attempt of its operation.
    bool repeated = false;
    /// An attempt of its operation brought anything from the station, late or damaged.
    bool heard = false;
    /// Bytes of an attempt of its operation are on the line, or may be. Of Outcome::CutShort alone.
    bool sent = false;
    /// Of a write: an attempt was sent, and nothing that came shows whether the station carried it out.
    bool unsettled = false;
    /// A Dx7ReplyResult.
    int driverResult = DX7_REPLY_UNEXPECTED;
    /// The driver's text about the frame.
    QString info;
    /// When the request was handed to the line.
    qint64 sentUs = 0;
    /// When the wait for the reply ended.
    qint64 endUs = 0;
    /// How long the line was taken by the request, the wait and the reply.
    qint64 busyUs = 0;

    /// The operation is over, one way or the other.
    bool finished() const { return driverResult != DX7_REPLY_SEND_AGAIN; }
    bool good() const { return driverResult == DX7_REPLY_GOOD && !doubtful; }
    /// The station gave a sign of life.
    bool answered() const { return outcome == Outcome::Good || outcome == Outcome::Exception; }
};

/// Whether an exception with this code says that the station did not carry the request out. Code 5
/// (acknowledge) says that it is about to, and code 11 that a gateway does not know.
bool refusesForCertain(int exceptionCode);

/// What is wrong with a damaged reply by the driver's own measure: WrongCrc or WrongLength, or Timeout where
/// nothing came.
Outcome damageOf(const QByteArray& reply, int expectLen);

/// What is said of a reply that was settled as doubtful.
QString doubtText();

/// "no reply", "no valid reply: 2 foreign frames", "wrong CRC", "exception 2 (illegal data address)" and so
/// on.
QString outcomeText(const Transaction& transaction);

}  // namespace dx7

#endif
