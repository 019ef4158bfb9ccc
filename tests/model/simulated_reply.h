/// \file
/// Replies to the frame on the wire: what a device would answer, and every way in which a line spoils it.
#ifndef DX7_TESTS_MODEL_SIMULATED_REPLY_H
#define DX7_TESTS_MODEL_SIMULATED_REPLY_H

#include <vector>

#include "model.h"

namespace differential {

enum class ReplyKind {
    /// What the device answers in a given state.
    Good,
    /// The right length and CRC, any data.
    RandomData,
    /// A good reply without its end.
    Truncated,
    /// A good reply with bytes after it.
    Extended,
    /// A good reply with one byte changed.
    Corrupted,
    /// The five bytes of a Modbus exception.
    Exception,
    /// Nothing came.
    Empty,
    /// Any length, any bytes, the right CRC.
    RandomRightCrc,
    /// The right length, any bytes.
    RandomBytes,
    /// FF FF, the CRC of nothing.
    TwoBytes,
    /// The request itself.
    Echo
};

const char* nameOf(ReplyKind kind);

/// A reply to the first of `frames` (any bytes when there is none). The device's values are a function of
/// register and `deviceState`; `place` chooses where and how a reply is spoilt.
std::vector<model::Byte> simulatedReply(const std::vector<model::Frame>& frames, ReplyKind kind,
                                        int deviceState, int place);

}  // namespace differential

#endif
