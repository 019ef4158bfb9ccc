// What there is to say although standard output takes nothing.
#include <csignal>
#include <memory>

#include "fragile_device.h"
#include "rig.h"

namespace {

TEST(Output, ThatIsFullDoesNotHideWhereAScanLostTheLine) {
    for (const char* json : {"", " --json"}) {
        auto device = std::make_unique<FragileDevice>([](const auto&, int) {
            Reaction silence;
            silence.answer = false;
            return silence;
        });
        Words words{"/bin/sh", "-c", std::string("exec \"$@\"") + json + " >/dev/full", "sh"};
        for (const std::string& word :
             dx7Words({"scan", "--stations", "4-9", "--timeout", "60000", "--tcp", device->address()})) {
            words.push_back(word);
        }
        Process scan(words);
        ASSERT_TRUE(eventually([&] { return device->requests(STATUS) > 0; }));
        device.reset();
        const Finished run = scan.finish();
        EXPECT_EQ(1, run.exitCode);
        EXPECT_TRUE(says(run.errors, "was lost")) << run.errors;
        EXPECT_TRUE(says(run.errors, "station 4 was asked and not heard; those after it were not asked"))
            << run.errors;
    }
}

// What is written and cannot be printed is said on standard error.
TEST(Output, ThatIsFullOrClosedDoesNotHideWhatWasWritten) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    std::string line = "exec";
    for (const std::string& word :
         dx7Words({"write", "F:3.0.20=1", "F:3.0.21=2", "--tcp", device.address()})) {
        line += " '" + word + "'";
    }
    for (const char* output : {">/dev/full", ">&-", "| true"}) {
        const Finished run = runToEnd({"/bin/sh", "-c", line + " " + output});
        if (output[0] != '|') {
            EXPECT_EQ(1, run.exitCode) << output;
            EXPECT_TRUE(says(run.errors, "dx7: standard output cannot be written: ")) << run.errors;
            EXPECT_TRUE(says(run.errors, "dx7: F:3.0.20@1 = 1 written and verified\n")) << run.errors;
            EXPECT_TRUE(says(run.errors, "dx7: F:3.0.21@1 = 2 written and verified\n")) << run.errors;
        }
    }
    EXPECT_EQ(6, device.requests(WRITE)) << "a closed pipe ends nothing in the middle";
}

}  // namespace
