#include "tests/kit/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

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
    m_pid = ::fork();
    if (m_pid == 0) {
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
    m_input = input.writeEnd;
    m_output = output.readEnd;
    m_errors = errors.readEnd;
}

Process::~Process() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    closeInput();
    ::close(m_output);
    ::close(m_errors);
}

std::string Process::readLine(int patienceMs) {
    const auto until = Clock::now() + std::chrono::milliseconds(patienceMs);
    std::size_t end = m_buffer.find('\n');
    while (end == std::string::npos && readable(m_output, until)) {
        char chunk[4096];
        const ssize_t count = ::read(m_output, chunk, sizeof chunk);
        if (count <= 0) {
            break;
        }
        m_buffer.append(chunk, static_cast<std::size_t>(count));
        end = m_buffer.find('\n');
    }
    const std::string line = m_buffer.substr(0, end == std::string::npos ? 0 : end);
    m_buffer.erase(0, end == std::string::npos ? 0 : end + 1);
    return line;
}

void Process::type(const std::string& text) const {
    if (::write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the program takes no input");
    }
}

void Process::closeInput() {
    if (m_input >= 0) {
        ::close(m_input);
        m_input = -1;
    }
}

void Process::signal(int number) const {
    ::kill(m_pid, number);
}

double Process::processorSeconds() const {
    clockid_t clock = 0;
    timespec time{};
    if (::clock_getcpuclockid(m_pid, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the program has ended");
    }
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

long Process::residentKb() const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

Finished Process::finish(int patienceMs) {
    Finished result;
    const auto until = Clock::now() + std::chrono::milliseconds(patienceMs);
    int status = 0;
    pid_t ended = 0;
    while ((ended = ::waitpid(m_pid, &status, WNOHANG)) == 0 && Clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (ended == 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    } else if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    m_pid = -1;
    result.output = m_buffer + readAll(m_output);
    result.errors = readAll(m_errors);
    return result;
}

std::string Process::readAll(int fd) {
    std::string text;
    char chunk[4096];
    for (ssize_t count = ::read(fd, chunk, sizeof chunk); count > 0;
         count = ::read(fd, chunk, sizeof chunk)) {
        text.append(chunk, static_cast<std::size_t>(count));
    }
    return text;
}

Finished runToEnd(const std::vector<std::string>& command, int patienceMs) {
    Process process(command);
    process.closeInput();
    return process.finish(patienceMs);
}

}  // namespace kit
