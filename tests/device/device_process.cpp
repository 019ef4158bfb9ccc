#include "device_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

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

bool readable(int fd, Clock::time_point until) {
    pollfd one{fd, POLLIN, 0};
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
    return left > 0 && ::poll(&one, 1, static_cast<int>(left)) > 0;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "dx7-device-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

Process::Process(const std::vector<std::string>& command, bool standardInput) {
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
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/stat");
    std::ostringstream text;
    text << file.rdbuf();
    // The fields behind the program's name, which stands in brackets: state is the first, the times 12
    // and 13.
    std::istringstream fields(text.str().substr(text.str().rfind(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; ++i) {
        fields >> skipped;
    }
    long user = 0;
    long kernel = 0;
    fields >> skipped >> user >> kernel;
    return static_cast<double>(user + kernel) / static_cast<double>(::sysconf(_SC_CLK_TCK));
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

namespace {

std::vector<std::string> deviceCommand(const std::vector<std::string>& line,
                                       const std::vector<std::string>& options) {
    std::vector<std::string> command{DX7_DEVICE_PROGRAM};
    command.insert(command.end(), line.begin(), line.end());
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

}  // namespace

DeviceProcess::DeviceProcess(const std::vector<std::string>& line, const std::vector<std::string>& options)
    : Process(deviceCommand(line, options)) {
    m_ready = readLine();
}

Finished DeviceProcess::stop() {
    signal(SIGINT);
    return finish();
}

int connectTo(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

Client::Client(const std::string& path, int station)
    : m_context(modbus_new_rtu(path.c_str(), 9600, 'N', 8, 1)) {
    modbus_set_slave(m_context, station);
    if (modbus_connect(m_context) != 0) {
        throw std::runtime_error("cannot open " + path + ": " + modbus_strerror(errno));
    }
    setTimeout(REPLY_TIMEOUT_MS);
}

Client::Client(int socket, int station) : m_context(modbus_new_rtu("/dev/null", 9600, 'N', 8, 1)) {
    modbus_set_slave(m_context, station);
    modbus_set_socket(m_context, socket);
    setTimeout(REPLY_TIMEOUT_MS);
}

Client::~Client() {
    modbus_close(m_context);
    modbus_free(m_context);
}

void Client::setTimeout(int milliseconds) {
    m_timeout = milliseconds;
    modbus_set_response_timeout(m_context, static_cast<std::uint32_t>(milliseconds / 1000),
                                static_cast<std::uint32_t>(milliseconds % 1000 * 1000));
}

int Client::holding(int number) const {
    std::uint16_t value = 0;
    return modbus_read_registers(m_context, number, 1, &value) == 1 ? value : -errno;
}

int Client::input(int number) const {
    std::uint16_t value = 0;
    return modbus_read_input_registers(m_context, number, 1, &value) == 1 ? value : -errno;
}

std::vector<unsigned> Client::raw(const std::vector<unsigned>& request) const {
    const std::vector<std::uint8_t> bytes(request.begin(), request.end());
    modbus_send_raw_request(m_context, bytes.data(), static_cast<int>(bytes.size()));
    return receive();
}

std::vector<unsigned> Client::receive() const {
    std::uint8_t reply[MODBUS_MAX_ADU_LENGTH];
    const int fd = modbus_get_socket(m_context);
    std::vector<unsigned> received;
    auto until = Clock::now() + std::chrono::milliseconds(m_timeout);
    // A reply is over when nothing has come for a while; its length is what the test wants to know.
    while (readable(fd, until)) {
        const ssize_t count = ::read(fd, reply, sizeof reply);
        if (count <= 0) {
            break;
        }
        received.insert(received.end(), reply, reply + count);
        until = Clock::now() + std::chrono::milliseconds(60);
    }
    received.resize(received.size() < 2 ? 0 : received.size() - 2);
    return received;
}
