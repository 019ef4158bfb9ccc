// Faults of the line as a client finds them, over a pseudo-terminal, a serial port and TCP.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>

#include "device/line/frame.h"
#include "tests/kit/crc.h"
#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/patience.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

using dx7sim::Bytes;

enum class Carrier { PseudoTerminal, SerialPort, Tcp };

const Bytes READ = withCrc({1, 3, 0xF3, 0x25, 0, 1});
const Bytes READ_REPLY = withCrc({1, 3, 2, 0x01, 0x45});
const Bytes READ_NEXT = withCrc({1, 3, 0xF3, 0x26, 0, 1});
const Bytes READ_NEXT_REPLY = withCrc({1, 3, 2, 0x01, 0x46});

Bytes joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class LineFaults : public testing::TestWithParam<Carrier> {
protected:
    ~LineFaults() override {
        ::close(farEnd);
        ::close(nearEnd);
    }

    void start(const std::vector<std::string>& options) {
        std::vector<std::string> line{"--tcp", "0"};
        if (GetParam() == Carrier::PseudoTerminal) {
            line = {"--pty", directory.file("line")};
        } else if (GetParam() == Carrier::SerialPort) {
            char path[64] = {};
            ASSERT_EQ(::openpty(&farEnd, &nearEnd, path, nullptr, nullptr), 0);
            // The device must not hold the ends open itself.
            ::fcntl(farEnd, F_SETFD, FD_CLOEXEC);
            ::fcntl(nearEnd, F_SETFD, FD_CLOEXEC);
            line = {"--serial", path};
        }
        device = std::make_unique<DeviceProcess>(line, options);
        connect();
    }

    void connect() {
        client.reset();
        if (GetParam() == Carrier::PseudoTerminal) {
            client = std::make_unique<Client>(directory.file("line"));
        } else if (GetParam() == Carrier::SerialPort) {
            client = std::make_unique<Client>(::dup(farEnd));
        } else {
            client = std::make_unique<Client>(connectTo(device->tcpPort()));
        }
    }

    void send(const Bytes& bytes) const {
        ASSERT_EQ(::write(modbus_get_socket(*client), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

    // The next `count` bytes, fewer when they do not come within `milliseconds`.
    Bytes take(std::size_t count, int milliseconds = REPLY_TIMEOUT_MS) const {
        Bytes bytes;
        const auto until = Clock::now() + std::chrono::milliseconds(milliseconds);
        const int line = modbus_get_socket(*client);
        while (bytes.size() < count && readable(line, until)) {
            Bytes chunk(count - bytes.size());
            const ssize_t length = ::read(line, chunk.data(), chunk.size());
            if (length <= 0) {
                break;
            }
            bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + length);
        }
        return bytes;
    }

    bool isSilent() const { return take(1, SILENCE_MS).empty(); }

    // How many faults of a kind the device says that it made.
    long made(const std::string& fault) {
        device->type("summary\n");
        std::string line = device->readLine();
        while (line.rfind("faults made:", 0) != 0 && !line.empty()) {
            line = device->readLine();
        }
        const std::size_t at = line.find(" " + fault + " ");
        return at == std::string::npos ? -1 : std::stol(line.substr(at + fault.size() + 2));
    }

    void command(const std::string& text) {
        device->type(text + "\n");
        ASSERT_EQ(device->readLine(), "faults changed");
    }

    TemporaryDirectory directory;
    std::unique_ptr<DeviceProcess> device;
    std::unique_ptr<Client> client;
    int farEnd = -1;
    int nearEnd = -1;
};

std::string carrierName(const testing::TestParamInfo<Carrier>& carrier) {
    const char* const names[] = {"PseudoTerminal", "SerialPort", "Tcp"};
    return names[static_cast<std::size_t>(carrier.param)];
}

INSTANTIATE_TEST_SUITE_P(Line, LineFaults,
                         testing::Values(Carrier::PseudoTerminal, Carrier::SerialPort, Carrier::Tcp),
                         carrierName);

TEST_P(LineFaults, SendTheReplyTwice) {
    start({"--fault", "duplicate=1"});
    send(READ);
    EXPECT_EQ(take(14), joined({READ_REPLY, READ_REPLY}));
    EXPECT_TRUE(isSilent());
    EXPECT_EQ(made("duplicate"), 1);
}

TEST_P(LineFaults, SendTheCopyAfterATimeWhateverIsAsked) {
    start({"--fault", "duplicate=1", "--copy-after", "1000"});
    const auto asked = Clock::now();
    send(READ);
    EXPECT_EQ(take(7), READ_REPLY);
    command("fault none");
    send(READ_NEXT);
    EXPECT_EQ(take(7), READ_NEXT_REPLY);
    EXPECT_EQ(take(7), READ_REPLY);
    EXPECT_GE(Clock::now() - asked, std::chrono::milliseconds(1000));
    EXPECT_TRUE(isSilent());
}

TEST_P(LineFaults, DelayEachReplyByTheTimeThatTheDeviceWorks) {
    start({"--fault", "delay=200"});
    const auto asked = Clock::now();
    send(joined({READ, READ_NEXT}));
    EXPECT_EQ(take(7), READ_REPLY);
    EXPECT_GE(Clock::now() - asked, std::chrono::milliseconds(200));
    EXPECT_EQ(take(7), READ_NEXT_REPLY);
    EXPECT_GE(Clock::now() - asked, std::chrono::milliseconds(400)) << "one request after the other";
    EXPECT_EQ(made("delay"), 2);
}

TEST_P(LineFaults, EchoEveryByteBeforeTheReply) {
    start({"--fault", "echo"});
    send(READ);
    EXPECT_EQ(take(15), joined({READ, READ_REPLY}));
    send(joined({READ, READ_NEXT}));
    const Bytes both = take(30);
    EXPECT_EQ(both, joined({READ, READ_NEXT, READ_REPLY, READ_NEXT_REPLY}));
    send({0x00, 0xFF, 0x11, 0x13, 0x0A, 0x0D});
    EXPECT_EQ(take(6), (Bytes{0x00, 0xFF, 0x11, 0x13, 0x0A, 0x0D})) << "noise as well";
    EXPECT_TRUE(isSilent());
    EXPECT_EQ(made("echo"), 3);
}

TEST_P(LineFaults, EchoAloneWhereNothingIsAnswered) {
    start({"--fault", "echo,silent=2", "--stations", "1,2"});
    for (const std::uint8_t station : Bytes{2, 3, 0}) {
        const Bytes request = withCrc({station, 6, 0xE3, 0x25, 0, 7});
        send(request);
        EXPECT_EQ(take(8), request) << int(station);
        EXPECT_TRUE(isSilent()) << int(station);
    }
    send(READ);
    EXPECT_EQ(take(15), joined({READ, withCrc({1, 3, 2, 0, 7})})) << "the broadcast was carried out";
}

TEST_P(LineFaults, EchoAShareOfTheRequestsWhole) {
    start({"--fault", "echo=0.5"});
    long echoes = 0;
    for (int i = 0; i < 40; ++i) {
        send(READ);
        Bytes reply = take(7);
        if (reply != READ_REPLY) {
            const Bytes rest = take(8);
            reply.insert(reply.end(), rest.begin(), rest.end());
            EXPECT_EQ(reply, joined({READ, READ_REPLY}));
            ++echoes;
        }
    }
    EXPECT_GT(echoes, 5);
    EXPECT_LT(echoes, 35);
    EXPECT_EQ(made("echo"), echoes);
}

TEST_P(LineFaults, LetASecondMasterBeHeard) {
    start({"--fault", "second-master=1"});
    std::set<std::string> others;
    int before = 0;
    for (int i = 0; i < 40; ++i) {
        send(READ);
        const Bytes first = take(7);
        const Bytes second = take(7);
        ASSERT_EQ(second.size(), 7U);
        const bool isBefore = second == READ_REPLY;
        ASSERT_TRUE(isBefore || first == READ_REPLY) << "the right reply is one of them";
        const Bytes& other = isBefore ? first : second;
        ASSERT_TRUE(dx7sim::endsInGoodCrc(other, other.size()));
        EXPECT_EQ(Bytes(other.begin(), other.begin() + 3), (Bytes{1, 3, 2}));
        EXPECT_NE(other, READ_REPLY);
        others.insert(std::string(other.begin(), other.end()));
        before += isBefore ? 1 : 0;
    }
    EXPECT_GT(before, 20);
    EXPECT_LT(before, 40);
    EXPECT_GT(others.size(), 10U);
    EXPECT_EQ(made("second-master"), 40);
}

TEST_P(LineFaults, AnswerOneRequestLate) {
    start({"--fault", "answer-before"});
    send(withCrc({1, 6, 0xE3, 0x25, 0, 7}));
    EXPECT_TRUE(isSilent());
    send(READ);
    EXPECT_EQ(take(8), withCrc({1, 6, 0xE3, 0x25, 0, 7}));
    send(READ_NEXT);
    EXPECT_EQ(take(7), withCrc({1, 3, 2, 0, 7})) << "the write was carried out at once";
    command("fault none");
    send(READ);
    EXPECT_EQ(take(7), withCrc({1, 3, 2, 0, 7}));
    EXPECT_EQ(made("answer-before"), 3);
}

TEST_P(LineFaults, Combine) {
    start({"--fault", "echo,delay=100,answer-before,duplicate=1"});
    send(READ);
    EXPECT_EQ(take(8), READ);
    EXPECT_TRUE(isSilent());
    const auto asked = Clock::now();
    send(READ_NEXT);
    EXPECT_EQ(take(22), joined({READ_NEXT, READ_REPLY, READ_REPLY}));
    EXPECT_GE(Clock::now() - asked, std::chrono::milliseconds(100));
    EXPECT_TRUE(isSilent());
}

// A serial port has its own pace and does not tell one client from another.
class ClientFaults : public LineFaults {};

INSTANTIATE_TEST_SUITE_P(Line, ClientFaults, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp),
                         carrierName);

TEST_P(ClientFaults, LeaveNothingToTheNextClient) {
    start({"--fault", "duplicate=1", "--copy-after", "300"});
    send(READ);
    EXPECT_EQ(take(7), READ_REPLY);
    connect();
    EXPECT_TRUE(take(1, 600).empty());
}

TEST_P(ClientFaults, PaceTheCopyToo) {
    start({"--fault", "duplicate=1", "--copy-after", "50", "--baud", "9600"});
    send(READ);
    EXPECT_EQ(take(14), joined({READ_REPLY, READ_REPLY}));
}

TEST_P(ClientFaults, EchoAtThePaceOfTheLine) {
    start({"--fault", "echo", "--baud", "2400"});
    const auto asked = Clock::now();
    send(READ);
    EXPECT_EQ(take(8), READ);
    const auto echoed = Clock::now();
    EXPECT_GE(echoed - asked, std::chrono::milliseconds(33)) << "8 characters";
    EXPECT_EQ(take(7), READ_REPLY);
}

}  // namespace
