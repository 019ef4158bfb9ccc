// A file with the line's settings and its tags in place of arguments: -c line.toml.
#include "rig.h"

namespace {

class LineFile : public testing::TestWithParam<Carrier> {
protected:
    void SetUp() override {
        const Words line = rig.line();
        writeFile(file, "[line]\n" + line[0].substr(2) + " = \"" + line[1] +
                            "\"\ntimeout = 400\nretries = 2\n" + R"(
[[tag]]
name = "speed"
type = "AI"
address = 0
station = 2
format = "signed"
scale = 0.1
unit = "Hz"

[[tag]]
name = "ramp time"
type = "F"
address = "3.0.25"

[[tag]]
name = "outputs"
type = "DO"
address = "1"
count = 2
)");
    }

    Finished run(const Words& words) const { return runToEnd(dx7Words(words)); }

    Rig rig{GetParam(), {"--stations", "1,2"}};
    std::string file = rig.file("line.toml");
};
INSTANTIATE_TEST_SUITE_P(Lines, LineFile, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp),
                         carrierName);

TEST_P(LineFile, ItsTagsAreReadByTheirNames) {
    rig.tell("set AI:0@2=-12");
    const Finished read = run({"read", "-c", file});
    EXPECT_EQ(0, read.exitCode) << read.errors;
    EXPECT_EQ("speed = -1.2 Hz\nramp time = 325\noutputs[0] = 0\noutputs[1] = 0\n", read.output);
    const Finished one = run({"read", "-c", file, "ramp time"});
    EXPECT_EQ("ramp time = 325\n", one.output) << one.errors;
}

TEST_P(LineFile, ItsTagsAreMonitored) {
    rig.tell("set AI:0@2=-12");
    const Finished monitor = run({"monitor", "-c", file, "--json", "--count", "4"});
    EXPECT_EQ(0, monitor.exitCode) << monitor.errors;
    bool found = false;
    for (const Json& object : jsonLines(monitor.output)) {
        if (has(object, "name", "speed")) {
            found = true;
            EXPECT_EQ("AI:0@2", object.at("item"));
            EXPECT_DOUBLE_EQ(-1.2, object.at("value"));
            EXPECT_EQ("Hz", object.at("unit"));
        }
    }
    EXPECT_TRUE(found) << monitor.output;
}

TEST_P(LineFile, ATagIsWrittenByItsName) {
    const Finished write = run({"write", "-c", file, "--verify", "ramp time=512"});
    EXPECT_EQ(0, write.exitCode) << write.errors;
    EXPECT_EQ(512, rig.client()->holding(0xF325));
}

TEST_P(LineFile, ATagWithACountIsOneNameForItsItems) {
    const Finished write = run({"write", "-c", file, "--verify", "outputs=1,1"});
    EXPECT_EQ("outputs = 1,1 written and verified\n", write.output) << write.errors;
    EXPECT_EQ("outputs[0] = 1\noutputs[1] = 1\n", run({"read", "-c", file, "outputs"}).output);
    EXPECT_EQ("outputs[1] = 0 acknowledged, reads back 0\n",
              run({"write", "-c", file, "outputs[1]=0"}).output);
    EXPECT_EQ("outputs[0] = 1\noutputs[1] = 0\n", run({"read", "-c", file, "outputs"}).output);
    const std::vector<Json> objects = jsonLines(run({"write", "-c", file, "--json", "outputs=0,0"}).output);
    ASSERT_EQ(2U, objects.size());
    EXPECT_EQ("outputs[0]", objects[0].at("name"));
    EXPECT_EQ("outputs[1]", objects[1].at("name"));
}

TEST_P(LineFile, ItsLineServesOtherItemsAndCommandsToo) {
    EXPECT_EQ("DE:3@1 = 7003\n", run({"read", "-c", file, "DE:3"}).output);
    const Finished scan = run({"scan", "-c", file, "--stations", "1-2"});
    EXPECT_EQ(0, scan.exitCode) << scan.errors;
    EXPECT_NE(std::string::npos, scan.output.find("2 of 2")) << scan.output;
}

}  // namespace
