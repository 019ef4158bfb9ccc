/// \file
/// What a program takes from the heap, seen by standing in for malloc and its relatives. Only the programs
/// that link heap_meter.cpp are metered, and their libraries with them.
#ifndef DX7_BENCH_HEAP_METER_H
#define DX7_BENCH_HEAP_METER_H

namespace dx7bench {

struct HeapFigures {
    long long allocations = 0;  ///< Calls that gave memory, realloc included.
    long long liveBytes = 0;    ///< Taken and not given back, since the meter was started; may be negative.
    long long peakBytes = 0;    ///< The highest liveBytes.
};

/// Starts counting from zero.
void startHeapMeter();

/// Stops counting; the figures since the start. Bytes are those of the allocator, with its rounding.
HeapFigures stopHeapMeter();

}  // namespace dx7bench

#endif
