// --rs485 asks the kernel for its RS-485 mode. Pseudo-terminals have none, so an ioctl loaded before the C
// library's (serial_kernel.cpp) grants it and writes down what was asked for.
#include <linux/serial.h>

#include <filesystem>
#include <sstream>

#include "rig.h"

namespace {

class Rs485 : public testing::Test {
protected:
    struct Request {
        std::string port;
        unsigned flags = 0;
        unsigned delayBefore = 0;
        unsigned delayAfter = 0;
    };

    /// A command of dx7 on such a kernel.
    Words command(const Words& words) const {
        Words all{"/usr/bin/env", "LD_PRELOAD=" DX7_SERIAL_KERNEL, "DX7_RS485_RECORD=" + record,
                  // Of a build with that sanitizer, which wants to be the first.
                  "ASAN_OPTIONS=verify_asan_link_order=0"};
        const Words dx7 = rig.command(words);
        all.insert(all.end(), dx7.begin(), dx7.end());
        return all;
    }
    std::vector<Request> requests() const {
        std::vector<Request> found;
        std::istringstream lines(readFile(record));
        for (Request one; lines >> one.port >> one.flags >> one.delayBefore >> one.delayAfter;) {
            found.push_back(one);
        }
        return found;
    }
    static void expectMode(const Request& request) {
        EXPECT_EQ(unsigned(SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND), request.flags)
            << "the transmitter is on while sending and off after it, and no other mode is asked for";
        EXPECT_EQ(0U, request.delayBefore);
        EXPECT_EQ(0U, request.delayAfter);
    }

    Rig rig{Carrier::PseudoTerminal};
    std::string record = rig.file("asked");
};

TEST_F(Rs485, IsAskedForOnceOnThePortOfTheLine) {
    const std::string port = std::filesystem::canonical(rig.file("line")).string();
    const Finished run = runToEnd(command({"read", "--rs485", "F:3.0.25", "AI:0"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_NE(std::string::npos, run.output.find("F:3.0.25@1 = 325")) << run.output;
    ASSERT_EQ(1U, requests().size());
    EXPECT_EQ(port, requests()[0].port);
    expectMode(requests()[0]);
}

TEST_F(Rs485, IsAskedForByALineFile) {
    writeFile(rig.file("line.toml"), "[line]\nserial = \"" + rig.file("line") + "\"\nrs485 = true\n");
    const Finished run = runToEnd(command({"read", "-c", rig.file("line.toml"), "F:3.0.25"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    ASSERT_EQ(1U, requests().size());
    expectMode(requests()[0]);
}

TEST_F(Rs485, IsNotAskedForUnlessWanted) {
    EXPECT_EQ(0, runToEnd(command({"read", "F:3.0.25"})).exitCode);
    EXPECT_EQ(0U, requests().size());
}

TEST_F(Rs485, IsAskedForAgainWhenTheLineIsBack) {
    Process monitor(command({"monitor", "--json", "--rs485", "--seconds", "30", "F:3.0.25"}));
    const auto line = [&monitor](const Json& state) {
        return !nextJson(monitor, [&](const Json& o) {
                    return has(o, "event", "line") && has(o, "state", state);
                }).is_null();
    };
    ASSERT_FALSE(nextJson(monitor, [](const Json& o) { return has(o, "quality", "good"); }).is_null());
    EXPECT_EQ(1U, requests().size());
    rig.stopDevice();
    ASSERT_TRUE(line("lost"));
    rig.startDevice();
    ASSERT_TRUE(line("open"));
    ASSERT_EQ(2U, requests().size());
    expectMode(requests()[1]);
    monitor.signal(SIGINT);
    EXPECT_EQ(0, monitor.finish().exitCode);
}

}  // namespace
