// What dx7 write says of a value: written only where the device is known to have it.
#include "fragile_device.h"
#include "rig.h"
#include "stubborn_device.h"
#include "tests/kit/crc.h"

namespace {

std::string text(const FragileDevice::Frame& content) {
    const FragileDevice::Frame frame = kit::withCrc(content);
    return std::string(frame.begin(), frame.end());
}

/// Carries writes out; its answers to the first `late` reads of holding registers still hold `old`.
FragileDevice::Script slowToShow(int late, std::uint8_t old) {
    return [=](const FragileDevice::Frame& request, int number) {
        Reaction reaction;
        if (request[1] == READ && number <= late) {
            reaction.noise = text({request[0], READ, 2, 0, old});
        }
        return reaction;
    };
}

TEST(WriteVerify, AValueThatDidNotTakeIsNamedWithBothValues) {
    const StubbornDevice device;
    const Finished run = dx7At(device.address(), {"write", "F:0.0.10=5"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_EQ("dx7: F:0.0.10@1 = 5 failed: acknowledged, but F:0.0.10@1 reads 7 instead of 5\n", run.errors);
}

TEST(WriteVerify, AValueThatDidNotTakeIsNotWrittenAsJson) {
    const StubbornDevice device;
    const Finished run = dx7At(device.address(), {"write", "--json", "MOD:1/scale=0.1=0.5"});
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(1U, items.size());
    EXPECT_EQ(false, items[0].at("written"));
    EXPECT_EQ(true, items[0].at("acknowledged"));
    EXPECT_DOUBLE_EQ(0.7, items[0].at("reads_back"));
    EXPECT_EQ("bad", items[0].at("quality"));
}

TEST(WriteVerify, AValueThatShowsLateIsWritten) {
    const FragileDevice device(slowToShow(3, 9));
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=5"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("F:3.0.20@1 = 5 written and verified\n", run.output);
    EXPECT_EQ(4, device.requests(READ));
}

TEST(WriteVerify, ARunIsReadBackAsAWholeUntilAllOfItIsThere) {
    // Two requests for each look: registers do not run on from 09 to 10. The first of the second look is
    // late.
    const FragileDevice device([](const FragileDevice::Frame& request, int number) {
        Reaction reaction;
        if (request[1] == READ && (number == 2 || number == 3)) {
            reaction.noise = text({request[0], READ, 2, 0, 9});
        }
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "F:0.0.09,2=5,6"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("F:0.0.09,2@1 = 5,6 written and verified\n", run.output);
    EXPECT_EQ(6, device.requests(READ));
}

TEST(WriteVerify, NothingIsReadBackWithoutIt) {
    const StubbornDevice device;
    const Finished run = dx7At(device.address(), {"write", "--no-verify", "F:0.0.10=5"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("F:0.0.10@1 = 5 acknowledged\n", run.output);
    EXPECT_EQ(0, device.requests(READ));
    const std::vector<Json> items =
        jsonLines(dx7At(device.address(), {"write", "--json", "--no-verify", "F:0.0.10=5"}).output);
    ASSERT_EQ(1U, items.size());
    EXPECT_TRUE(items[0].at("written").is_null());
    EXPECT_EQ(true, items[0].at("acknowledged"));
    EXPECT_TRUE(items[0].at("reads_back").is_null());
    EXPECT_EQ("acknowledged, not read back", items[0].at("fault"));
}

TEST(WriteVerify, ACommandThatClearsItselfIsShownAsItReads) {
    const StubbornDevice device;
    const Finished run = dx7At(device.address(), {"write", "CW:0=5"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("CW:0@1 = 5 acknowledged, reads back 7\n", run.output);
    const std::vector<Json> items = jsonLines(dx7At(device.address(), {"write", "--json", "CW:0=5"}).output);
    ASSERT_EQ(1U, items.size());
    EXPECT_TRUE(items[0].at("written").is_null());
    EXPECT_EQ(7, items[0].at("reads_back"));
    EXPECT_EQ("doubtful", items[0].at("quality"));
}

TEST(WriteVerify, ACommandThatClearsItselfFailsWhereItIsDemanded) {
    const StubbornDevice device;
    const Finished run = dx7At(device.address(), {"write", "--verify", "CW:0=5"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("dx7: CW:0@1 = 5 failed: acknowledged, but CW:0@1 reads 7 instead of 5\n", run.errors);
}

TEST(WriteVerify, AReadBackThatIsRefusedLeavesAnAcknowledgement) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.exception = request[1] == READ ? 2 : 0;
        return reaction;
    });
    for (const Words& write : {Words{"write", "F:3.0.20=5"}, Words{"write", "--verify", "CW:0=5"}}) {
        const Finished run = dx7At(device.address(), write);
        EXPECT_EQ(1, run.exitCode);
        EXPECT_EQ("", run.output);
        EXPECT_TRUE(says(run.errors,
                         "failed: acknowledged, but reading back failed: exception 2 (illegal data address)"))
            << run.errors;
    }
}

// It may be a command that makes the device start anew.
TEST(WriteVerify, ACommandThatCannotBeReadBackIsAcknowledged) {
    for (const int exception : {2, 0}) {
        const FragileDevice device([exception](const FragileDevice::Frame& request, int) {
            Reaction reaction;
            reaction.exception = request[1] == READ ? exception : 0;
            reaction.answer = request[1] != READ || exception != 0;
            return reaction;
        });
        const std::string said = std::string("acknowledged, but reading back failed: ") +
                                 (exception == 0 ? "no reply" : "exception 2 (illegal data address)");
        const Finished run = dx7At(device.address(), {"write", "CW:0=5"});
        EXPECT_EQ(0, run.exitCode) << run.errors;
        EXPECT_EQ("CW:0@1 = 5 " + said + "\n", run.output);
        const std::vector<Json> items =
            jsonLines(dx7At(device.address(), {"write", "--json", "CW:0=5"}).output);
        ASSERT_EQ(1U, items.size());
        EXPECT_TRUE(items[0].at("written").is_null());
        EXPECT_EQ(true, items[0].at("acknowledged"));
        EXPECT_TRUE(items[0].at("reads_back").is_null());
        EXPECT_EQ("doubtful", items[0].at("quality"));
        EXPECT_EQ(said, items[0].at("fault"));
    }
}

// One bit is there though its acknowledgement was lost, the other was acknowledged and cleared itself.
TEST(WriteVerify, BitsThatEndDifferentlyAreNamedEach) {
    constexpr std::uint8_t READ_COILS = 1;
    const FragileDevice device([](const FragileDevice::Frame& request, int number) {
        Reaction reaction;
        reaction.answer = request[1] != WRITE_BIT || number > 1;
        if (request[1] == READ_COILS) {
            reaction.noise = text({request[0], READ_COILS, 1, 1});
        }
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "DO:1,2=1,1", "--retries", "1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("DO:1,2@1 = 1,1 done: DO:1@1 written and verified; DO:2@1 acknowledged, reads back 0\n",
              run.output);
}

TEST(WriteVerify, AValueThatIsThereIsWrittenThoughItsAcknowledgementIsLost) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.answer = request[1] != WRITE;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=5", "--retries", "1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("F:3.0.20@1 = 5 written and verified\n", run.output);
}

TEST(WriteVerify, AValueThatIsNotThereAndWasNotAcknowledgedIsNamedWithBothValues) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.answer = reaction.carryOut = request[1] != WRITE;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=5", "--retries", "1"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("dx7: F:3.0.20@1 = 5 failed: no reply, and F:3.0.20@1 reads 7 instead of 5\n", run.errors);
}

// The second one changes the first: each is read back before the next goes out.
TEST(WriteVerify, TwoItemsOfOneWordAreReadBackInTurn) {
    Rig rig(Carrier::Tcp);
    const Finished run = rig.dx7({"write", "--verify", "CW:0=0x0400", "CW_bit:3=1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("CW:0@1 = 1024 written and verified\nCW_bit:3@1 = 1 written and verified\n", run.output);
}

TEST(WriteVerify, TheTwoWishesExcludeEachOther) {
    const Finished run =
        runToEnd(dx7Words({"write", "--verify", "--no-verify", "F:3.0.20=5", "--tcp", "127.0.0.1"}));
    EXPECT_EQ(2, run.exitCode);
    EXPECT_TRUE(says(run.errors, "--verify")) << run.errors;
}

// A port that is not there is not looked for.
TEST(DryRun, ShowsTheFramesAndNeedsNoLine) {
    const Words write{"write", "--dry-run", "F:0.0.09,2=5,6", "DO:1@0=1", "F:3.0.25@2=500"};
    const std::string frames =
        "F:0.0.09,2@1 = 5,6  01 06 E0 09 00 05 AE 0B\n"
        "F:0.0.09,2@1 = 5,6  01 06 E0 10 00 06 3F CD\n"
        "DO:1@0 = 1  00 05 10 20 FF 00 88 E1\n"
        "F:3.0.25@2 = 500  02 06 E3 25 01 F4 AF A1\n"
        "dry run: 4 requests, nothing was sent\n";
    const Finished run = runToEnd(dx7Words(write));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(frames, run.output);
    Words missing = dx7Words(write);
    missing.insert(missing.end(), {"--serial", "/dev/missing"});
    EXPECT_EQ(frames, runToEnd(missing).output);
}

TEST(DryRun, ShowsThemAsJson) {
    const Finished run = runToEnd(dx7Words({"write", "--dry-run", "--json", "F:3.0.20,3@2=1,2,3"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> objects = jsonLines(run.output);
    ASSERT_EQ(1U, objects.size());
    EXPECT_EQ("request", objects[0].at("event"));
    EXPECT_EQ("F:3.0.20,3@2", objects[0].at("name"));
    EXPECT_EQ(3, objects[0].at("count"));
    EXPECT_EQ("02 10 E3 20 00 03 06 00 01 00 02 00 03",
              objects[0].at("request").get<std::string>().substr(0, 38));
}

TEST(DryRun, SendsNothingAndRecordsNothing) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    EXPECT_EQ(0, dx7At(device.address(), {"write", "--dry-run", "F:3.0.20=1"}).exitCode);
    EXPECT_EQ(0, device.requests(WRITE) + device.requests(STATUS) + device.requests(DIAGNOSTICS));
    const TemporaryDirectory directory;
    const std::string file = directory.file("line.pcap");
    const Finished run = dx7At(device.address(), {"write", "--dry-run", "F:3.0.20=1", "--record", file});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_TRUE(says(run.errors, file + " and --dry-run exclude each other")) << run.errors;
    EXPECT_EQ("", readFile(file));
}

TEST(DryRun, RefusesWhatAWriteRefuses) {
    EXPECT_EQ(2, runToEnd(dx7Words({"write", "--dry-run", "AI:0=1"})).exitCode);
}

}  // namespace
