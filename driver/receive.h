/// \file
/// Judging and decoding replies. The exported intf_dealRcvFrame is declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_RECEIVE_H
#define KORVALENT_DX7_RECEIVE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include "korvalent_dx7.h"
#include "operations.h"  // IWYU pragma: export
#include "recipes.h"     // IWYU pragma: export

/// Judgement of a reply by length and CRC alone; station and function code are not looked at. Hosts rely on
/// this.
enum ReplyJudgement { REPLY_BAD = 0, REPLY_DATA = 1, REPLY_ACKNOWLEDGE = 2 };

/// Judges `len` reply bytes against the frame on the wire (driver.frameList must not be empty). Returns a
/// ReplyJudgement.
int check_rcv_data(const unsigned char* buf, int len);

/// Text that describes the frame on the wire and the size of its reply: "1#DO100(8)(0)".
QString getErrorInfo(const QByteArray& reply);

#endif
