#include "worker.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

namespace dx7bench {

namespace {

// Asked for instead of a task. A closed pipe would not do: workers made later hold its other end, too.
const int STOP = -1;

bool readAll(int descriptor, void* target, std::size_t bytes) {
    auto* at = static_cast<char*>(target);
    while (bytes > 0) {
        const ssize_t count = ::read(descriptor, at, bytes);
        if (count <= 0) {
            return false;
        }
        at += count;
        bytes -= static_cast<std::size_t>(count);
    }
    return true;
}

// What is written here is far below the size of a pipe, so it goes in whole or not at all.
bool writeAll(int descriptor, const void* source, std::size_t bytes) {
    return ::write(descriptor, source, bytes) == static_cast<ssize_t>(bytes);
}

void serve(int requests, int figures, const std::function<Worker::Task()>& prepare) {
    const Worker::Task task = prepare();
    int wanted = 0;
    while (readAll(requests, &wanted, sizeof wanted) && wanted != STOP) {
        const Figures result = task(wanted);
        const std::size_t count = result.size();
        if (!writeAll(figures, &count, sizeof count) ||
            !writeAll(figures, result.data(), count * sizeof(double))) {
            return;
        }
    }
}

}  // namespace

Worker::Worker(const std::function<Task()>& prepare) {
    int requests[2];
    int figures[2];
    if (::pipe(requests) != 0 || ::pipe(figures) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    std::fflush(nullptr);
    child_ = ::fork();
    if (child_ < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (child_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(requests[1]);
        ::close(figures[0]);
        try {
            serve(requests[0], figures[1], prepare);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "worker: %s\n", error.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(requests[0]);
    ::close(figures[1]);
    requests_ = requests[1];
    figures_ = figures[0];
}

Worker::~Worker() {
    writeAll(requests_, &STOP, sizeof STOP);
    ::close(requests_);
    ::close(figures_);
    ::waitpid(child_, nullptr, 0);
}

Figures Worker::measure(int task) {
    std::size_t count = 0;
    if (!writeAll(requests_, &task, sizeof task) || !readAll(figures_, &count, sizeof count)) {
        throw std::runtime_error("a measuring process has ended early");
    }
    Figures result(count);
    if (!readAll(figures_, result.data(), count * sizeof(double))) {
        throw std::runtime_error("a measuring process has ended early");
    }
    return result;
}

Figures measureAlone(const std::function<Figures()>& measurement) {
    Worker worker([&]() -> Worker::Task { return [&](int) { return measurement(); }; });
    return worker.measure(0);
}

}  // namespace dx7bench
