/// \file
/// Measurements in processes of their own: each begins with a fresh heap, and none pays for what another left
/// behind.
#ifndef DX7_BENCH_WORKER_H
#define DX7_BENCH_WORKER_H

#include <sys/types.h>

#include <functional>
#include <vector>

namespace dx7bench {

/// The figures that one measurement gives.
using Figures = std::vector<double>;

/// A process that prepares itself once and then measures on request, so that several of them can take turns.
class Worker {
public:
    /// Measures the task with this number (0 or above). Lives in the worker.
    using Task = std::function<Figures(int)>;

    /// Forks; the child calls `prepare` and then its result for every request. Throws std::runtime_error when
    /// the system gives no process.
    explicit Worker(const std::function<Task()>& prepare);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Throws std::runtime_error when the worker has died.
    Figures measure(int task);

private:
    int requests_ = -1;
    int figures_ = -1;
    pid_t child_ = -1;
};

/// One measurement in a process that ends with it.
Figures measureAlone(const std::function<Figures()>& measurement);

}  // namespace dx7bench

#endif
