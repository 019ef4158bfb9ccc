/// \file
/// The host's side of one link, without a line: the memory that the driver borrows, and good replies.
#ifndef DX7_BENCH_LINK_H
#define DX7_BENCH_LINK_H

#include <QByteArray>
#include <QMutex>
#include <vector>

#include "korvalent_dx7.h"

namespace dx7bench {

/// Starts the link of a driver; blocks of at most 64 items, three attempts per request. A driver has one at a
/// time.
class Link {
public:
    explicit Link(ValueChangeCallback callback);
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

private:
    std::vector<unsigned char> hostFlags_;
    std::vector<unsigned char> recipeMemory_;
    QMutex mutex_;
};

/// A callback that does nothing.
void ignoreReport(int linkId, int station, QString& regType, int address);

/// The reply to a read with `functionCode` that carries `data`, CRC included.
QByteArray readReply(int station, int functionCode, const QByteArray& data);

}  // namespace dx7bench

#endif
