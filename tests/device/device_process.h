/// \file
/// The program dx7-device, run as a user runs it, for tests.
#ifndef DX7_TESTS_DEVICE_DEVICE_PROCESS_H
#define DX7_TESTS_DEVICE_DEVICE_PROCESS_H

#include <modbus/modbus.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

/// How long a reply may take on a busy computer, and how long no reply is waited for where none is due.
enum : int { REPLY_TIMEOUT_MS = 3000, SILENCE_MS = 150 };

/// How long a program is waited for where nothing else is said.
enum : int { PATIENCE_MS = 10000 };

/// A directory of its own, removed with everything in it at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// What a finished program left.
struct Finished {
    int exitCode = -1;  ///< -1 when a signal ended it or it had to be killed.
    std::string output;
    std::string errors;
};

/// A running program with pipes to its standard streams. Killed at the end if it still runs. Every wait is
/// bounded.
class Process {
public:
    explicit Process(const std::vector<std::string>& command, bool standardInput = true);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// The next line of its output; empty when none comes in time.
    std::string readLine(int patienceMs = PATIENCE_MS);
    void type(const std::string& text) const;
    void closeInput();
    void signal(int number) const;
    pid_t id() const { return m_pid; }
    /// User and system time it has taken so far.
    double processorSeconds() const;
    /// Its resident memory.
    long residentKb() const;
    /// Waits for its end.
    Finished finish(int patienceMs = PATIENCE_MS);

private:
    std::string readAll(int fd);

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
    std::string m_buffer;
};

/// Runs a program to its end, with nothing on its standard input.
Finished runToEnd(const std::vector<std::string>& command, int patienceMs = PATIENCE_MS);

/// dx7-device that has said that it is ready.
class DeviceProcess : public Process {
public:
    /// `line` is "--pty", "PATH" or the like.
    DeviceProcess(const std::vector<std::string>& line, const std::vector<std::string>& options);

    const std::string& ready() const { return m_ready; }

    /// Ends it as Ctrl-C does.
    Finished stop();

private:
    std::string m_ready;
};

/// A TCP connection to a port of this computer; -1 when there is none.
int connectTo(int port);

/// libmodbus as client.
class Client {
public:
    /// Of a pseudo-terminal or serial port.
    explicit Client(const std::string& path, int station = 1);
    /// Of a connected socket that carries RTU frames, which it closes at the end.
    explicit Client(int socket, int station = 1);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    operator modbus_t*() const { return m_context; }
    /// REPLY_TIMEOUT_MS at first.
    void setTimeout(int milliseconds);

    /// The register, or minus the errno of the failure.
    int holding(int number) const;
    int input(int number) const;
    /// Sends a request without CRC as it stands and returns the reply without CRC, empty when there is none.
    std::vector<unsigned> raw(const std::vector<unsigned>& request) const;
    /// What arrives without a request, without CRC.
    std::vector<unsigned> receive() const;

private:
    int m_timeout = 0;
    modbus_t* m_context;
};

#endif
