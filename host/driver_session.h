/// \file
/// One started link of the driver: the host memory it borrows, its callback, and the calls in host terms.
#ifndef DX7_HOST_DRIVER_SESSION_H
#define DX7_HOST_DRIVER_SESSION_H

#include <QByteArray>
#include <QMutex>
#include <QVector>
#include <functional>
#include <vector>

#include "driver_functions.h"

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

/// The driver is one object with one callback that carries no user pointer, so there is one session at a time
/// per process; starting a session takes the callback over. All calls belong on one thread.
class DriverSession {
public:
    using ChangeReport = std::function<void(int station, const QString& regType, int address)>;

    /// Starts the link with the property text of the line. `functions` must outlive the session.
    DriverSession(const DriverFunctions& functions, const QByteArray& properties);
    ~DriverSession();

    const DriverFunctions& functions() const { return functions_; }

    /// Called for every report of the driver about a device item. May be empty.
    void setChangeReport(ChangeReport report) { report_ = std::move(report); }
    /// Reports about device items since the start.
    qint64 changeReports() const { return changeReports_; }

    /// Replaces the polling plan and returns its blocks. The driver must be between operations.
    QVector<ItemRange> merge(const QVector<ItemRange>& entries);
    /// Queues a one-off read tagged TAG_READ. The driver splits it by its block limits.
    void addRead(const ItemRange& range, bool bits);
    /// Queues a write tagged TAG_WRITE: a byte per bit, two bytes per word, low byte first.
    void addWrite(const ItemRange& range, const QByteArray& data);
    /// The current raw value of one item of `itemBytes` bytes.
    int value(int station, const QString& regType, int address, int itemBytes);

private:
    Q_DISABLE_COPY(DriverSession)
    static void dispatch(int linkId, int station, QString& regType, int address);

    static DriverSession* active_;
    const DriverFunctions& functions_;
    std::vector<unsigned char> hostFlags_;
    std::vector<unsigned char> recipeMemory_;
    QMutex mutex_;
    ChangeReport report_;
    qint64 changeReports_ = 0;
};

}  // namespace dx7

#endif
