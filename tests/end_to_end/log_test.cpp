// dx7 monitor --interval and --log: each reading a row of the file, and the same row with --json.
#include <sys/stat.h>

#include <csignal>
#include <regex>
#include <set>

#include "disk.h"

namespace {

const std::string HEADER = "time,line,name,item,station,value,text,quality,fault";

// The rows of a file of comma-separated values by RFC 4180; a row that is not whole throws.
std::vector<Words> csvRows(const std::string& text) {
    std::vector<Words> rows;
    Words row{""};
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"' && quoted && i + 1 < text.size() && text[i + 1] == '"') {
            row.back() += text[i++];
        } else if (text[i] == '"') {
            quoted = !quoted;
        } else if (text[i] == ',' && !quoted) {
            row.push_back("");
        } else if (text[i] == '\n' && !quoted) {
            rows.push_back(row);
            row = {""};
        } else {
            row.back() += text[i];
        }
    }
    if (quoted || row != Words{""}) {
        throw std::runtime_error("the last row is not whole: " + row.back());
    }
    return rows;
}

// Those of a log, without its header.
std::vector<Words> logRows(const std::string& text) {
    std::vector<Words> rows = csvRows(text);
    EXPECT_FALSE(rows.empty());
    EXPECT_EQ(HEADER, text.substr(0, text.find('\n')));
    rows.erase(rows.begin(), rows.begin() + (rows.empty() ? 0 : 1));
    for (const Words& row : rows) {
        EXPECT_EQ(9U, row.size());
    }
    return rows;
}

// A time of JSON, which is local, as a log has it. The tests run in UTC or an hour that this one knows not.
std::string utcOf(const std::string& local) {
    std::tm parts{};
    int milliseconds = 0;
    char zone[8] = "";
    if (std::sscanf(local.c_str(), "%d-%d-%dT%d:%d:%d.%d%7s", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
                    &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &milliseconds, zone) != 8) {
        return "no time: " + local;
    }
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    int hours = 0;
    int minutes = 0;
    if (std::sscanf(zone, "%d:%d", &hours, &minutes) == 2) {
        parts.tm_hour -= hours;
        parts.tm_min -= hours < 0 ? -minutes : minutes;
    }
    const std::time_t seconds = ::timegm(&parts);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", std::gmtime(&seconds));
    std::snprintf(text + length, sizeof text - length, ".%03dZ", milliseconds);
    return text;
}

// What a row of the log says, made of the object of JSON.
Words rowOf(const Json& object) {
    const auto field = [&](const char* key) {
        const auto found = object.find(key);
        return found == object.end() || found->is_null() ? std::string()
               : found->is_string()                      ? found->get<std::string>()
                                                         : found->dump();
    };
    return {utcOf(object.at("time")), field("line"), field("name"),    field("item"), field("station"),
            field("value"),           field("text"), field("quality"), field("fault")};
}

class Log : public testing::Test {
protected:
    explicit Log(Carrier carrier = Carrier::PseudoTerminal) : rig(carrier, {"--stations", "1,2"}) {}

    Words monitor(const Words& words) const {
        Words all{"monitor", "--log", log, "--interval", "200ms", "--timeout", "100", "--retries", "1"};
        all.insert(all.end(), words.begin(), words.end());
        return rig.command(all);
    }
    std::vector<Words> rows() const { return logRows(readFile(log)); }

    Rig rig;
    std::string log = rig.file("log.csv");
};

class LogOfLines : public Log, public testing::WithParamInterface<Carrier> {
protected:
    LogOfLines() : Log(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Lines, LogOfLines,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(LogOfLines, TheSameRowsReachJson) {
    // Station 9 is silent, and the group 10 of station 2 is refused.
    const Finished run = runToEnd(monitor({"--json", "--seconds", "3", "AI:0", "F:0.0.02@2/scale=0.1/unit=Hz",
                                           "AI:0@9", "F:10.0.00@2", "D:0.0.10/f32"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    std::vector<Words> expected;
    for (const Json& object : jsonLines(run.output)) {
        if (object.at("event") == "value") {
            expected.push_back(rowOf(object));
        }
    }
    EXPECT_EQ(expected, rows());
    std::map<std::string, int> qualities;
    std::map<std::string, int> items;
    for (const Words& row : expected) {
        ++qualities[row[7]];
        ++items[row[3]];
        EXPECT_EQ(row[7] == "good", row[8].empty()) << row[8];
        EXPECT_EQ(row[7] == "bad", row[6].empty()) << row[6];
    }
    EXPECT_GE(qualities["good"], 36);
    for (const char* item : {"AI:0@1", "F:0.0.02@2", "AI:0@9", "F:10.0.00@2", "D:0.0.10@1"}) {
        EXPECT_GE(items[item], 12) << item << " has gaps";
        EXPECT_LE(items[item], 25) << item;
    }
}

TEST_F(Log, OfChangesHasEachChange) {
    Process run(monitor({"--json", "--changes", "F:3.0.25", "F:3.0.26"}));
    const auto value = [&run](int expected) {
        return !nextJson(run, [&](const Json& o) { return has(o, "value", expected); }).is_null();
    };
    EXPECT_TRUE(value(326));
    rig.tell("set F:3.0.25=1");
    EXPECT_TRUE(value(1));
    rig.tell("set F:3.0.25=2");
    EXPECT_TRUE(value(2));
    run.signal(SIGINT);
    EXPECT_EQ(0, run.finish().exitCode);
    std::vector<std::string> values;
    for (const Words& row : rows()) {
        values.push_back(row[5]);
    }
    EXPECT_EQ((Words{"325", "326", "1", "2"}), values);
}

// Names are quoted where they must be, and a tag's own interval goes before the command line's.
TEST_F(Log, HasTheNamesOfTheFile) {
    writeFile(rig.file("line.toml"),
              "[line]\nname = \"north\"\nserial = \"" + rig.line()[1] +
                  "\"\n[[tag]]\nname = \"say \\\"a, b\\\" \xC2\xB0\"\ntype = \"CW\"\naddress = 0\n"
                  "enum = { 0 = \"stop\", 1 = \"say \\\"go\\\"\" }\ninterval = \"1s\"\n"
                  "[[tag]]\nname = \"second\"\ntype = \"AI\"\naddress = 0\n");
    rig.tell("set CW:0=1");
    const Finished run = runToEnd(dx7Words(
        {"monitor", "-c", rig.file("line.toml"), "--log", log, "--interval", "100ms", "--seconds", "1.5"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    int own = 0;
    int others = 0;
    for (const Words& row : rows()) {
        EXPECT_EQ("north", row[1]);
        if (row[2] == "second") {
            ++others;
            continue;
        }
        ++own;
        EXPECT_EQ("say \"a, b\" \xC2\xB0", row[2]);
        EXPECT_EQ("CW:0@1", row[3]);
        EXPECT_EQ("1", row[5]);
        EXPECT_EQ("say \"go\"", row[6]);
    }
    EXPECT_EQ(2, own) << "at 0 s and 1 s";
    EXPECT_GE(others, 10);
    EXPECT_NE(std::string::npos, run.output.find("interval 1s: 2 turns, none late\n")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("interval 100ms: ")) << run.output;
}

TEST_F(Log, HasWhatIsProvenAtOnceAndWholeWhenTheProgramIsKilled) {
    Process run(monitor({"AI:0", "F:3.0.25"}));
    ASSERT_TRUE(eventually([this] {
        const std::string text = readFile(log);
        return std::count(text.begin(), text.end(), '\n') > 8;
    }));
    run.signal(SIGKILL);
    run.finish();
    const std::size_t before = rows().size();
    EXPECT_GE(before, 8U);
    const Finished again = runToEnd(monitor({"--seconds", "1", "AI:0"}));
    EXPECT_EQ(0, again.exitCode) << again.errors;
    EXPECT_GT(rows().size(), before + 3) << "it goes on in the same file";
}

TEST_P(LogOfLines, ALostDeviceLeavesRows) {
    Process run(monitor({"AI:0"}));
    ASSERT_TRUE(eventually([this] { return readFile(log).find(",good,") != std::string::npos; }));
    rig.stopDevice();
    EXPECT_TRUE(eventually([this] {
        const std::vector<Words> all = rows();
        return std::count_if(all.begin(), all.end(), [](const Words& row) { return row[7] == "bad"; }) > 5;
    }));
    rig.startDevice();
    EXPECT_TRUE(eventually([this] { return rows().back()[7] == "good"; }, std::chrono::seconds(30)));
    run.signal(SIGTERM);
    EXPECT_EQ(0, run.finish().exitCode);
}

TEST_F(Log, AFileWithAnotherHeaderIsRefusedBeforeAnythingIsSent) {
    const std::string content = "time,value\n1,2\n";
    writeFile(log, content);
    const Finished run = runToEnd(monitor({"--seconds", "1", "AI:0"}));
    EXPECT_EQ(2, run.exitCode);
    EXPECT_TRUE(std::regex_search(run.errors, std::regex("log\\.csv cannot be written: it begins with "
                                                         "\"time,value\", a log begins with \"time,line,")))
        << run.errors;
    EXPECT_EQ(content, readFile(log));
    EXPECT_EQ(0, numberBehind(rig.stopDevice(), "station 1: "));
}

TEST_F(Log, OneFileHasOneWriter) {
    Process first(monitor({"AI:0"}));
    ASSERT_TRUE(eventually([this] { return readFile(log).size() > HEADER.size() + 1; }));
    const Finished second =
        runToEnd(dx7Words({"monitor", "--tcp", "127.0.0.1:9", "--log", log, "--seconds", "1", "AI:0"}));
    EXPECT_EQ(2, second.exitCode);
    EXPECT_NE(std::string::npos, second.errors.find("another dx7 writes it")) << second.errors;
    first.signal(SIGINT);
    EXPECT_EQ(0, first.finish().exitCode);
}

TEST_F(Log, ByRotationLosesNoRow) {
    const Finished run = runToEnd(rig.command({"monitor", "--log", log, "--json", "--interval", "20ms",
                                               "--seconds", "1", "--log-rotate", "1kB", "AI:0,4"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(log).parent_path())) {
        if (entry.path().extension() == ".csv" && entry.path() != log) {
            files.insert(entry.path());
        }
    }
    EXPECT_GE(files.size(), 3U);
    std::vector<Words> found;
    for (const std::string& file : files) {
        const std::vector<Words> some = logRows(readFile(file));
        found.insert(found.end(), some.begin(), some.end());
    }
    const std::vector<Words> last = rows();
    found.insert(found.end(), last.begin(), last.end());
    std::vector<Words> expected;
    for (const Json& object : jsonLines(run.output)) {
        if (object.at("event") == "value") {
            expected.push_back(rowOf(object));
        }
    }
    EXPECT_EQ(expected, found) << "in the order of the names of the files";
}

struct Wrong {
    Words words;
    const char* said;
};
void PrintTo(const Wrong& wrong, std::ostream* out) {
    *out << wrong.said;
}

class WrongLog : public testing::TestWithParam<Wrong> {};
INSTANTIATE_TEST_SUITE_P(
    Words, WrongLog,
    testing::Values(
        Wrong{{"--interval", "1"}, "--interval is \"1\", write a number and its unit"},
        Wrong{{"--interval", "0s"}, "--interval is 0s, it must be 1 ms to a year"},
        Wrong{{"--interval", ""}, "--interval"}, Wrong{{"--log", ""}, "--log"},
        Wrong{{"--changes"}, "--changes needs a log, name its file with --log"},
        Wrong{{"--log-rotate", "1h"}, "--log-rotate needs a log"},
        Wrong{{"--log-keep", "3"}, "--log-keep needs a log"},
        Wrong{{"--log", "/tmp/no/such/log.csv"}, "the log /tmp/no/such/log.csv cannot be written: "},
        Wrong{{"--log", "/tmp"}, "the log /tmp cannot be written: "},
        Wrong{{"--log", "/dev/null", "--log-rotate", "7"}, "--log-rotate is \"7\", write a size"},
        Wrong{{"--log", "/dev/null", "--log-rotate", "0kB"}, "--log-rotate is 0kB, it must be 1kB"},
        Wrong{{"--log", "/dev/null", "--log-keep", "3"}, "--log-keep needs --log-rotate"},
        Wrong{{"--log", "/dev/null", "--log-rotate", "1h", "--log-keep", "0"}, "--log-keep is 0"}));

TEST_P(WrongLog, IsSaidAndNothingIsOpened) {
    Words words{"monitor", "--tcp", "127.0.0.1:9", "--seconds", "1", "AI:0"};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    const Finished run = runToEnd(dx7Words(words));
    EXPECT_EQ(2, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find(GetParam().said)) << run.errors;
}

class LogFileUse : public Disk {};

TEST_F(LogFileUse, TheLogIsNothingElseThatIsInUse) {
    const std::string file = disk("line.toml");
    writeFile(file, HEADER + "\n");
    for (const Words& words :
         {Words{"--log", disk("a"), "--record", disk("a")}, Words{"--log", rig.line()[1]}}) {
        Words all{"monitor", "--seconds", "1", "AI:0"};
        all.insert(all.end(), words.begin(), words.end());
        const Finished run = rig.dx7(all);
        EXPECT_EQ(2, run.exitCode);
        EXPECT_NE(std::string::npos, run.errors.find("would overwrite")) << run.errors;
    }
    expectNothingSent();
}

TEST_F(LogFileUse, AFullDiskEndsTheRunAndLeavesWholeRows) {
    const std::string log = disk("log.csv");
    for (const char* setting : {"trap '' XFSZ; ulimit -f 1", "ulimit -f 1"}) {
        emptyDisk();
        const Finished run = runToEnd(inShell(
            setting,
            rig.command({"monitor", "--interval", "20ms", "--seconds", "20", "--log", log, "AI:0,4"})));
        EXPECT_EQ(1, run.exitCode);
        EXPECT_NE(std::string::npos, run.errors.find("log.csv cannot be written any more: File too large"))
            << run.errors;
        EXPECT_EQ(1, std::count(run.errors.begin(), run.errors.end(), '\n')) << run.errors;
        EXPECT_GE(logRows(readFile(log)).size(), 5U);
    }
}

class FailingLog : public FailingDisk {};
INSTANTIATE_TEST_SUITE_P(Faults, FailingLog, diskFaults());

TEST_P(FailingLog, TheRowsAreWholeOrTheRunFails) {
    const std::string log = disk("log.csv");
    const Words monitor =
        rig.command({"monitor", "--seconds", "0.2", "--interval", "100ms", "--log", log, "--json", "AI:0,2"});
    for (int step = 1; step < 60; ++step) {
        emptyDisk();
        if (GetParam().oldFile) {
            writeFile(log, HEADER + "\n2026-01-31T12:00:00.123Z,x,a,AI:0@1,1,1,1,good,\n");
        }
        Finished run;
        const std::string what = runFailing(monitor, step, GetParam().error, &run);
        SCOPED_TRACE(what + " of step " + std::to_string(step) + ": " + run.errors);
        if (run.exitCode == 0) {
            std::size_t told = GetParam().oldFile ? 1 : 0;
            for (const Json& object : jsonLines(run.output)) {
                told += object.at("event") == "value" ? 1 : 0;
            }
            EXPECT_EQ(told, logRows(readFile(log)).size());
        } else {
            EXPECT_FALSE(isPassing());
            EXPECT_NE(std::string::npos, run.errors.find("dx7: the log ")) << run.errors;
        }
        if (what.empty()) {
            EXPECT_EQ(0, run.exitCode);
            break;
        }
    }
}

// A line that is too slow for the interval says so once, and what it would keep.
TEST(SlowLine, SaysThatItCannotKeepTheInterval) {
    Rig rig(Carrier::PseudoTerminal, {"--baud", "9600"});
    const Finished run = rig.dx7(
        {"monitor", "--baud", "9600", "--interval", "20ms", "--seconds", "3", "--json", "F:0.0.00,40"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    // A computer that is busy may have more to say of the line, and takes longer.
    EXPECT_TRUE(std::regex_search(
        run.errors,
        std::regex("dx7: the line cannot keep an interval of 20ms: [0-9]+ turns in a row were late; "
                   "an interval of [0-9]+ms would be kept\n")))
        << run.errors;
    const Json interval = ofEvent(jsonLines(run.output), "interval");
    EXPECT_GT(interval.at("late"), 20);
    EXPECT_GE(interval.at("turns"), interval.at("late"));
    EXPECT_GT(interval.at("achievable_ms"), 150);
    EXPECT_LT(interval.at("achievable_ms"), 20000);
}

}  // namespace
