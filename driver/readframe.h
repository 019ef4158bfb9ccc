/// \file
/// Read requests. Every builder encodes one request and appends it to driver.frameList; none rejects input:
/// what does not fit its field is truncated on the wire.
#ifndef KORVALENT_DX7_READFRAME_H
#define KORVALENT_DX7_READFRAME_H

#include "korvalent_dx7.h"

/// Builds the read request of any register type, as its row in the register map says.
void getReadFrame(const VARIABLE& var);

/// Bits: function code 2 for types that have it in their row, else 1, at the type's offset.
void readframe_bit(const VARIABLE& var);
/// Words numbered by the type's offset: function code 4 for types that have it in their row, else 3.
void readframe_oneword(const VARIABLE& var);
/// Words numbered otherwise, as their row says; any other type reads from 0x0000 with function code 3.
void readframe_word(const VARIABLE& var);
/// Function code 7, the status query. Type, address and count do not reach the wire.
void QueryStatusFrame(const VARIABLE& var);

#endif
