/// \file
/// Read requests. Every builder encodes one request and appends it to driver.frameList; none rejects input:
/// values beyond 16 bits are truncated on the wire.
#ifndef KORVALENT_DX7_READFRAME_H
#define KORVALENT_DX7_READFRAME_H

#include "korvalent_dx7.h"

/// Builds the read request of any register type; an unknown type reads registers from 0x0000.
void getReadFrame(const VARIABLE& var);

/// Function codes 1 and 2: CW_bit, SW_bit, DO, RO, SDO, DI.
void readframe_bit(const VARIABLE& var);
/// Function codes 3 and 4 at the type's table offset: CW, SW, FIN.
void readframe_oneword(const VARIABLE& var);
/// Function codes 3 and 4 at a composed register number: F, D, DE, AI, MOD and unknown types.
void readframe_word(const VARIABLE& var);
/// Function code 7, the status query: FAS. Address and count do not reach the wire.
void QueryStatusFrame(const VARIABLE& var);

#endif
