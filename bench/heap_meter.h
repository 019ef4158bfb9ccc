/// \file
/// How often a program takes memory from the heap, seen by replacing malloc and its relatives. Only the
/// programs that link heap_meter.cpp are metered, and their libraries with them.
#ifndef DX7_BENCH_HEAP_METER_H
#define DX7_BENCH_HEAP_METER_H

namespace dx7bench {

/// Starts counting from zero.
void startHeapMeter();

/// Stops counting; the calls that gave memory since the start, realloc included.
long long stopHeapMeter();

}  // namespace dx7bench

#endif
