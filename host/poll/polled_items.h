/// \file
/// The driver's items in the registers that a request reads or writes.
#ifndef DX7_HOST_POLLED_ITEMS_H
#define DX7_HOST_POLLED_ITEMS_H

#include <QHash>
#include <QVector>

#include "host/driver/driver_session.h"
#include "host/driver/register_type.h"

namespace dx7 {

/// Items of one type whose registers follow each other.
struct ItemRun {
    RegisterType type;
    int address = 0;
    int count = 0;
    /// The register, or bit, of the first one.
    int reg = 0;

    /// "F:3.0.20,9"; without ",1".
    QString text() const;
};

/// What is in the registers of a request.
struct PolledItems {
    /// For each register the first type that has it, in the driver's order.
    QVector<ItemRun> items;
    /// The other types that share such a register.
    QVector<ItemRun> others;
    /// Runs of registers that belong to no item: the first one and their count.
    QVector<QPair<int, int>> foreign;
};

/// Which registers a request names: the first one and how many. None of a function code that names none, or
/// whose request is not known.
struct RegisterRange {
    int first = 0;
    int count = 0;
};
RegisterRange registersOf(const QByteArray& request);

/// Where each item is read and written. It asks the driver once for every address. One thread at a time.
class RegisterIndex {
public:
    /// Uses the session, which must not be in use, on its thread, and keeps nothing of it. Nothing is sent.
    RegisterIndex(DriverSession& session, const QVector<RegisterType>& types);

    /// Of a whole request of any function code. Function code 7 names no register: its status byte is an
    /// item.
    PolledItems items(const QByteArray& request) const;

private:
    struct Item {
        int type = 0;
        int address = 0;
    };
    using Places = QHash<int, QVector<Item>>;

    QVector<RegisterType> types_;
    /// By function code and register, in the order of the types. Writes are under the code that writes one
    /// item.
    Places items_;
};

}  // namespace dx7

#endif
