/// \file
/// Write requests. Every builder appends at most one request to driver.frameList; what cannot be written
/// builds nothing.
#ifndef KORVALENT_DX7_WRITEFRAME_H
#define KORVALENT_DX7_WRITEFRAME_H

#include "korvalent_dx7.h"

/// Builds the write request of CW_bit, DO, RO, SDO, CW, F and MOD; any other type builds nothing.
void getWriteFrame(const VARIABLE& var);

/// Function code 5: one coil, ON when data byte 0 is 1, else OFF. Station 0 expects no reply (only here).
void writeframe_bit(const VARIABLE& var);
/// Function code 6 to register 0x1300, whatever the address; nothing unless count is 1.
void writeframe_cwword(const VARIABLE& var);
/// Function code 6 for a count of 1, else 16: F, MOD. Nothing when the request exceeds the send buffer.
void writeframe_word(const VARIABLE& var);

#endif
