/// \file
/// Programs run as a user runs them.
#ifndef DX7_TESTS_KIT_PROCESS_H
#define DX7_TESTS_KIT_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kit {

/// How long a program is waited for where nothing else is said.
constexpr int PATIENCE_MS = 10000;

/// What a finished program left.
struct Finished {
    /// -1 when a signal ended it or it had to be killed.
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// A running program with pipes to its standard streams. Killed at the end if it still runs. Every wait is
/// bounded.
class Process {
public:
    /// `first` is what the new process does before it becomes the program.
    explicit Process(const std::vector<std::string>& command, bool standardInput = true,
                     const std::function<void()>& first = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// The next line of its output; empty when none comes in time.
    std::string readLine(int patienceMs = PATIENCE_MS);
    void type(const std::string& text) const;
    void closeInput();
    void signal(int number) const;
    pid_t id() const { return pid_; }
    /// User and system time it has taken so far.
    double processorSeconds() const;
    /// Its resident memory.
    long residentKb() const;
    /// Waits for its end.
    Finished finish(int patienceMs = PATIENCE_MS);

private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string buffer_;
};

/// Runs a program to its end, with nothing on its standard input.
Finished runToEnd(const std::vector<std::string>& command, int patienceMs = PATIENCE_MS);

}  // namespace kit

#endif
