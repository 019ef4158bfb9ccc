#include "tests/kit/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/kit/patience.h"

namespace kit {

namespace {

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;

    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        readEnd = ends[0];
        writeEnd = ends[1];
    }
};

// False at the end of the pipe.
bool take(int fd, std::string* text) {
    std::array<char, 4096> chunk{};
    const ssize_t count = ::read(fd, chunk.data(), chunk.size());
    text->append(chunk.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

void takeWhatIsThere(int fd, std::string* text) {
    pollfd one{fd, POLLIN, 0};
    while (::poll(&one, 1, 0) > 0 && take(fd, text)) {
    }
}

void takeTheRest(int fd, std::string* text) {
    while (take(fd, text)) {
    }
}

[[noreturn]] void becomeProgram(const std::vector<std::string>& command) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

}  // namespace

Process::Process(const std::vector<std::string>& command, bool standardInput,
                 const std::function<void()>& first) {
    const Pipe input;
    const Pipe output;
    const Pipe errors;
    pid_ = ::fork();
    if (pid_ == 0) {
        if (standardInput) {
            ::dup2(input.readEnd, STDIN_FILENO);
        } else {
            ::close(STDIN_FILENO);
        }
        ::dup2(output.writeEnd, STDOUT_FILENO);
        ::dup2(errors.writeEnd, STDERR_FILENO);
        if (first) {
            first();
        }
        becomeProgram(command);
    }
    ::close(input.readEnd);
    ::close(output.writeEnd);
    ::close(errors.writeEnd);
    input_ = input.writeEnd;
    output_ = output.readEnd;
    errors_ = errors.readEnd;
}

Process::~Process() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    closeInput();
    ::close(output_);
    ::close(errors_);
}

std::string Process::readLine(int patienceMs) {
    const auto until = Clock::now() + std::chrono::milliseconds(patienceMs);
    std::size_t end = buffer_.find('\n');
    while (end == std::string::npos && readable(output_, until)) {
        if (!take(output_, &buffer_)) {
            break;
        }
        end = buffer_.find('\n');
    }
    const std::string line = buffer_.substr(0, end == std::string::npos ? 0 : end);
    buffer_.erase(0, end == std::string::npos ? 0 : end + 1);
    return line;
}

void Process::type(const std::string& text) const {
    if (::write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the program takes no input");
    }
}

void Process::closeInput() {
    if (input_ >= 0) {
        ::close(input_);
        input_ = -1;
    }
}

void Process::signal(int number) const {
    ::kill(pid_, number);
}

double Process::processorSeconds() const {
    clockid_t clock = 0;
    timespec time{};
    if (::clock_getcpuclockid(pid_, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the program has ended");
    }
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

long Process::residentKb() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// What is there is taken while the program runs: one whose output nobody reads stops when the pipe is full.
Finished Process::finish(int patienceMs) {
    Finished result;
    const auto until = Clock::now() + std::chrono::milliseconds(patienceMs);
    int status = 0;
    pid_t ended = 0;
    while ((ended = ::waitpid(pid_, &status, WNOHANG)) == 0 && Clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        takeWhatIsThere(output_, &buffer_);
        takeWhatIsThere(errors_, &result.errors);
    }
    if (ended == 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    } else if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    pid_ = -1;
    takeTheRest(output_, &buffer_);
    takeTheRest(errors_, &result.errors);
    result.output = buffer_;
    return result;
}

Finished runToEnd(const std::vector<std::string>& command, int patienceMs) {
    Process process(command);
    process.closeInput();
    return process.finish(patienceMs);
}

}  // namespace kit
