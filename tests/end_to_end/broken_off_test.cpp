// What read, write and scan say when they are broken off: the line is lost, a station is silent.
#include <algorithm>
#include <memory>

#include "fragile_device.h"
#include "rig.h"

namespace {

/// The n-th request of a function code has this fate, all others are served.
FragileDevice::Script at(int function, int number, const Reaction& reaction) {
    return [=](const FragileDevice::Frame& request, int count) {
        return request[1] == function && count == number ? reaction : Reaction();
    };
}
Reaction lostBefore() {
    Reaction reaction;
    reaction.carryOut = reaction.answer = false;
    reaction.close = true;
    return reaction;
}
Reaction lostAfter() {
    Reaction reaction = lostBefore();
    reaction.carryOut = true;
    return reaction;
}
// Whether the device carried the write out before the line went is what dx7 cannot know.
class BrokenWrite : public testing::TestWithParam<bool> {
protected:
    const FragileDevice device{at(WRITE, 2, GetParam() ? lostAfter() : lostBefore())};
};
INSTANTIATE_TEST_SUITE_P(CarriedOut, BrokenWrite, testing::Bool());

TEST_P(BrokenWrite, SaysWhatIsDoneUnknownAndNotSent) {
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=1", "F:3.0.21=2", "F:3.0.22=3"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("F:3.0.20@1 = 1 written and verified\n", run.output);
    EXPECT_TRUE(says(run.errors,
                     "dx7: F:3.0.21@1 = 2: unknown: sent, but the line was lost before the "
                     "acknowledgement; read it back\n"))
        << run.errors;
    EXPECT_TRUE(says(run.errors, "dx7: F:3.0.22@1 = 3: not sent: the line was lost before that\n"))
        << run.errors;
    EXPECT_TRUE(says(run.errors, "was lost: ")) << run.errors;
    EXPECT_TRUE(
        says(run.errors, "1 of 3 writes done; read back what is unknown, then write what is missing\n"))
        << run.errors;
    EXPECT_EQ(2, device.requests(WRITE)) << "nothing is sent after the loss";
    EXPECT_EQ(GetParam() ? 2 : 7, device.value(0xF321));
}

TEST_P(BrokenWrite, SaysItAsJsonWithEveryItemOnce) {
    const Finished run =
        dx7At(device.address(), {"write", "--json", "F:3.0.20=1", "F:3.0.21=2", "F:3.0.22=3"});
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(3U, items.size()) << run.output;
    EXPECT_EQ(true, items[0].at("written"));
    EXPECT_FALSE(items[0].contains("fault"));
    EXPECT_TRUE(items[1].at("written").is_null());
    EXPECT_TRUE(says(items[1].at("fault"), "unknown"));
    EXPECT_EQ(false, items[2].at("written"));
    EXPECT_TRUE(says(items[2].at("fault"), "not sent"));
}

TEST(BrokenOff, ARetryOfAWriteThatWasOutLeavesItUnknown) {
    const FragileDevice device([](const FragileDevice::Frame& request, int count) {
        Reaction silence;
        silence.carryOut = silence.answer = false;
        // The query after the first one is answered: no reply to it will come.
        return request[1] != WRITE ? Reaction() : count == 1 ? silence : lostBefore();
    });
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=1", "--json"});
    EXPECT_TRUE(jsonLines(run.output).at(0).at("written").is_null()) << run.output;
    EXPECT_EQ(2, device.requests(WRITE));
}

TEST(BrokenOff, ARunSaysWhichPartsAreDone) {
    const FragileDevice device(at(WRITE_RUN, 2, lostAfter()));
    // Registers do not run on from 09 to 10 and from 19 to 20: three requests.
    Words json{"write", "F:0.0.08,14=1,2,3,4,5,6,7,8,9,10,11,12,13,14", "--json"};
    const std::vector<Json> items = jsonLines(dx7At(device.address(), json).output);
    ASSERT_EQ(14U, items.size());
    EXPECT_EQ("F:0.0.08@1", items[0].at("item"));
    EXPECT_EQ("F:0.0.20@1", items[12].at("item"));
    for (std::size_t i = 0; i < items.size(); ++i) {
        const Json& item = items[i];
        EXPECT_EQ(i + 1, item.at("value"));
        EXPECT_EQ(i < 12 ? Json(nullptr) : Json(false), item.at("written")) << item;
        EXPECT_EQ(i < 2, item.at("acknowledged")) << item;
        EXPECT_EQ(i < 12 ? "doubtful" : "bad", item.at("quality")) << item;
        EXPECT_TRUE(item.contains("fault")) << item;
    }
    EXPECT_EQ(1, device.value(0xF008));
}

TEST(BrokenOff, ARunAsTextNamesItsParts) {
    const FragileDevice device(at(WRITE_RUN, 2, lostAfter()));
    const Finished run = dx7At(device.address(), {"write", "F:0.0.08,5=1,2,3,4,5"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_TRUE(says(run.errors,
                     "failed: done in part: F:0.0.08@1 to F:0.0.09@1 acknowledged, but reading back failed: "
                     "the line was lost before that; F:0.0.10@1 to F:0.0.12@1 unknown: sent"))
        << run.errors;
}

TEST(BrokenOff, AValueOfTwoWordsThatIsWrittenByHalfIsUnknown) {
    const FragileDevice device([](const FragileDevice::Frame& request, int count) {
        Reaction reaction;
        reaction.exception = request[1] == WRITE && count > 1 ? 2 : 0;
        return reaction;
    });
    const Words words{"write", "F:0.0.10/s32=-100000", "--block", "1"};
    const Finished run = dx7At(device.address(), words);
    EXPECT_TRUE(says(run.errors, "written by half: exception 2")) << run.errors;
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.output);
}

// The acknowledgement of the first request came, and the line went before a query could prove it.
TEST(BrokenOff, AnAcknowledgementThatIsNotProvenLeavesAWriteUnknown) {
    const FragileDevice device(at(WRITE, 2, lostBefore()));
    const Finished run = dx7At(device.address(), {"write", "F:0.0.10/s32=-100000", "--block", "1"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors,
                     "F:0.0.10@1 = -100000: unknown: sent, but the line was lost before the acknowledgement "
                     "was proven; read it back\n"))
        << run.errors;
}

TEST(BrokenOff, AWriteThatIsNotReadBackIsAcknowledgedAndNotKnownToBeWritten) {
    const FragileDevice device(at(READ, 1, lostBefore()));
    const Finished run = dx7At(device.address(), {"write", "--json", "F:3.0.20=1", "F:3.0.21=2"});
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(2U, items.size());
    EXPECT_TRUE(items[0].at("written").is_null());
    EXPECT_EQ(true, items[0].at("acknowledged"));
    EXPECT_EQ(false, items[0].at("verified"));
    EXPECT_TRUE(says(items[0].at("fault"), "the line was lost")) << items[0];
    EXPECT_EQ(false, items[1].at("written"));
}

TEST(BrokenOff, AWriteThatIsRefusedAndAnsweredBySilenceIsUnknown) {
    const FragileDevice device([](const FragileDevice::Frame&, int count) {
        Reaction reaction;
        reaction.answer = count > 1;
        reaction.exception = count > 1 ? 6 : 0;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=1", "--json"});
    EXPECT_TRUE(jsonLines(run.output).at(0).at("written").is_null()) << run.output;
    EXPECT_EQ(1, device.value(0xF320)) << "indeed";
}

TEST(BrokenOff, FurtherWritesToASilentStationAreNotSent) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.answer = reaction.carryOut = request[0] != 3;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "--json", "F:3.0.20@3=1", "F:3.0.20@1=2",
                                                  "F:3.0.21@3=3", "F:0.0.08,3@3=1,2,3", "F:3.0.21@1=4"});
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(7U, items.size()) << "a run of three has three";
    EXPECT_TRUE(items[0].at("written").is_null());
    EXPECT_EQ(true, items[1].at("written"));
    EXPECT_EQ(false, items[2].at("written"));
    EXPECT_EQ("not sent: station 3 did not answer before that", items[2].at("fault"));
    EXPECT_EQ(false, items[3].at("written"));
    EXPECT_EQ(false, items[5].at("written"));
    EXPECT_EQ(true, items[6].at("written"));
    EXPECT_EQ(3, device.requests(WRITE)) << "one to station 3, which owes the reply, two to station 1";
    EXPECT_EQ(0, device.requests(WRITE_RUN));
}

TEST(BrokenOff, WritesToASilentStationEndWithTheirSum) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.answer = reaction.carryOut = request[0] == 1;
        return reaction;
    });
    const Finished run =
        dx7At(device.address(), {"write", "F:3.0.20@1=2", "F:3.0.20@3=1", "F:3.0.21@3=3", "F:3.0.21@2=4"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors,
                     "dx7: station 2 did not answer, station 3 did not answer; 1 of 4 writes done; read back "
                     "what is unknown, then write what is missing\n"))
        << run.errors;
}

TEST(BrokenOff, ALossInTheReadingBackAdvisesToReadBack) {
    const FragileDevice device(at(READ, 1, lostBefore()));
    const Finished run = dx7At(device.address(), {"write", "F:3.0.20=1", "F:3.0.21=2"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors,
                     "0 of 2 writes done; read back what is unknown or was not verified, then write what is "
                     "missing\n"))
        << run.errors;
}

TEST(BrokenOff, ARunToAStationThatFallsSilentIsNotSentToItsEnd) {
    const auto silent = std::make_shared<bool>(false);
    const FragileDevice device([=](const FragileDevice::Frame& request, int) {
        *silent = *silent || request[1] == WRITE_RUN;
        Reaction reaction;
        reaction.answer = reaction.carryOut = !*silent;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "F:0.0.08,4=1,2,3,4"});
    EXPECT_TRUE(says(run.errors, "not sent: station 1 did not answer before that")) << run.errors;
    EXPECT_EQ(1, device.requests(WRITE_RUN)) << "it may still answer";
}

TEST(BrokenOff, AReadPrintsWhatItHas) {
    const FragileDevice device(at(READ, 2, lostBefore()));
    const Finished run = dx7At(device.address(), {"read", "F:0.0.08,4", "F:3.0.20"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("F:0.0.08@1 = 7\nF:0.0.09@1 = 7\n", run.output);
    for (const char* item : {"F:0.0.10@1", "F:0.0.11@1", "F:3.0.20@1"}) {
        EXPECT_TRUE(
            says(run.errors, std::string(item) + " could not be read: the line was lost before that\n"))
            << run.errors;
    }
    EXPECT_TRUE(says(run.errors, "2 of 5 items read")) << run.errors;
}

TEST(BrokenOff, AReadAsJsonHasEveryItemOnce) {
    const FragileDevice device(at(READ, 2, lostBefore()));
    const Finished run = dx7At(device.address(), {"read", "--json", "F:0.0.08,4", "F:3.0.20"});
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(5U, items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(i >= 2, items[i].contains("fault")) << items[i];
        EXPECT_EQ(i < 2 ? Json(7) : Json(nullptr), items[i].at("value"));
        EXPECT_EQ(i < 2 ? "good" : "bad", items[i].at("quality"));
    }
}

TEST(BrokenOff, AScanGivesItsSum) {
    Rig rig(Carrier::Tcp, {"--stations", "1"});
    Process scan(rig.command({"scan", "--json", "--stations", "1,100-200", "--timeout", "300"}));
    ASSERT_NE("", scan.readLine());
    rig.stopDevice();
    const Finished run = scan.finish();
    EXPECT_EQ(1, run.exitCode);
    const Json sum = withKey(jsonLines(run.output), "asked");
    ASSERT_FALSE(sum.is_null()) << run.output;
    EXPECT_EQ(1, sum.at("answered"));
    EXPECT_EQ(true, sum.at("stopped"));
    EXPECT_TRUE(says(sum.at("fault"), "lost"));
    EXPECT_TRUE(says(run.errors, "those after it were not asked")) << run.errors;
}

long writesSeen(Rig& rig) {
    rig.device().type("summary\n");
    std::string text;
    for (std::string line = rig.device().readLine(); !line.empty(); line = rig.device().readLine()) {
        text += line;
        if (line.rfind("faults made", 0) == 0) {
            break;
        }
    }
    return numberBehind(text, "FC 6: ");
}

// Over a pseudo-terminal, whose other end's program is ended.
TEST(BrokenOff, AnUnpluggedPortLeavesAWriteUnknownThatWasOut) {
    Rig rig(Carrier::PseudoTerminal, {"--stations", "1"});
    ASSERT_EQ(0, rig.dx7({"write", "F:3.0.20=1"}).exitCode);
    rig.tell("silence 1");
    Process write(rig.command({"write", "F:3.0.20=2", "F:3.0.21=3", "--timeout", "60000", "--echo", "off"}));
    ASSERT_TRUE(eventually([&] { return writesSeen(rig) == 2; }));
    rig.stopDevice();
    const Finished run = write.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "F:3.0.20@1 = 2: unknown: sent, but the line was lost")) << run.errors;
    EXPECT_TRUE(says(run.errors, "F:3.0.21@1 = 3: not sent: the line was lost")) << run.errors;
    EXPECT_FALSE(says(run.errors, "Success") || says(run.errors, "Bad file")) << run.errors;
}

// What cannot be recorded any more breaks the writes off; what was written by then is said.
TEST(BrokenOff, AFullRecordingLeavesTheWritesReported) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    const TemporaryDirectory directory;
    enum { ITEMS = 40 };
    Words words{"write", "--json", "--tcp", device.address(), "--record", directory.file("line.pcap")};
    for (int i = 0; i < ITEMS; ++i) {
        words.push_back("F:3.0.2" + std::to_string(i % 10) + "=" + std::to_string(i));
    }
    std::string line = "trap '' XFSZ; ulimit -f 2; exec";
    for (const std::string& word : dx7Words(words)) {
        line += " '" + word + "'";
    }
    const Finished run = runToEnd({"/bin/sh", "-c", line});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "line.pcap cannot be written any more: File too large; ")) << run.errors;
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(std::size_t(ITEMS), items.size());
    const int sent = device.requests(WRITE);
    ASSERT_LT(1, sent);
    ASSERT_GT(int(ITEMS), sent);
    for (int i = 0; i < ITEMS; ++i) {
        const Json& written = items.at(static_cast<std::size_t>(i)).at("written");
        // The last one may have been proven before.
        EXPECT_TRUE(i == sent - 1 ? written.is_null() || written == true : written == (i < sent)) << i;
    }
}

}  // namespace
