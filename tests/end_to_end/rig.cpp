#include "rig.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

std::string carrierName(const testing::TestParamInfo<Carrier>& info) {
    switch (info.param) {
        case Carrier::Tcp:
            return "Tcp";
        case Carrier::ModbusTcp:
            return "ModbusTcp";
        default:
            return "PseudoTerminal";
    }
}

void PrintTo(Carrier carrier, std::ostream* out) {
    *out << (carrier == Carrier::Tcp         ? "TCP"
             : carrier == Carrier::ModbusTcp ? "Modbus/TCP"
                                             : "pseudo-terminal");
}

Rig::Rig(Carrier carrier, const Words& deviceOptions) : carrier_(carrier), deviceOptions_(deviceOptions) {
    startDevice();
}

void Rig::startDevice() {
    const bool tcp = carrier_ != Carrier::PseudoTerminal;
    const Words place =
        tcp ? Words{tcpOption(), std::to_string(port_)} : Words{"--pty", directory_.file("line")};
    device_ = std::make_unique<DeviceProcess>(place, deviceOptions_);
    if (tcp) {
        port_ = device_->tcpPort();
    }
}

std::string Rig::tell(const std::string& command) {
    device_->type(command + "\n");
    return device_->readLine();
}

std::string Rig::stopDevice() {
    return device_->stop().output;
}

Words Rig::line() const {
    return carrier_ == Carrier::PseudoTerminal ? Words{"--serial", directory_.file("line")}
                                               : Words{tcpOption(), "127.0.0.1:" + std::to_string(port_)};
}

Words Rig::command(const Words& words) const {
    Words all = dx7Words(words);
    for (const std::string& word : line()) {
        all.push_back(word);
    }
    return all;
}

std::unique_ptr<Client> Rig::client(int station) const {
    if (carrier_ == Carrier::PseudoTerminal) {
        return std::make_unique<Client>(directory_.file("line"), station);
    }
    const bool rtu = carrier_ == Carrier::Tcp;
    return std::make_unique<Client>(connectTo(port_), station,
                                    rtu ? Client::Protocol::Rtu : Client::Protocol::ModbusTcp);
}

const char* const dx7Program = DX7_PROGRAM;
const char* const driverLibrary = DX7_LIBRARY;

Words dx7Words(const Words& words) {
    Words all{dx7Program};
    all.insert(all.end(), words.begin(), words.end());
    if (words.front() != "replay") {
        all.insert(all.end(), {"--driver", driverLibrary});
    }
    return all;
}

Finished dx7At(const std::string& address, const Words& words) {
    Words all = dx7Words(words);
    all.insert(all.end(), {"--tcp", address, "--timeout", "100"});
    return runToEnd(all);
}

std::vector<Json> jsonLines(const std::string& output) {
    std::vector<Json> objects;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(Json::parse(line));
    }
    return objects;
}

Json withKey(const std::vector<Json>& objects, const std::string& key) {
    for (const Json& object : objects) {
        if (object.contains(key)) {
            return object;
        }
    }
    return Json();
}

Json ofEvent(const std::vector<Json>& objects, const std::string& event) {
    for (const Json& object : objects) {
        if (has(object, "event", event)) {
            return object;
        }
    }
    return Json();
}

bool has(const Json& object, const std::string& key, const Json& value) {
    return object.contains(key) && object.at(key) == value;
}

Json nextJson(Process& process, const std::function<bool(const Json&)>& wanted) {
    for (std::string line = process.readLine(); !line.empty(); line = process.readLine()) {
        Json object = Json::parse(line);
        if (wanted(object)) {
            return object;
        }
    }
    return Json();
}

long numberBehind(const std::string& text, const std::string& label) {
    const std::size_t at = text.find(label);
    return at == std::string::npos ? -1 : std::strtol(text.c_str() + at + label.size(), nullptr, 10);
}

bool catches(pid_t process, int number) {
    const std::string status = readFile("/proc/" + std::to_string(process) + "/status");
    const std::size_t at = status.find("SigCgt:");
    return at != std::string::npos &&
           (std::stoull(status.substr(at + 7), nullptr, 16) >> (number - 1) & 1U) != 0;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}
