// A device that is faulty to order: dx7 copes, counts each fault under its heading and shows right values
// only. The device's own account of the faults it made is the witness.
#include <map>
#include <set>

#include "rig.h"

namespace {

struct Fault {
    const char* name;
    Carrier carrier;
};
void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

struct Observed {
    Json all;          ///< dx7's statistics of the line.
    std::string seen;  ///< What the device says.
    long made = 0;     ///< Faults of the kind that it made.
};

/// Item and value.
using Values = std::map<std::string, int>;

/// Each in a function code of its own, so that a late reply cannot pass for another.
const Values THREE_FUNCTIONS = {{"AI:0", 1234}, {"F:3.0.25", 500}, {"DI:3", 1}};
/// In one reply of 25 bytes.
const Values ONE_LONG_REPLY = {{"F:3.0.20", 1}, {"F:3.0.21", 2}, {"F:3.0.22", 3}, {"F:3.0.23", 4},
                               {"F:3.0.24", 5}, {"F:3.0.25", 6}, {"F:3.0.26", 7}, {"F:3.0.27", 8},
                               {"F:3.0.28", 9}, {"F:3.0.29", 10}};

class Faults : public testing::TestWithParam<Fault> {
protected:
    // The values stand still, so that every value shown can be judged.
    void watch(const Values& values, const std::string& share, Observed* observed) {
        Rig rig(GetParam().carrier,
                {"--seed", "7", "--late-by", "260", "--fault", std::string(GetParam().name) + "=" + share});
        Words words{"monitor", "--json", "--stats", "--seconds", "4", "--timeout", "200", "--gap", "5"};
        for (const auto& [item, value] : values) {
            rig.tell("set " + item + "=" + std::to_string(value));
            words.push_back(item);
        }
        const Finished run = rig.dx7(words);
        EXPECT_EQ(0, run.exitCode) << run.errors;
        const std::vector<Json> objects = jsonLines(run.output);
        checkValues(objects, values);
        observed->all = ofEvent(objects, "statistics").at("all");
        observed->seen = rig.stopDevice();
        observed->made = numberBehind(observed->seen.substr(observed->seen.find("faults made")),
                                      std::string(GetParam().name) + " ");
        ASSERT_GE(observed->made, 3) << observed->seen;
    }

    // The device makes its faults of the answers to status queries, too.
    static long queries(const Observed& observed) { return observed.all.at("status_queries"); }

    static void checkValues(const std::vector<Json>& objects, const Values& values) {
        std::set<std::string> read;
        for (const Json& object : objects) {
            if (object.contains("value") && !object.at("value").is_null()) {
                const std::string whole = object.at("item");
                const std::string item = whole.substr(0, whole.find('@'));
                EXPECT_EQ(values.at(item), object.at("value")) << object;
                read.insert(item);
            }
        }
        // Good or not: of a device that often refuses, the newest request for an item may always have failed.
        EXPECT_EQ(values.size(), read.size()) << "each item was read at least once";
    }
};

std::string faultTestName(const testing::TestParamInfo<Fault>& info) {
    return std::string(info.param.name) + (info.param.carrier == Carrier::Tcp ? "Tcp" : "PseudoTerminal");
}

// On a busy computer a good reply may come too late, and the last reply may be cut off by the end.
enum { ON_A_BUSY_COMPUTER = 3 };

class CountedFaults : public Faults {};

TEST_P(CountedFaults, AreFoundUnderTheirHeading) {
    Observed observed;
    watch(THREE_FUNCTIONS, "0.15", &observed);
    const std::map<std::string, std::string> headings = {
        {"drop", "timeouts"}, {"truncate", "wrong_length"}, {"foreign", "foreign"}};
    const std::string& heading = headings.at(GetParam().name);
    // A frame of a function code that has been asked for is one reply too many.
    const long counted =
        observed.all[heading].get<long>() + (heading == "foreign" ? observed.all["surplus"].get<long>() : 0);
    EXPECT_GE(counted, 1) << observed.all;
    EXPECT_GE(counted + queries(observed), observed.made - 1) << observed.all << observed.seen;
    EXPECT_LE(counted, observed.made + ON_A_BUSY_COMPUTER) << observed.all << observed.seen;
    for (const char* other : {"timeouts", "wrong_crc", "wrong_length", "foreign"}) {
        if (heading != other) {
            EXPECT_LE(observed.all[other].get<long>(), int(ON_A_BUSY_COMPUTER)) << observed.all;
        }
    }
    EXPECT_TRUE(observed.all.at("exceptions").empty()) << observed.all;
}

INSTANTIATE_TEST_SUITE_P(Line, CountedFaults,
                         testing::Values(Fault{"drop", Carrier::PseudoTerminal},
                                         Fault{"truncate", Carrier::PseudoTerminal},
                                         Fault{"truncate", Carrier::Tcp},
                                         Fault{"foreign", Carrier::PseudoTerminal},
                                         Fault{"foreign", Carrier::Tcp}),
                         faultTestName);

class ExceptionFaults : public Faults {};

TEST_P(ExceptionFaults, AreCountedByCode) {
    Observed observed;
    watch(THREE_FUNCTIONS, "0.15", &observed);
    long counted = 0;
    for (const auto& [code, count] : observed.all.at("exceptions").items()) {
        EXPECT_TRUE(code == "4" || code == "6") << code;
        counted += count.get<long>();
    }
    EXPECT_GE(counted + queries(observed), observed.made - 1) << observed.all;
    EXPECT_GE(2 * counted, observed.made) << observed.all;
    EXPECT_LE(counted, observed.made) << observed.all;
    EXPECT_LE(observed.all.at("timeouts"), int(ON_A_BUSY_COMPUTER)) << "an exception ends the wait at once";
}

INSTANTIATE_TEST_SUITE_P(Line, ExceptionFaults,
                         testing::Values(Fault{"exception", Carrier::PseudoTerminal},
                                         Fault{"exception", Carrier::Tcp}),
                         faultTestName);

class CorruptFaults : public Faults {};

// A wrong bit in the head makes the reply a stranger's or of another length; elsewhere the CRC tells.
TEST_P(CorruptFaults, AreNoticedByTheirCrc) {
    Observed observed;
    watch(ONE_LONG_REPLY, "0.15", &observed);
    const long crc = observed.all.at("wrong_crc");
    const long bad =
        crc + observed.all.at("timeouts").get<long>() + observed.all.at("wrong_length").get<long>();
    EXPECT_GE(2 * crc, observed.made) << observed.all << observed.seen;
    EXPECT_GE(bad + queries(observed), observed.made - 1) << observed.all << observed.seen;
    EXPECT_LE(bad, observed.made + ON_A_BUSY_COMPUTER) << observed.all << observed.seen;
    EXPECT_GE(observed.all.at("retries"), observed.made / 2) << observed.all;
}

INSTANTIATE_TEST_SUITE_P(Line, CorruptFaults,
                         testing::Values(Fault{"corrupt", Carrier::PseudoTerminal},
                                         Fault{"corrupt", Carrier::Tcp}),
                         faultTestName);

class LateFaults : public Faults {};

TEST_P(LateFaults, AreTakenWhenTheyComeAndConfuseNothing) {
    Observed observed;
    watch(THREE_FUNCTIONS, "0.1", &observed);
    const long late = observed.all.at("late");
    EXPECT_GE(late + queries(observed), observed.made - 1) << observed.all << observed.seen;
    EXPECT_GE(2 * late, observed.made) << observed.all << observed.seen;
    EXPECT_LE(observed.all.at("timeouts"), int(ON_A_BUSY_COMPUTER)) << observed.all;
    EXPECT_EQ(0, observed.all.at("wrong_crc")) << observed.all;
    EXPECT_EQ(0, observed.all.at("wrong_length")) << observed.all;
}

INSTANTIATE_TEST_SUITE_P(Line, LateFaults,
                         testing::Values(Fault{"late", Carrier::PseudoTerminal}, Fault{"late", Carrier::Tcp}),
                         faultTestName);

class SilentStation : public testing::TestWithParam<Carrier> {};
INSTANTIATE_TEST_SUITE_P(Line, SilentStation, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp),
                         carrierName);

TEST_P(SilentStation, IsCountedByItselfAndShownAsBad) {
    Rig rig(GetParam(), {"--stations", "1,2", "--fault", "silent=2"});
    const Finished run = rig.dx7(
        {"monitor", "--json", "--stats", "--seconds", "2", "--timeout", "60", "F:3.0.25@1", "F:3.0.25@2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> objects = jsonLines(run.output);
    const Json stations = ofEvent(objects, "statistics").at("stations");
    EXPECT_EQ(stations.at("2").at("requests"), stations.at("2").at("timeouts"));
    EXPECT_EQ(0, stations.at("2").at("good"));
    EXPECT_GT(stations.at("1").at("good"), stations.at("2").at("requests"));
    EXPECT_FALSE(withKey(objects, "alive").is_null()) << "it is taken out of the plan";
    for (const Json& object : objects) {
        if (object.contains("item")) {
            EXPECT_EQ(has(object, "station", 1) ? "good" : "bad", object.at("quality")) << object;
        }
    }
}

}  // namespace
