// dx7 started without standard input, output or error: what it prints goes nowhere, least of all into the
// line.
#include "fragile_device.h"
#include "rig.h"

namespace {

enum Closed { INPUT = 1, OUTPUT = 2, ERRORS = 4, SUBSETS = 8 };

std::string quoted(const Words& words) {
    std::string line = "exec";
    for (const std::string& word : words) {
        line += " '" + word + "'";
    }
    return line;
}

class ClosedDescriptors : public testing::TestWithParam<int> {
protected:
    /// Runs dx7 with the descriptors of the parameter closed.
    Finished dx7(const Words& words) const {
        std::string line = quoted(dx7Words(words));
        line += (GetParam() & INPUT) != 0 ? " <&-" : "";
        line += (GetParam() & OUTPUT) != 0 ? " >&-" : "";
        line += (GetParam() & ERRORS) != 0 ? " 2>&-" : "";
        return runToEnd({"/bin/sh", "-c", line});
    }
    int exitCode() const { return (GetParam() & OUTPUT) != 0 ? 1 : 0; }
    void expectReason(const Finished& run) const {
        const bool told = (GetParam() & OUTPUT) != 0 && (GetParam() & ERRORS) == 0;
        EXPECT_EQ(told, run.errors.find("dx7: standard output cannot be written: it is closed\n") !=
                            std::string::npos)
            << run.errors;
    }

    const FragileDevice device{[](const FragileDevice::Frame&, int) { return Reaction(); }};
    TemporaryDirectory directory;
    std::string recording = directory.file("line.pcap");
};
INSTANTIATE_TEST_SUITE_P(Subsets, ClosedDescriptors, testing::Range(0, int(SUBSETS)));

TEST_P(ClosedDescriptors, LetNothingButRequestsIntoTheLineAndTheRecording) {
    const Finished read =
        dx7({"read", "F:3.0.20", "F:3.0.21", "--tcp", device.address(), "--record", recording});
    EXPECT_EQ(exitCode(), read.exitCode) << read.errors;
    expectReason(read);
    const Finished replay = runToEnd({dx7Program, "replay", recording});
    EXPECT_EQ(0, replay.exitCode) << replay.errors;
    EXPECT_NE(std::string::npos, replay.output.find("read holding registers: 7 7")) << replay.output;
    const Finished write = dx7({"write", "F:3.0.20=500", "--verify", "--tcp", device.address()});
    EXPECT_EQ(exitCode(), write.exitCode) << write.errors;
    expectReason(write);
    EXPECT_EQ(500, device.value(0xF320));
    const Finished monitor = dx7({"monitor", "F:3.0.20", "--seconds", "0.2", "--tcp", device.address()});
    EXPECT_EQ(exitCode(), monitor.exitCode) << monitor.errors;
    EXPECT_EQ("", device.strangeBytes());
}

TEST_P(ClosedDescriptors, LeaveSavedParametersWhole) {
    const std::string file = directory.file("parameters.toml");
    const Finished save =
        dx7({"params", "save", "--force", file, "--groups", "3", "--tcp", device.address()});
    EXPECT_EQ(exitCode(), save.exitCode) << save.errors;
    expectReason(save);
    EXPECT_EQ("", device.strangeBytes());
    const Finished diff = runToEnd(dx7Words({"params", "diff", file, "--tcp", device.address()}));
    EXPECT_EQ("0 of 56 parameters differ\n", diff.output) << diff.errors;
    const Finished load = dx7({"params", "load", file, "--tcp", device.address()});
    EXPECT_EQ(exitCode(), load.exitCode) << load.errors;
    EXPECT_EQ("", device.strangeBytes());
}

TEST_P(ClosedDescriptors, FailHelpThatCannotBePrinted) {
    EXPECT_EQ(exitCode(), dx7({"read", "--help"}).exitCode);
    EXPECT_EQ(exitCode(), dx7({"types"}).exitCode);
    EXPECT_EQ(2, dx7({"read", "--nonsense"}).exitCode);
}

// The lowest numbers are those that a port gets.
TEST_P(ClosedDescriptors, LetNothingIntoASerialPort) {
    Rig rig(Carrier::PseudoTerminal);
    EXPECT_EQ(exitCode(), dx7({"read", "F:3.0.25", "--serial", rig.line()[1]}).exitCode);
    const std::string seen = rig.stopDevice();
    EXPECT_NE(std::string::npos, seen.find("station 1: 4 requests (FC 3: 1, FC 7: 2, FC 8: 1)")) << seen;
    EXPECT_NE(std::string::npos,
              seen.find("not for us: 0 requests to other stations, 0 frames that are no requests, "
                        "0 stray bytes"))
        << seen;
}

}  // namespace
