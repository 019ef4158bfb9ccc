/// \file
/// What goes on the wire next, and how it ends: recipe transfers first, then writes and condition reads in
/// bounded bursts, then the polling plan in turn. The exported intf_getSendFrame is declared in
/// korvalent_dx7.h.
#ifndef KORVALENT_DX7_OPERATIONS_H
#define KORVALENT_DX7_OPERATIONS_H

/// Ends the operation in progress (driver.opKind): drops or rotates its list entry, completes writes, reports
/// the end of condition reads, advances recipe transfers.
void dealListWhenFinish();

#endif
