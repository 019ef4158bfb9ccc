/// \file
/// A device on TCP with registers that all hold 7 at first, and a script that breaks the conversation where a
/// test wants it.
#ifndef DX7_TESTS_END_TO_END_FRAGILE_DEVICE_H
#define DX7_TESTS_END_TO_END_FRAGILE_DEVICE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Function codes.
constexpr std::uint8_t READ = 3;
constexpr std::uint8_t WRITE_BIT = 5;
constexpr std::uint8_t WRITE = 6;
constexpr std::uint8_t STATUS = 7;
constexpr std::uint8_t DIAGNOSTICS = 8;
constexpr std::uint8_t WRITE_RUN = 16;

bool says(const std::string& text, const std::string& part);

/// What happens to a request.
struct Reaction {
    bool carryOut = true;
    bool answer = true;
    /// Answers in place of the reply when it is not 0; nothing is carried out then.
    int exception = 0;
    /// The connection ends after that.
    bool close = false;
    /// And without a farewell: the other end is told that bytes were lost.
    bool reset = false;
    /// Sent in place of the answer when it is not empty.
    std::string noise;
    /// Sent right before the answer.
    std::string before;
    /// The reply is cut after so many when it is not 0.
    int keptBytes = 0;
    /// The last byte of the reply's content is another one, with a good CRC.
    bool altered = false;
    /// The noise is sent over and over until the connection ends.
    bool endless = false;
};

class FragileDevice {
public:
    using Frame = std::vector<std::uint8_t>;
    /// Gets a whole request (CRC included) and its number among those of its function code, from 1. Called on
    /// the device's own thread.
    using Script = std::function<Reaction(const Frame& request, int number)>;

    explicit FragileDevice(Script script);
    ~FragileDevice();
    FragileDevice(const FragileDevice&) = delete;
    FragileDevice& operator=(const FragileDevice&) = delete;

    /// "127.0.0.1:PORT".
    std::string address() const;
    /// How many requests of a function code came, of all connections.
    int requests(int function) const;
    /// The register that a parameter has when it is read, such as 0xF320.
    int value(int number) const;
    /// All that came and was not a whole request with a good CRC.
    std::string strangeBytes() const;

private:
    void run();
    void serve(int client);
    bool react(int client, const Frame& request);
    Frame carryOut(const Frame& request, bool change);

    Script script_;
    int listener_ = -1;
    int stopRead_ = -1;
    int stopWrite_ = -1;
    mutable std::mutex mutex_;
    std::map<int, int> values_;
    std::map<int, int> requests_;
    std::string strange_;
    std::thread thread_;
};

#endif
