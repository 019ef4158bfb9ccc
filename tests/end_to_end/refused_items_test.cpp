// What monitor makes of stations that refuse some of what is polled, and of what it cannot read.
#include <memory>
#include <regex>

#include "fragile_device.h"
#include "rig.h"

namespace {

enum { READ = 3, ILLEGAL_FUNCTION = 1, ILLEGAL_ADDRESS = 2, BUSY = 6 };

int wordAt(const FragileDevice::Frame& request, std::size_t at) {
    return request[at] << 8 | request[at + 1];
}

// Whether a read touches the register F:3.0.25.
bool touches(const FragileDevice::Frame& request) {
    const int start = wordAt(request, 2);
    return request[1] == READ && start <= 0xF325 && 0xF325 < start + wordAt(request, 4);
}

// An illegal function is one for the whole type.
FragileDevice::Script refusing(int code) {
    return [code](const FragileDevice::Frame& request, int) {
        const bool all = code == ILLEGAL_FUNCTION && request[1] == READ && wordAt(request, 2) >= 0xF000;
        Reaction reaction;
        reaction.exception = all || touches(request) ? code : 0;
        return reaction;
    };
}

Json lastOf(const std::vector<Json>& objects, const std::string& item) {
    Json last;
    for (const Json& object : objects) {
        if (has(object, "item", item)) {
            last = object;
        }
    }
    return last;
}

// Over TCP nothing but the plan itself keeps requests apart.
class RefusedItem : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Codes, RefusedItem, testing::Values(ILLEGAL_FUNCTION, ILLEGAL_ADDRESS, BUSY));

TEST_P(RefusedItem, IsAskedSeldomAndTheOthersAreGood) {
    const FragileDevice device(refusing(GetParam()));
    const Finished run =
        dx7At(device.address(), {"monitor", "--json", "--stats", "--seconds", "3", "F:3.0.20,9", "DE:0"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> objects = jsonLines(run.output);
    EXPECT_EQ("good", lastOf(objects, "DE:0@1").at("quality"));
    for (int item = 20; item < 29; ++item) {
        const Json last = lastOf(objects, "F:3.0." + std::to_string(item) + "@1");
        const bool alone = GetParam() == ILLEGAL_ADDRESS && item != 25;
        EXPECT_EQ(alone ? "good" : "bad", last.at("quality")) << last;
        EXPECT_EQ(!alone, last.contains("fault")) << last;
        EXPECT_EQ(!alone, last.contains("since")) << last;
    }
    const Json refused = lastOf(objects, "F:3.0.25@1");
    EXPECT_TRUE(
        std::regex_match(refused.at("fault").get<std::string>(), std::regex("exception [126] \\([a-z ]+\\)")))
        << refused;
    EXPECT_EQ(refused.at("time"), refused.at("since")) << "it was never read";
    const Json exceptions = ofEvent(objects, "statistics").at("all").at("exceptions");
    EXPECT_LE(exceptions.at(std::to_string(GetParam())), 12) << "a search, and after 0.5, 1, 1.5 s";
}

TEST(RefusedItems, AreNamedWithTheirCauseAsText) {
    const FragileDevice device(refusing(ILLEGAL_ADDRESS));
    const Finished run = dx7At(device.address(), {"monitor", "--seconds", "2", "F:3.0.24,2"});
    EXPECT_TRUE(std::regex_search(
        run.output,
        std::regex(
            "F:3\\.0\\.25@1 +- \\(bad since [0-9:.]{12}: exception 2 \\(illegal data address\\)\\)\\n")))
        << run.output;
}

TEST(RefusedItems, AStationThatTakesShortRequestsAloneIsNamed) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.exception = request[1] == READ && wordAt(request, 4) > 4 ? ILLEGAL_ADDRESS : 0;
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"monitor", "--json", "--seconds", "3", "F:3.0.20,9"});
    EXPECT_TRUE(says(run.errors, "dx7: station 1 refuses F in requests of")) << run.errors;
    for (int item = 20; item < 29; ++item) {
        const Json last = lastOf(jsonLines(run.output), "F:3.0." + std::to_string(item) + "@1");
        EXPECT_EQ("good", last.at("quality")) << last;
    }
}

// An item of which nothing is known by the end is not left out of the output.
class NeverRead : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Json, NeverRead, testing::Bool());

TEST_P(NeverRead, AppearsAtTheEnd) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    Words words{"monitor", "--seconds", "0.000001", "F:3.0.24", "F:3.0.25@2"};
    if (GetParam()) {
        words.push_back("--json");
    }
    const Finished run = dx7At(device.address(), words);
    if (GetParam()) {
        const Json last = lastOf(jsonLines(run.output), "F:3.0.25@2");
        EXPECT_EQ("bad", last.at("quality")) << run.output;
        EXPECT_EQ("never read", last.at("fault"));
        EXPECT_TRUE(last.contains("since"));
    } else {
        EXPECT_TRUE(says(run.output, "F:3.0.25@2")) << run.output;
        EXPECT_TRUE(says(run.output, ": never read)")) << run.output;
    }
}

TEST(NeverRead, IsNotSaidWhereEnoughLinesWereAskedFor) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    const Finished run =
        dx7At(device.address(), {"monitor", "--json", "--count", "1", "F:3.0.20", "F:0.0.08"});
    EXPECT_EQ(2U, jsonLines(run.output).size()) << run.output;
}

}  // namespace
