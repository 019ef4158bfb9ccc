/// \file
/// One-off reads and writes, split into what one request can carry. Plain values; nothing is kept between
/// calls.
#ifndef DX7_HOST_OPERATION_H
#define DX7_HOST_OPERATION_H

#include <QByteArray>
#include <QVector>
#include <functional>

#include "host/driver/driver_session.h"
#include "host/exchange/transaction.h"
#include "host/items/item_notation.h"

namespace dx7 {

/// A one-off read or write of a range that is one request.
struct Operation {
    enum Kind {
        Read,
        Write,
        /// Of a silent station that answers no status queries.
        Probe,
        /// Of what is left out of the polling plan, or part of a block that is searched for it.
        Alone
    };
    using Done = std::function<void(const Transaction&)>;
    Kind kind = Read;
    ItemRange range;
    RegisterType type;
    /// Of a write: a byte per bit, two bytes per word, low byte first.
    QByteArray data;
    /// Called with its last transaction when it has ended and, where anything was answered, that is settled.
    /// May queue further operations.
    Done done;
};

/// `count` items from `address`, cut where the register numbers do not run on and at `block` items (eight
/// times as many bits for a read).
QVector<ItemRange> requestRanges(const RegisterType& type, int station, int address, int count, int block);

/// Reads of these items, one for each request.
QVector<Operation> readOperations(const RegisterType& type, int station, int address, int count, int block);

/// Writes of these items, one for each request: of one bit, one control word or up to `block` other words.
QVector<Operation> writeOperations(const WriteRequest& request, int block);

}  // namespace dx7

#endif
