/// \file
/// Work that may take its time, on a thread of its own.
#ifndef DX7_HOST_HELPER_THREAD_H
#define DX7_HOST_HELPER_THREAD_H

#include <functional>

namespace dx7 {

/// Begins `work` on a new thread that goes on by itself and takes no signals: they are for the thread that
/// waits for them to end its waiting. 0, or the error number when no thread could be started; `work` is
/// dropped then.
int runAside(std::function<void()> work);

}  // namespace dx7

#endif
