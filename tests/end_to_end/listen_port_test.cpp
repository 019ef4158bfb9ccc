// dx7 listen and its port: opened for reading alone, and nothing is sent on a TCP connection.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>

#include "fragile_device.h"
#include "rig.h"
#include "tests/kit/crc.h"
#include "tests/kit/pseudo_terminal.h"
#include "tests/kit/tcp_listener.h"

namespace {

// The last digit of the "flags" that the system tells of a descriptor is its access mode.
std::string accessMode(const Process& process, const std::string& port) {
    const std::string own = "/proc/" + std::to_string(process.id());
    for (const auto& entry : std::filesystem::directory_iterator(own + "/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry, error) == port) {
            const std::string info = readFile(own + "/fdinfo/" + entry.path().filename().string());
            const std::size_t end = info.find('\n', info.find("flags:"));
            return info.substr(end - 1, 1);
        }
    }
    return "not open";
}

TEST(ListenPort, IsOpenedForReadingAloneAndLeftWithoutEcho) {
    const PseudoTerminal line;
    const std::string& port = line.name();
    const int terminal = ::open(port.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios before{};
    ::tcgetattr(terminal, &before);
    before.c_lflag |= ECHO;
    ::tcsetattr(terminal, TCSANOW, &before);
    Process listener(dx7Words({"listen", "--serial", port}));
    EXPECT_TRUE(eventually([&] { return accessMode(listener, port) == "0"; })) << "O_RDONLY";
    EXPECT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    listener.signal(SIGINT);
    EXPECT_EQ(0, listener.finish().exitCode);
    termios after{};
    ::tcgetattr(terminal, &after);
    ::close(terminal);
    EXPECT_EQ(0U, after.c_lflag & ECHO) << "what comes before the port is closed would be sent back";
}

Finished onAPortWithRts(const Words& command, const std::string& more) {
    Words words{"/usr/bin/env", "LD_PRELOAD=" DX7_SERIAL_KERNEL, more,
                // Of a build with that sanitizer, which wants to be the first.
                "ASAN_OPTIONS=verify_asan_link_order=0"};
    words.insert(words.end(), command.begin(), command.end());
    return runToEnd(words);
}

TEST(ListenPort, HasItsRtsLoweredAndItIsSaidWhatTheSystemDidBefore) {
    const PseudoTerminal line;
    const Words command = dx7Words({"listen", "--serial", line.name(), "--seconds", "0.1"});
    const Finished lowered = onAPortWithRts(command, "DX7_NONE=");
    EXPECT_EQ(0, lowered.exitCode) << lowered.errors;
    EXPECT_TRUE(
        says(lowered.errors, "may have raised RTS for a moment when it opened the port; it is low now"))
        << lowered.errors;
    const Finished stuck = onAPortWithRts(command, "DX7_RTS_STUCK=1");
    EXPECT_EQ(0, stuck.exitCode);
    EXPECT_TRUE(says(stuck.errors, "warning: RTS of this port is high and cannot be lowered"))
        << stuck.errors;
}

// A gateway that hands on what is said on its line, both directions of it, to the one who connects.
class Gateway {
public:
    Gateway() : thread_([this] { handOn(); }) {}
    ~Gateway() {
        over_ = true;
        thread_.join();
    }
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    std::string address() const { return listener_.address(); }
    long received() const { return received_; }

private:
    void handOn() {
        pollfd caller{listener_.number(), POLLIN, 0};
        while (!over_ && ::poll(&caller, 1, 50) == 0) {
        }
        const int client = ::accept4(listener_.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        const std::string said = frameText({1, 4, 0x12, 0, 0, 1}) + frameText({1, 4, 2, 1, 0x0F});
        while (!over_) {
            std::array<char, 64> bytes{};
            received_ += std::max<ssize_t>(::read(client, bytes.data(), bytes.size()), 0);
            const ssize_t sent = ::send(client, said.data(), said.size(), MSG_NOSIGNAL);
            static_cast<void>(sent);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        ::close(client);
    }

    TcpListener listener_;
    std::atomic<bool> over_{false};
    std::atomic<long> received_{0};
    std::thread thread_;
};

TEST(ListenOverTcp, HearsWhatAGatewayHandsOn) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("panel.toml");
    const Gateway gateway;
    const Finished run =
        runToEnd(dx7Words({"listen", "--tcp", gateway.address(), "--seconds", "1", "--save", file}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "      1  FC 4 1200")) << run.output;
    EXPECT_TRUE(says(readFile(file), "tcp = \"" + gateway.address() + "\"\n")) << readFile(file);
    EXPECT_EQ(0, gateway.received());
}

TEST(ListenLoss, EndsWithItsSummaryAndExitCode1) {
    auto rig = std::make_unique<Rig>(Carrier::Tcp);
    Process listener(rig->command({"listen"}));
    ASSERT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    rig.reset();
    const Finished run = listener.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, " was lost: ")) << run.errors;
    EXPECT_TRUE(says(run.output, "0 requests to 0 stations")) << run.output;
}

TEST(ListenUsage, NamesWhatIsWrong) {
    const Finished refused = runToEnd(dx7Words({"listen", "--modbus-tcp", "127.0.0.1:1"}));
    EXPECT_EQ(2, refused.exitCode);
    EXPECT_TRUE(says(refused.errors, "listen to the serial line behind the server")) << refused.errors;
    for (const Words& words : {Words{"listen", "--seconds", "0", "--serial", "x"},
                               Words{"listen", "--force", "--serial", "x"}, Words{"listen"}}) {
        EXPECT_EQ(2, runToEnd(dx7Words(words)).exitCode);
    }
}

}  // namespace
