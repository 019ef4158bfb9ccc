// What dx7 listen pairs on a line with three ends, against what was said there.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <thread>

#include "rig.h"
#include "tests/kit/bus.h"

namespace {

struct Line {
    const char* name;
    int baud;
    bool mbpoll;
    double damage;
};
void PrintTo(const Line& line, std::ostream* out) {
    *out << line.name;
}

class ListenToABus : public testing::TestWithParam<Line> {};
INSTANTIATE_TEST_SUITE_P(Masters, ListenToABus,
                         testing::Values(Line{"mbpoll_at_9600", 9600, true, 0.01},
                                         Line{"mbpoll_at_115200", 115200, true, 0.01},
                                         Line{"monitor_at_9600", 9600, false, 0.01},
                                         Line{"monitor_at_115200", 115200, false, 0.01}),
                         [](const auto& row) { return std::string(row.param.name); });

// How many transactions are awaited; a long run has more.
int wanted(const Line& line) {
    const char* given = std::getenv("DX7_LISTEN_TRANSACTIONS");
    return given != nullptr ? std::atoi(given) : line.baud > 9600 && !line.mbpoll ? 600 : 100;
}

Words masterOf(const Line& line, const std::string& port) {
    const std::string baud = std::to_string(line.baud);
    if (line.mbpoll) {
        return {DX7_MBPOLL, "-m", "rtu",  "-a", "1", "-b", baud, "-P", "none", "-t", "3",
                "-0",       "-r", "4608", "-c", "4", "-l", "20", "-o", "0.5",  port};
    }
    return dx7Words({"monitor", "--json", "--serial", port, "--baud", baud, "--timeout", "200", "AI:0,4",
                     "F:3.0.20,9", "DI:1,6", "F:3.0.25@2", "FAS:0"});
}

std::string hexOf(const std::string& bytes) {
    static const char* const digits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        const auto number = static_cast<unsigned char>(byte);
        text += text.empty() ? "" : " ";
        text += digits[number >> 4U];
        text += digits[number & 15U];
    }
    return text;
}

struct Pair {
    std::string request;
    std::string reply;
    bool damaged;
};

// Frames of a message whose lengths `lengthOf` tells from their beginnings.
std::vector<std::string> framesOf(const std::string& bytes,
                                  const std::function<std::size_t(const std::string&)>& lengthOf) {
    std::vector<std::string> frames;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::string rest = bytes.substr(at);
        frames.push_back(rest.substr(0, lengthOf(rest)));
        at += frames.back().size();
    }
    return frames;
}

std::size_t requestLength(const std::string& bytes) {
    return bytes.size() > 1 && bytes[1] == 7 ? 4 : 8;
}

// Of refusals and status bytes 5, of the others as they say.
std::size_t replyLength(const std::string& bytes) {
    const bool reads = bytes.size() > 2 && bytes[1] > 0 && bytes[1] <= 4;
    return reads ? 5U + static_cast<unsigned char>(bytes[2]) : 5U;
}

bool answers(const std::string& reply, const std::string& request) {
    return reply.size() > 1 && reply[0] == request[0] && (reply[1] & 0x7F) == request[1];
}

// A device answers whole requests one by one, in order, be it late.
std::vector<Pair> transactions(const std::vector<Bus::Message>& messages) {
    std::vector<Pair> pairs;
    std::deque<std::string> asked;
    for (const Bus::Message& message : messages) {
        if (message.from == Bus::Master && !message.damaged) {
            const std::vector<std::string> requests = framesOf(message.bytes, requestLength);
            asked.insert(asked.end(), requests.begin(), requests.end());
        }
        if (message.from == Bus::Station) {
            for (const std::string& reply : framesOf(message.bytes, replyLength)) {
                // One that it did not hear was not answered.
                while (!asked.empty() && !answers(reply, asked.front())) {
                    asked.pop_front();
                }
                const bool known = !asked.empty();
                pairs.push_back({known ? hexOf(asked.front()) : "", hexOf(reply), message.damaged});
                asked.erase(asked.begin(), asked.begin() + (known ? 1 : 0));
            }
        }
    }
    return pairs;
}

// The few pairs from `first` on.
std::string textOf(const std::vector<Pair>& pairs, std::size_t first) {
    std::string text;
    for (std::size_t i = first; i < std::min(pairs.size(), first + 5); ++i) {
        text += "\n" + pairs[i].request + " | " + pairs[i].reply + (pairs[i].damaged ? " (damaged)" : "");
    }
    return text;
}

// Lines of a program up to its end.
std::vector<Json> remaining(Process& process) {
    return jsonLines(process.finish().output);
}

TEST_P(ListenToABus, UndamagedTransactionsArePairedRight) {
    const Line line = GetParam();
    const Bus bus(line.baud, line.damage, 5);
    const DeviceProcess device({"--serial", bus.port(Bus::Station)},
                               {"--baud", std::to_string(line.baud), "--stations", "1,2", "--fault",
                                line.mbpoll ? "exception=0.02" : "exception=0.02,drop=0.01"});
    Process listener(dx7Words(
        {"listen", "--json", "--serial", bus.port(Bus::Listener), "--baud", std::to_string(line.baud)}));
    ASSERT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    // It begins when it has dropped what was there.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const auto isExchange = [](const Json& object) { return has(object, "kind", "exchange"); };
    std::vector<Json> heard;
    {
        Process master(masterOf(line, bus.port(Bus::Master)));
        std::atomic<bool> over{false};
        std::thread drain([&] {
            while (!over) {
                master.readLine(100);
            }
        });
        while (static_cast<int>(heard.size()) < wanted(line)) {
            const Json next = nextJson(listener, isExchange);
            if (next.is_null()) {
                ADD_FAILURE() << "nothing is heard any more";
                break;
            }
            heard.push_back(next);
        }
        over = true;
        drain.join();
        master.signal(SIGINT);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    listener.signal(SIGINT);
    for (const Json& object : remaining(listener)) {
        if (isExchange(object)) {
            heard.push_back(object);
        }
    }
    const std::vector<Pair> said = transactions(bus.messages());
    int undamaged = 0;
    for (const Pair& pair : said) {
        undamaged += pair.damaged ? 0 : 1;
    }
    // In the order of the line: each is looked for among those that were not found yet.
    int right = 0;
    int wrong = 0;
    std::size_t next = 0;
    for (const Json& object : heard) {
        std::size_t i = next;
        while (i < said.size() &&
               !(object.at("request") == said[i].request && object.at("reply") == said[i].reply)) {
            ++i;
        }
        const bool found = i < said.size() && i < next + 20;
        wrong += found ? 0 : 1;
        if (!found && wrong <= 3) {
            std::printf("%s is not among these:%s\n", object.dump().c_str(), textOf(said, next).c_str());
        }
        right += found && !said[i].damaged ? 1 : 0;
        next = found ? i + 1 : next;
    }
    RecordProperty("undamaged", undamaged);
    RecordProperty("right", right);
    RecordProperty("wrong", wrong);
    EXPECT_LE(wanted(line), undamaged + 50);
    // A short run may have a few more by chance.
    EXPECT_LE(undamaged - right, 0.005 * undamaged + (line.damage > 0 ? 3 : 0)) << "of " << undamaged;
    EXPECT_LE(wrong, right / 100000);
    for (const Bus::Message& message : bus.messages()) {
        EXPECT_NE(Bus::Listener, message.from) << "no byte leaves";
    }
}

}  // namespace
