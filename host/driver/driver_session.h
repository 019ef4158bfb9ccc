/// \file
/// One started link of the driver: the host memory it borrows, its callback, and the calls in host terms.
#ifndef DX7_HOST_DRIVER_SESSION_H
#define DX7_HOST_DRIVER_SESSION_H

#include <QByteArray>
#include <QMutex>
#include <QVector>
#include <vector>

#include "host/driver/driver_functions.h"

namespace dx7 {

/// Tags that travel with requests into their frames (FRAME_PRO::opKind). The driver itself tags cyclic reads
/// with 4.
enum RequestTag { TAG_WRITE = 2, TAG_READ = 3, TAG_CYCLIC = 4 };

/// A run of consecutive items of one type at one station.
struct ItemRange {
    int station = 0;
    QString regType;
    int address = 0;
    int count = 0;
};

inline bool operator==(const ItemRange& a, const ItemRange& b) {
    return a.station == b.station && a.address == b.address && a.count == b.count && a.regType == b.regType;
}

/// Makes every call of the driver on behalf of one line. Values are read back after good replies, not taken
/// from the driver's reports: bits are reported by whole bytes, and written values before they are read. The
/// driver is one object, so one session at a time uses it, and all calls belong on one thread. A new session
/// drops the requests and values of the one before; the driver borrows memory of the session until then, so
/// requests and replies need a session that lives. It throws nothing.
class DriverSession {
public:
    /// Starts the link with the property text of the line. `functions` must outlive the session.
    DriverSession(const DriverFunctions& functions, const QByteArray& properties);

    const DriverFunctions& functions() const { return functions_; }

    /// The driver's next request. False when it has none.
    bool nextRequest(FRAME_PRO* frame);
    /// Hands the reply to the request that is out to the driver; empty = none came. Returns a Dx7ReplyResult.
    int takeReply(QByteArray& reply, QString& info);
    /// Tells the driver that no reply came to the request that is out, nor to any repetition of it, none of
    /// which is sent. Returns DX7_REPLY_GIVEN_UP. A request must be out.
    int giveUp(QString& info);

    /// Replaces the polling plan and returns its blocks. The driver must be between operations.
    QVector<ItemRange> merge(const QVector<ItemRange>& entries);
    /// Queues a one-off read tagged TAG_READ. The driver splits it by its block limits.
    void addRead(const ItemRange& range, bool bits);
    /// Queues a write tagged TAG_WRITE: a byte per bit, two bytes per word, low byte first.
    void addWrite(const ItemRange& range, const QByteArray& data);
    /// Appends the current raw value of each item of `range` to `*items`: unsigned, of `itemBytes` (1 or 2)
    /// bytes.
    void values(const ItemRange& range, int itemBytes, std::vector<quint16>* items);

private:
    Q_DISABLE_COPY(DriverSession)
    const DriverFunctions& functions_;
    std::vector<unsigned char> hostFlags_;
    std::vector<unsigned char> recipeMemory_;
    std::vector<unsigned char> values_;
    QMutex mutex_;
};

}  // namespace dx7

#endif
