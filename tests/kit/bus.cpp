#include "tests/kit/bus.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

namespace kit {

namespace {

constexpr int BITS_PER_BYTE = 10;
// A pause of so long ends what an end says.
constexpr std::chrono::milliseconds PAUSE(5);
// One of so many bytes is damaged; not the first one, before which another one might leave a whole frame.
constexpr int DAMAGED_BYTES = 7;

}  // namespace

Bus::Bus(int baud, double damage, unsigned seed)
    : byteTime_(std::chrono::nanoseconds(std::chrono::seconds(1)) * BITS_PER_BYTE / baud),
      damage_(damage),
      random_(seed),
      thread_([this] { run(); }) {}

Bus::~Bus() {
    over_ = true;
    thread_.join();
}

std::vector<Bus::Message> Bus::messages() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return messages_;
}

void Bus::say(End from, const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    take(from, bytes.data(), bytes.size());
}

void Bus::run() {
    while (!over_) {
        std::array<pollfd, ENDS> ends{};
        for (std::size_t i = 0; i < ENDS; ++i) {
            ends.at(i) = {terminals_.at(i).end(), POLLIN, 0};
        }
        timespec wait{0, 10000000};
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (!flying_.empty()) {
                const auto left = std::chrono::nanoseconds(flying_.front().due - SteadyClock::now()).count();
                wait.tv_nsec = std::clamp<long>(left, 0, wait.tv_nsec);
            }
        }
        ::ppoll(ends.data(), ENDS, &wait, nullptr);
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const End end : {Master, Station, Listener}) {
            hear(end);
        }
        deliver();
    }
}

void Bus::hear(End from) {
    std::array<char, 512> bytes{};
    const ssize_t count = ::read(terminals_.at(from).end(), bytes.data(), bytes.size());
    if (count > 0) {
        take(from, bytes.data(), static_cast<std::size_t>(count));
    }
}

void Bus::take(End from, const char* bytes, std::size_t count) {
    const auto now = SteadyClock::now();
    if (messages_.empty() || messages_.back().from != from || now - lastHeard_ > PAUSE) {
        messages_.push_back({from, "", false});
        const bool damaged = std::uniform_real_distribution<>(0, 1)(random_) < damage_;
        damageAt_ = damaged ? 1 + below(DAMAGED_BYTES) : -1;
    }
    Message& message = messages_.back();
    for (std::size_t i = 0; i < count; ++i) {
        const bool here = static_cast<int>(message.bytes.size()) == damageAt_;
        message.bytes += bytes[i];
        message.damaged = message.damaged || here;
        const int kind = here ? below(3) : 3;
        if (kind == 2) {
            put(from, static_cast<char>(below(256)));
        }
        if (kind != 0) {
            put(from, kind == 1 ? static_cast<char>(bytes[i] ^ (1 << below(8))) : bytes[i]);
        }
    }
    lastHeard_ = now;
}

int Bus::below(int limit) {
    return static_cast<int>(random_() % static_cast<unsigned>(limit));
}

void Bus::put(End from, char byte) {
    lastDue_ = std::max(lastDue_, SteadyClock::now()) + byteTime_;
    flying_.push_back({from, byte, lastDue_});
}

void Bus::deliver() {
    const auto now = SteadyClock::now();
    while (!flying_.empty() && flying_.front().due <= now) {
        const Flying flying = flying_.front();
        flying_.pop_front();
        for (const End end : {Master, Station, Listener}) {
            if (end != flying.from) {
                const ssize_t written = ::write(terminals_.at(end).end(), &flying.byte, 1);
                static_cast<void>(written);
            }
        }
    }
}

}  // namespace kit
