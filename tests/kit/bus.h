/// \file
/// A line with several ends, as RS-485 has: what one of them sends all others hear.
#ifndef DX7_TESTS_KIT_BUS_H
#define DX7_TESTS_KIT_BUS_H

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/kit/pseudo_terminal.h"

namespace kit {

/// Pseudo-terminals between which a thread carries bytes at the pace of a baud rate, and damages some of what
/// is said. It keeps what was said.
class Bus {
public:
    enum End { Master, Station, Listener, ENDS };

    /// What an end said without a pause.
    struct Message {
        End from = Master;
        std::string bytes;
        /// Others heard something else.
        bool damaged = false;
    };

    /// `damage`: the share of messages in which a bit is turned, or a byte is lost or added.
    explicit Bus(int baud, double damage = 0, unsigned seed = 1);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    const std::string& port(End end) const { return terminals_[end].name(); }
    /// What was said up to now, in order.
    std::vector<Message> messages() const;
    /// Says something itself, as soon as the line is free.
    void say(End from, const std::string& bytes);

private:
    using SteadyClock = std::chrono::steady_clock;
    struct Flying {
        End from;
        char byte;
        SteadyClock::time_point due;
    };

    void run();
    void hear(End from);
    void take(End from, const char* bytes, std::size_t count);
    int below(int limit);
    void put(End from, char byte);
    void deliver();

    std::array<PseudoTerminal, ENDS> terminals_;
    std::chrono::nanoseconds byteTime_;
    double damage_;
    std::mt19937 random_;
    mutable std::mutex mutex_;
    std::vector<Message> messages_;
    /// Where the message that is being said is damaged; -1 where it is not.
    int damageAt_ = -1;
    SteadyClock::time_point lastHeard_;
    std::deque<Flying> flying_;
    SteadyClock::time_point lastDue_;
    std::atomic<bool> over_{false};
    std::thread thread_;
};

}  // namespace kit

#endif
