// dx7 over Modbus/TCP: with dx7-device, with libmodbus's own server, and at ports that speak something else.
#include <arpa/inet.h>
#include <modbus/modbus.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <map>
#include <thread>

#include "fragile_device.h"
#include "rig.h"
#include "tests/kit/tcp_listener.h"

namespace {

class ModbusTcp : public testing::Test {
protected:
    Rig rig{Carrier::ModbusTcp, {"--stations", "1,2"}};
};

TEST_F(ModbusTcp, ReadsAndWritesWithoutAStatusQuery) {
    EXPECT_EQ(0, rig.dx7({"write", "F:3.0.20,3=1,2,3", "DO:1@2=1"}).exitCode);
    const Finished read = rig.dx7({"read", "F:3.0.20,3", "FAS:0", "DO:1@2"});
    EXPECT_EQ(0, read.exitCode) << read.errors;
    EXPECT_EQ("F:3.0.20@1 = 1\nF:3.0.21@1 = 2\nF:3.0.22@1 = 3\nFAS:0@1 = 1\nDO:1@2 = 1\n", read.output);
    const std::string seen = rig.stopDevice();
    EXPECT_EQ(std::string::npos, seen.find("FC 8")) << seen;
    EXPECT_EQ(1, numberBehind(seen, "FC 7: ")) << "FAS:0 alone, which the driver reads so:\n" << seen;
}

TEST_F(ModbusTcp, AnItemThatIsNotThereIsRefused) {
    const Finished run = rig.dx7({"read", "F:10.0.00"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "exception 2 (illegal data address)")) << run.errors;
}

TEST_F(ModbusTcp, ALineFileNamesIt) {
    writeFile(rig.file("line.toml"), "[line]\nmodbus_tcp = \"" + rig.line().back() + "\"\n");
    Words words = dx7Words({"read", "-c", rig.file("line.toml"), "AI:0@2"});
    EXPECT_EQ(0, runToEnd(words).exitCode);
}

TEST_F(ModbusTcp, MbpollReadsTheDevice) {
    rig.tell("set F:3.0.25=500");
    const Finished run =
        runToEnd({DX7_MBPOLL, "-m", "tcp", "-p", std::to_string(rig.port()), "-a", "1", "-t", "4", "-0", "-r",
                  std::to_string(0xF325), "-c", "1", "-1", "-q", "127.0.0.1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "500")) << run.output;
}

TEST_F(ModbusTcp, ARecordingReplaysAsRtuFrames) {
    EXPECT_EQ(0, rig.dx7({"read", "F:3.0.20", "--record", rig.file("line.pcap")}).exitCode);
    const Finished replay = runToEnd(dx7Words({"replay", rig.file("line.pcap")}));
    EXPECT_EQ(0, replay.exitCode) << replay.errors;
    EXPECT_TRUE(says(replay.output, "read holding registers")) << replay.output;
}

TEST_F(ModbusTcp, AMonitorGoesOnAfterALoss) {
    Process monitor(rig.command({"monitor", "--json", "AI:0", "--timeout", "100"}));
    const auto value = [](const char* quality) {
        return [quality](const Json& object) { return has(object, "quality", quality); };
    };
    ASSERT_FALSE(nextJson(monitor, value("good")).is_null());
    rig.stopDevice();
    ASSERT_FALSE(nextJson(monitor, value("bad")).is_null());
    rig.startDevice();
    EXPECT_FALSE(nextJson(monitor, value("good")).is_null());
    monitor.signal(SIGINT);
    EXPECT_EQ(0, monitor.finish().exitCode);
}

struct Order {
    const char* faults;
    Words options;
};

class ModbusTcpFaults : public testing::TestWithParam<Order> {};
INSTANTIATE_TEST_SUITE_P(Device, ModbusTcpFaults,
                         testing::Values(Order{"late=0.3", {"--late-by", "150"}},
                                         Order{"duplicate=0.5", {"--copy-after", "30"}},
                                         Order{"drop=0.2,late=0.2,duplicate=0.2", {"--late-by", "120"}},
                                         Order{"answer-before", {}}));

// What the values of this item have in their high byte, which tells their items apart (dx7-device
// --move-all).
int highByteOf(const std::string& item) {
    static const std::map<std::string, int> registers = {
        {"F:0.0.01@1", 0xF001}, {"F:1.0.02@1", 0xF102}, {"F:2.0.03@1", 0xF203}, {"F:3.0.04@1", 0xF304}};
    const int number = registers.at(item);
    return (number % 256 + 89 * (number / 256) + 61) % 256;
}

TEST_P(ModbusTcpFaults, NoValueIsThatOfAnotherRequest) {
    Words options{"--move-all", "--fault", GetParam().faults};
    options.insert(options.end(), GetParam().options.begin(), GetParam().options.end());
    const Rig rig(Carrier::ModbusTcp, options);
    const Finished run = rig.dx7({"monitor", "--json", "--seconds", "2", "--timeout", "100", "--stats",
                                  "F:0.0.01", "F:1.0.02", "F:2.0.03", "F:3.0.04"});
    const std::vector<Json> lines = jsonLines(run.output);
    int good = 0;
    for (const Json& line : lines) {
        EXPECT_FALSE(has(line, "quality", "doubtful")) << line;
        if (has(line, "quality", "good")) {
            ++good;
            EXPECT_EQ(highByteOf(line.at("item")), line.at("value").get<int>() / 256) << line;
        }
    }
    const Json all = ofEvent(lines, "statistics").at("all");
    EXPECT_EQ(0, all.at("status_queries")) << all;
    if (std::string(GetParam().faults) == "answer-before") {
        EXPECT_EQ(0, good) << "each reply has the id of the request before";
        EXPECT_GT(all.at("late").get<int>(), 0) << all;
    } else {
        EXPECT_GT(good, 4) << run.output;
        EXPECT_GT(all.at("late").get<int>() + all.at("surplus").get<int>(), 0) << all;
    }
}

TEST(ModbusTcpDevice, RefusesFaultsOfSerialLines) {
    for (const char* fault : {"corrupt=0.1", "truncate=0.1", "foreign=0.1", "second-master=0.1", "echo"}) {
        const Finished run = runToEnd({deviceProgram, "--modbus-tcp", "0", "--fault", fault});
        EXPECT_EQ(2, run.exitCode) << fault;
        EXPECT_TRUE(says(run.errors, "is one of serial lines")) << run.errors;
    }
    Rig rig(Carrier::ModbusTcp);
    EXPECT_TRUE(says(rig.tell("fault corrupt=1"), "is one of serial lines"));
}

// libmodbus's server, which shares no code with dx7-device's framing.
class LibmodbusServer {
public:
    LibmodbusServer() : context_(modbus_new_tcp("127.0.0.1", 0)), map_(modbus_mapping_new(0, 0, 65536, 0)) {
        thread_ = std::thread([this] { serve(); });
    }
    ~LibmodbusServer() {
        listener_.stop();
        thread_.join();
        modbus_mapping_free(map_);
        modbus_free(context_);
    }
    std::string address() const { return listener_.address(); }
    std::uint16_t& registerAt(int number) { return map_->tab_registers[number]; }

private:
    void serve() {
        int listener = listener_.number();
        while (modbus_tcp_accept(context_, &listener) >= 0) {
            std::uint8_t request[MODBUS_TCP_MAX_ADU_LENGTH];
            for (int length = modbus_receive(context_, request); length >= 0;
                 length = modbus_receive(context_, request)) {
                modbus_reply(context_, request, length, map_);
            }
            modbus_close(context_);
        }
    }

    modbus_t* context_;
    modbus_mapping_t* map_;
    kit::TcpListener listener_;
    std::thread thread_;
};

TEST(ModbusTcpServer, ThatOfLibmodbusIsReadAndWritten) {
    LibmodbusServer server;
    server.registerAt(0xF325) = 77;
    const Finished run =
        runToEnd(dx7Words({"read", "F:3.0.25", "--modbus-tcp", server.address(), "--timeout", "2000"}));
    EXPECT_EQ("F:3.0.25@1 = 77\n", run.output) << run.errors;
    EXPECT_EQ(0, runToEnd(dx7Words({"write", "F:3.0.25=78", "--no-verify", "--modbus-tcp", server.address(),
                                    "--timeout", "2000"}))
                     .exitCode);
    EXPECT_EQ(78, server.registerAt(0xE325));
}

// A port that sends `answer` to whatever comes, and closes when there is nothing to send.
class OtherPort {
public:
    enum class End { Close, Reset, Stay };

    OtherPort(std::string answer, End end) : answer_(std::move(answer)), end_(end) {
        thread_ = std::thread([this] { serve(); });
    }
    ~OtherPort() {
        over_ = true;
        listener_.stop();
        thread_.join();
    }
    std::string address() const { return listener_.address(); }

private:
    void serve() {
        for (int client = ::accept(listener_.number(), nullptr, nullptr); client >= 0;
             client = ::accept(listener_.number(), nullptr, nullptr)) {
            talk(client);
            if (end_ == End::Reset) {
                const linger now{1, 0};
                ::setsockopt(client, SOL_SOCKET, SO_LINGER, &now, sizeof now);
            }
            ::close(client);
        }
    }
    void talk(int client) const {
        while (!over_) {
            pollfd watched{client, POLLIN, 0};
            ::poll(&watched, 1, 20);
            char request[256];
            if (watched.revents == 0) {
                continue;
            }
            if (::read(client, request, sizeof request) <= 0) {
                return;
            }
            ::send(client, answer_.data(), answer_.size(), MSG_NOSIGNAL);
            if (end_ != End::Stay) {
                return;
            }
        }
    }

    std::string answer_;
    End end_;
    std::atomic<bool> over_{false};
    kit::TcpListener listener_;
    std::thread thread_;
};

constexpr const char* HINT = "does this port speak Modbus/TCP? (--modbus-tcp)";

class AtAnotherProtocol : public testing::TestWithParam<Words> {};
INSTANTIATE_TEST_SUITE_P(Commands, AtAnotherProtocol,
                         testing::Values(Words{"read", "F:3.0.25"}, Words{"write", "F:3.0.25=1"},
                                         Words{"scan", "--stations", "1-3"}, Words{"monitor", "AI:0"},
                                         Words{"monitor", "--seconds", "1", "AI:0"}));

TEST_P(AtAnotherProtocol, AConnectionThatEndsWithoutAByteIsAHint) {
    for (const OtherPort::End end : {OtherPort::End::Close, OtherPort::End::Reset}) {
        const OtherPort port("", end);
        const Finished run = dx7At(port.address(), GetParam());
        EXPECT_EQ(1, run.exitCode);
        EXPECT_TRUE(says(run.errors, HINT)) << run.errors;
    }
}

TEST_P(AtAnotherProtocol, AnAnswerWithAnMbapHeadIsAHint) {
    Words words = GetParam();
    if (words == Words{"monitor", "AI:0"}) {
        words.insert(words.end(), {"--count", "1"});
    }
    for (const OtherPort::End end : {OtherPort::End::Close, OtherPort::End::Stay}) {
        const OtherPort port(std::string("\x01\x03\x00\x00\x00\x03\x01\x83\x01", 9), end);
        const Finished run = dx7At(port.address(), words);
        EXPECT_EQ(1, run.exitCode);
        EXPECT_TRUE(says(run.errors, HINT)) << run.errors;
    }
}

TEST(AnRtuDevice, ThatLosesItsConnectionIsNoHint) {
    const FragileDevice device([](const FragileDevice::Frame&, int number) {
        Reaction reaction;
        reaction.close = number == 3;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"read", "F:3.0.20", "F:3.0.22", "F:3.0.24", "F:3.0.26"});
    EXPECT_FALSE(says(run.errors, HINT)) << run.errors;
}

TEST(AnRtuPort, AnswersModbusTcpWithAHintToTheOtherOption) {
    const OtherPort port(std::string("\x01\x03\x02\x00\x07\xf9\x86", 7), OtherPort::End::Stay);
    const Finished run =
        runToEnd(dx7Words({"read", "F:3.0.25", "--modbus-tcp", port.address(), "--timeout", "100"}));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "does this port carry RTU frames? (--tcp)")) << run.errors;
}

}  // namespace
