/// \file
/// Write requests. Every builder appends at most one request to driver.frameList; what cannot be written
/// builds nothing.
#ifndef KORVALENT_DX7_WRITEFRAME_H
#define KORVALENT_DX7_WRITEFRAME_H

#include "korvalent_dx7.h"

/// Builds the write request of any type that has one in its row of the register map; of others nothing.
void getWriteFrame(const VARIABLE& var);

/// Function code 5 at the type's offset: one coil, ON when data byte 0 is 1, else OFF. Station 0 expects no
/// reply (only here).
void writeframe_bit(const VARIABLE& var);
/// Function code 6, to register 0x1300 for types whose row does not have it; nothing unless count is 1.
void writeframe_cwword(const VARIABLE& var);
/// Function code 6 for a count of 1, else 16, from 0x0000 for types whose row does not have it. Nothing when
/// the request exceeds the send buffer.
void writeframe_word(const VARIABLE& var);

#endif
