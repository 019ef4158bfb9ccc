/// \file
/// A look at a serial line before a command sends anything.
#ifndef DX7_CLI_LISTENING_H
#define DX7_CLI_LISTENING_H

#include <QString>

#include "host/exchange/frame_tap.h"
#include "host/exchange/line_listener.h"
#include "host/line/poller.h"

namespace dx7::cli {

/// Listens to the opened line, which the poller watches, as long as a LineListener asks for, and hands what
/// is heard to the tap (borrowed; null = none). A signal or the loss of the line ends it. Passes on what the
/// tap throws.
QVector<HeardPiece> listen(Line& line, Poller& poller, const LineSettings& settings, FrameTap* tap);

/// "another master is on this line: ...", with what it asks for; empty when no frame was heard.
QString otherMasterText(const QVector<HeardPiece>& pieces);

/// What the frames that were heard ask for, or say; empty when none was heard.
QString heardText(const QVector<HeardPiece>& pieces);

/// "12 bytes without a valid CRC came ...": empty when none were heard.
QString strayText(const QVector<HeardPiece>& pieces);

}  // namespace dx7::cli

#endif
