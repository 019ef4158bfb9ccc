/// \file
/// dx7 with the driver it loads and dx7-device at the other end of a line, for tests.
#ifndef DX7_TESTS_END_TO_END_RIG_H
#define DX7_TESTS_END_TO_END_RIG_H

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "programs.h"
#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

using Words = std::vector<std::string>;
using Json = nlohmann::json;

enum class Carrier { PseudoTerminal, Tcp, ModbusTcp };

/// The name of a parameterised test.
std::string carrierName(const testing::TestParamInfo<Carrier>& info);

void PrintTo(Carrier carrier, std::ostream* out);

/// A device on a line, and dx7 run on that line.
class Rig {
public:
    explicit Rig(Carrier carrier, const Words& deviceOptions = {});

    DeviceProcess& device() { return *device_; }
    /// Sends a command to the running device and returns the first line of its answer.
    std::string tell(const std::string& command);
    /// Ends the device and returns what it printed at its end.
    std::string stopDevice();
    /// Starts it again at the same place.
    void startDevice();

    /// Of the device on TCP, running or not.
    int port() const { return port_; }
    /// "--serial", PATH, or "--tcp" or "--modbus-tcp", HOST:PORT.
    Words line() const;
    /// The whole command line of a command on this line.
    Words command(const Words& words) const;
    /// Runs a command on this line to its end.
    Finished dx7(const Words& words) const { return runToEnd(command(words)); }
    /// libmodbus's client on this line.
    std::unique_ptr<Client> client(int station = 1) const;
    std::string file(const std::string& name) const { return directory_.file(name); }

private:
    const char* tcpOption() const { return carrier_ == Carrier::Tcp ? "--tcp" : "--modbus-tcp"; }

    TemporaryDirectory directory_;
    Carrier carrier_;
    Words deviceOptions_;
    int port_ = 0;
    std::unique_ptr<DeviceProcess> device_;
};

/// dx7 without a line: the command's words with the driver named.
Words dx7Words(const Words& words);
/// Runs it to its end against a device on TCP ("127.0.0.1:PORT") that is waited for a tenth of a second.
Finished dx7At(const std::string& address, const Words& words);

/// Every line as a JSON object; a line that is none throws.
std::vector<Json> jsonLines(const std::string& output);
/// The first object that has the key; null when none has.
Json withKey(const std::vector<Json>& objects, const std::string& key);
/// The first object of the event; null when there is none.
Json ofEvent(const std::vector<Json>& objects, const std::string& event);
/// Whether the object has this value under the key.
bool has(const Json& object, const std::string& key, const Json& value);
/// The next object that a running program prints and `wanted` takes; null when none comes in time.
Json nextJson(Process& process, const std::function<bool(const Json&)>& wanted);

/// The number behind `label` in a text, as in "drop 3" for "drop "; -1 when it is not there.
long numberBehind(const std::string& text, const std::string& label);
/// Whether a process has a handler for the signal.
bool catches(pid_t process, int number);
void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);

/// Asks again and again until the condition holds. False when it does not in time.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds patience = std::chrono::seconds(10));

#endif
