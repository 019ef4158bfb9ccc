/// \file
/// Replies to the frame on the wire: what a device would answer, and every way in which a line spoils it.
#ifndef DX7_TESTS_MODEL_SIMULATED_REPLY_H
#define DX7_TESTS_MODEL_SIMULATED_REPLY_H

#include <vector>

#include "model.h"

namespace differential {

enum class ReplyKind {
    Good,            ///< What the device answers in a given state.
    RandomData,      ///< The right length and CRC, any data.
    Truncated,       ///< A good reply without its end.
    Extended,        ///< A good reply with bytes behind it.
    Corrupted,       ///< A good reply with one byte changed.
    Exception,       ///< The five bytes of a Modbus exception.
    Empty,           ///< Nothing came.
    RandomRightCrc,  ///< Any length, any bytes, the right CRC.
    RandomBytes,     ///< The right length, any bytes.
    TwoBytes,        ///< FF FF, the CRC of nothing.
    Echo             ///< The request itself.
};

const char* nameOf(ReplyKind kind);

/// A reply to the first of `frames` (any bytes when there is none). The device's values are a function of
/// register and `deviceState`; `place` chooses where and how a reply is spoilt.
std::vector<model::Byte> simulatedReply(const std::vector<model::Frame>& frames, ReplyKind kind,
                                        int deviceState, int place);

}  // namespace differential

#endif
