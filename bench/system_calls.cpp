#include "system_calls.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

namespace dx7bench {

namespace {

// Marks where counting begins and ends; nothing else calls it.
const long MARK = SYS_getppid;

[[noreturn]] void runTraced(const std::function<std::function<void()>()>& prepare) {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
    try {
        const std::function<void()> counted = prepare();
        ::syscall(MARK);
        counted();
        ::syscall(MARK);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "system calls: %s\n", error.what());
        ::_exit(1);
    }
    ::_exit(0);
}

// The number of the call that the process is about to make; -1 at other stops.
long callAt(pid_t process) {
    __ptrace_syscall_info info{};
    const bool told = ::ptrace(static_cast<__ptrace_request>(PTRACE_GET_SYSCALL_INFO), process,
                               reinterpret_cast<void*>(sizeof info), &info) > 0;
    return told && info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
}

}  // namespace

long systemCalls(const std::function<std::function<void()>()>& prepare) {
    std::fflush(nullptr);
    const pid_t process = ::fork();
    if (process == 0) {
        runTraced(prepare);
    }
    int status = 0;
    int marks = 0;
    long calls = 0;
    ::waitpid(process, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, process, nullptr,
             reinterpret_cast<void*>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
    while (WIFSTOPPED(status)) {
        const bool call = WSTOPSIG(status) == (SIGTRAP | 0x80);
        const long number = call ? callAt(process) : -1;
        marks += number == MARK ? 1 : 0;
        calls += number >= 0 && number != MARK && marks == 1 ? 1 : 0;
        const long signal = call || WSTOPSIG(status) == SIGSTOP ? 0 : WSTOPSIG(status);
        ::ptrace(PTRACE_SYSCALL, process, nullptr, reinterpret_cast<void*>(signal));
        ::waitpid(process, &status, 0);
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || marks != 2) {
        throw std::runtime_error("the system calls cannot be counted here");
    }
    return calls;
}

}  // namespace dx7bench
