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

/// Never returns. What is written is far below the size of a pipe, so it goes in whole or not at all.
void runChild(const std::function<Figures()>& measurement, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        const Figures figures = measurement();
        const std::size_t bytes = figures.size() * sizeof(double);
        ::_exit(::write(output, figures.data(), bytes) == static_cast<ssize_t>(bytes) ? 0 : 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "measurement: %s\n", error.what());
        ::_exit(1);
    }
}

}  // namespace

Figures measureAlone(const std::function<Figures()>& measurement) {
    int pipe[2];
    if (::pipe(pipe) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        runChild(measurement, pipe[1]);
    }
    ::close(pipe[1]);
    Figures figures;
    for (double figure = 0; ::read(pipe[0], &figure, sizeof figure) == sizeof figure;) {
        figures.push_back(figure);
    }
    ::close(pipe[0]);
    int status = 1;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("a measuring process has failed");
    }
    return figures;
}

}  // namespace dx7bench
