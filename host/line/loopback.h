/// \file
/// A test of a port whose output is bridged to its input: what is sent must come back.
#ifndef DX7_HOST_LOOPBACK_H
#define DX7_HOST_LOOPBACK_H

#include <QByteArray>
#include <functional>
#include <optional>

#include "host/line/line.h"
#include "host/line/poller.h"

namespace dx7 {

struct LoopbackResult {
    /// Bytes that were handed to the line, and bytes that came up to the end of the test.
    int sent = 0;
    int received = 0;
    /// What came first in place of another byte.
    struct Difference {
        /// Of the byte, counted from 0.
        int index = 0;
        quint8 sent = 0;
        quint8 came = 0;
    };
    std::optional<Difference> difference;
    /// From the first byte sent until it came back; 0 when it did not.
    qint64 roundTripUs = 0;
    /// The line was lost, or the test was stopped before its end.
    bool lost = false;
    bool stopped = false;

    /// All of it came back, and nothing else.
    bool good() const { return !lost && !stopped && !difference && sent == received; }
};

/// What is sent: a single byte, each value of the data bits, and bytes of alternating bits.
QByteArray loopbackPattern(const LineSettings& settings);

/// Sends the pattern piece by piece on the open line, which the poller watches, until a piece does not come
/// back as it was sent within its line time and half a second. `stopped` is asked every 50 ms.
LoopbackResult testLoopback(Line& line, Poller& poller, const LineSettings& settings,
                            const std::function<bool()>& stopped);

}  // namespace dx7

#endif
