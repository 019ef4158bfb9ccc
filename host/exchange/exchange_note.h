/// \file
/// What is met on a line besides requests and their replies.
#ifndef DX7_HOST_EXCHANGE_NOTE_H
#define DX7_HOST_EXCHANGE_NOTE_H

#include <QtGlobal>
#include <optional>

#include "host/exchange/damage.h"

namespace dx7 {

/// What the exchange met on the line besides requests and their replies.
struct ExchangeNote {
    enum Kind {
        /// A status query went out.
        Query,
        /// It was answered; `value` is the status byte, or minus the exception code.
        QueryAnswer,
        /// A reply came after its time-out.
        Late,
        /// A frame that answers nothing, though the like has been asked for.
        Surplus,
        /// A frame that has come before.
        Copy,
        /// A frame that answers nothing that was asked here.
        Foreign,
        /// A request came back as it was sent.
        Echo,
        /// Bytes outside of any frame; `value` is their number.
        Noise,
        /// The like of a reply without a good CRC; `value` is the number of bytes.
        Damaged
    };
    Kind kind = Query;
    /// Empty where none can be told.
    std::optional<int> station;
    /// From the end of the request to the last byte of its answer.
    qint64 afterUs = 0;
    int value = 0;
    /// Of Noise and Damaged: what the bytes are.
    Damage damage = Damage::Noise;
    /// Of Damaged: bytes of the reply that it may be.
    int awaited = 0;
    /// Of Damaged: it came in place of the answer to a status query.
    bool ofQuery = false;
};

}  // namespace dx7

#endif
