/// \file
/// A hint to the processor.
#ifndef KORVALENT_DX7_PREFETCH_H
#define KORVALENT_DX7_PREFETCH_H

/// Has `record` brought into the cache while other work goes on; a hint without any effect on results.
inline void prefetch(const void* record) {
#if defined(__GNUC__)
    __builtin_prefetch(record);
#else
    static_cast<void>(record);
#endif
}

#endif
