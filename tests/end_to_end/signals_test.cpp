// What read, write and monitor say and do when a signal comes.
#include <csignal>

#include "fragile_device.h"
#include "rig.h"

namespace {

/// From its n-th request of a function code on the device is silent to that code.
FragileDevice::Script silentFrom(int function, int number) {
    return [=](const FragileDevice::Frame& request, int count) {
        Reaction reaction;
        reaction.answer = reaction.carryOut = request[1] != function || count < number;
        return reaction;
    };
}

class Signal : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Numbers, Signal, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(Signal, EndsAWriteThatSaysWhatIsDone) {
    const FragileDevice device(silentFrom(WRITE, 2));
    Words words = dx7Words({"write", "--json", "F:3.0.20=1", "F:3.0.21=2", "F:3.0.22=3"});
    words.insert(words.end(), {"--tcp", device.address(), "--timeout", "60000"});
    Process write(words);
    EXPECT_TRUE(has(Json::parse(write.readLine()), "written", true));
    ASSERT_TRUE(eventually([&] { return device.requests(WRITE) == 2; }));
    write.signal(GetParam());
    const Finished run = write.finish();
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(2U, items.size()) << run.output;
    EXPECT_TRUE(items[0].at("written").is_null());
    EXPECT_EQ(false, items[1].at("written"));
    EXPECT_EQ("not sent: dx7 was stopped before that", items[1].at("fault"));
    EXPECT_TRUE(says(run.errors, "dx7: stopped; 1 of 3 writes done")) << run.errors;
}

TEST_P(Signal, EndsAReadThatPrintsWhatItHas) {
    const FragileDevice device(silentFrom(READ, 2));
    Words words = dx7Words({"read", "F:0.0.08,4"});
    words.insert(words.end(), {"--tcp", device.address(), "--timeout", "60000"});
    Process read(words);
    ASSERT_TRUE(eventually([&] { return device.requests(READ) == 2; }));
    read.signal(GetParam());
    const Finished run = read.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("F:0.0.08@1 = 7\nF:0.0.09@1 = 7\n", run.output);
    EXPECT_TRUE(says(run.errors, "F:0.0.10@1 could not be read: dx7 was stopped before that")) << run.errors;
}

// A terminal that goes away hangs up more than once.
TEST(Signals, SeveralHangUpsStillLeaveAWord) {
    const FragileDevice device(silentFrom(WRITE, 1));
    Words words = dx7Words({"write", "F:3.0.20=1", "--tcp", device.address(), "--timeout", "60000"});
    Process write(words);
    ASSERT_TRUE(eventually([&] { return device.requests(WRITE) == 1; }));
    for (int i = 0; i < 5; ++i) {
        write.signal(SIGHUP);
    }
    const Finished run = write.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "unknown: sent, but dx7 was stopped")) << run.errors;
}

TEST(Signals, AHangUpThatIsIgnoredStaysIgnored) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    std::string line = "trap '' HUP; exec";
    for (const std::string& word :
         dx7Words({"monitor", "F:3.0.20", "--lines", "--json", "--tcp", device.address()})) {
        line += " '" + word + "'";
    }
    Process monitor({"/bin/sh", "-c", line});
    ASSERT_NE("", monitor.readLine());
    const int before = device.requests(READ);
    monitor.signal(SIGHUP);
    EXPECT_TRUE(eventually([&] { return device.requests(READ) > before + 50; }));
    monitor.signal(SIGTERM);
    EXPECT_EQ(0, monitor.finish().exitCode);
}

TEST(Signals, EndAWaitUnderAStreamOfForeignFrames) {
    const FragileDevice device([](const FragileDevice::Frame&, int) {
        Reaction reaction;
        const char foreign[] = "\x02\x03\x02\x00\x63\xbc\x6d";
        for (int i = 0; i < 1000; ++i) {
            reaction.noise.append(foreign, sizeof foreign - 1);
        }
        reaction.endless = true;
        return reaction;
    });
    Process read(dx7Words({"read", "F:3.0.20", "--timeout", "60000", "--tcp", device.address()}));
    ASSERT_TRUE(eventually([&] { return device.requests(READ) == 1; }));
    read.signal(SIGINT);
    EXPECT_EQ(1, read.finish().exitCode);
}

}  // namespace
