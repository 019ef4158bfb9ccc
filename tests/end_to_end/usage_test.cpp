// Wrong arguments, files, addresses and values: one clear line, exit code 2, and nothing is sent.
#include <regex>

#include "rig.h"

namespace {

struct Wrong {
    Words words;          ///< "%" in a word stands for the file.
    std::string content;  ///< Of the file.
    std::string named;    ///< What the line must name; "%" stands for the file.
};
void PrintTo(const Wrong& wrong, std::ostream* out) {
    for (const std::string& word : wrong.words) {
        *out << word << ' ';
    }
    *out << wrong.content;
}

std::string withFile(std::string text, const std::string& file) {
    const std::size_t at = text.find('%');
    return at == std::string::npos ? text : text.replace(at, 1, file);
}

class WrongUse : public testing::TestWithParam<Wrong> {
protected:
    void expectRefusal(const Rig& rig, const std::string& file, const Finished& run) {
        EXPECT_EQ(2, run.exitCode) << run.output << run.errors;
        EXPECT_EQ("", run.output);
        EXPECT_TRUE(std::regex_match(run.errors, std::regex("dx7: [^\n]+\n"))) << run.errors;
        EXPECT_NE(std::string::npos, run.errors.find(withFile(GetParam().named, file)))
            << run.errors << "does not name " << GetParam().named << " on " << rig.line()[1];
    }
    Words words(const std::string& file) const {
        Words all;
        for (const std::string& word : GetParam().words) {
            all.push_back(withFile(word, file));
        }
        return all;
    }
};

class WrongArguments : public WrongUse {};

TEST_P(WrongArguments, AreRefusedBeforeAnythingIsSent) {
    Rig rig(Carrier::PseudoTerminal);
    const std::string file = rig.file("wrong.toml");
    writeFile(file, GetParam().content);
    expectRefusal(rig, file, rig.dx7(words(file)));
    const std::string seen = rig.stopDevice();
    EXPECT_EQ(0, numberBehind(seen, "station 1: ")) << seen;
    EXPECT_EQ(0, numberBehind(seen, "not for us: ")) << seen;
    EXPECT_EQ(0, numberBehind(seen, "broadcasts: ")) << seen;
}

INSTANTIATE_TEST_SUITE_P(
    Values, WrongArguments,
    testing::Values(Wrong{{"write", "MOD:1=1", "F:0.0.00=65536"}, "", "65536"},
                    Wrong{{"write", "F:0.0.00=-40000"}, "", "-40000"}, Wrong{{"write", "SDO:1=2"}, "", "2"},
                    Wrong{{"write", "F:0.0.00/u32=4294967296"}, "", "4294967296"},
                    Wrong{{"write", "F:0.0.00/u32=-1"}, "", "0 to 4294967295"},
                    Wrong{{"write", "F:0.0.00/s32=3000000000"}, "", "-2147483648 to 2147483647"},
                    Wrong{{"write", "F:0.0.00/signed/scale=0.1/unit=Hz=5000"}, "", "-3276.8 to 3276.7 Hz"},
                    Wrong{{"write", "F:0.0.00/unsigned=-5"}, "", "0 to 65535"},
                    Wrong{{"write", "--verify", "F:0.0.00/scale=3=10"}, "", "the nearest are 9 and 12"},
                    Wrong{{"write", "F:0.0.00/scale=0.001=0.0004"}, "", "the nearest are 0.000 and 0.001"},
                    Wrong{{"write", "F:0.0.00/scale=0.1=1e30"}, "", "0.0 to 6553.5"},
                    Wrong{{"write", "F:0.0.00/scale=0.1=0x10"}, "", "decimal"},
                    Wrong{{"write", "F:0.0.00/hex=-1"}, "", "0x0000 to 0xffff"},
                    Wrong{{"write", "F:0.0.00/scale=0.1=9999"}, "", "0.0 to 6553.5"},
                    Wrong{{"write", "F:0.0.00/scale=-0.1=9999"}, "", "-6553.5 to 0.0"},
                    Wrong{{"write", "F:0.0.00="}, "", "F"}, Wrong{{"write", "F:0.0.00=1.5"}, "", "1.5"},
                    Wrong{{"write", "F:0.0.00=nan"}, "", "nan"},
                    Wrong{{"write", "F:0.0.00/scale=0.1=inf"}, "", "inf"},
                    Wrong{{"write", "DE:0=1"}, "", "DE"}, Wrong{{"write", "MOD:1@0=1"}, "", "broadcast"},
                    Wrong{{"write", "--verify", "DO:1@0=1"}, "", "broadcast"},
                    Wrong{{"write", "MOD:2=1,2"}, "", "MOD"}, Wrong{{"write", "F:0.0.00,2=1"}, "", "count"}));

// What the driver would take, as another address or with a part left out.
INSTANTIATE_TEST_SUITE_P(
    Fingers, WrongArguments,
    testing::Values(
        Wrong{{"write", "MOD:1=1", "F:3O.0.24=777"}, "", "the nearest is \"F:3.0.24\""},
        Wrong{{"write", "F:3.9.25=1"}, "", "the nearest is \"F:3.0.25\""},
        Wrong{{"write", "F:3.0.5=1"}, "", "the nearest is \"F:3.0.05\""},
        Wrong{{"write", "F:a.0.01=1"}, "", "the nearest is \"F:A.0.01\""},
        Wrong{{"write", "MOD:01=1"}, "", "the nearest is \"MOD:1\""},
        Wrong{{"write", "MOD: 1=1"}, "", "the nearest is \"MOD:1\""},
        Wrong{{"write", "MOD:1@01=1"}, "", "the nearest is \"1\""},
        Wrong{{"write", "MOD:1@ 1=1"}, "", "the nearest is \"1\""},
        Wrong{{"write", "MOD:1,+1=1"}, "", "the nearest is \"1\""},
        Wrong{{"write", "mod:1=1"}, "", "\"MOD\""}, Wrong{{"write", "MOD:1= 1"}, "", "\" 1\""},
        Wrong{{"write", "MOD:1=\u0661"}, "", "not a number"},
        Wrong{{"read", "F:F.#.55"}, "", "the nearest is \"F:F.0.55\""},
        Wrong{{"monitor", "--count", "1", "F:3.0.5"}, "", "\"F:3.0.05\""},
        Wrong{{"plan", "F:3.0.8,5"}, "", "\"F:3.0.08\""},

        Wrong{{"write", "F:10.0.00=1"}, "", "F:10.0.00 is beyond the end of F"},
        Wrong{{"write", "MOD:1=1", "F:F.0.55,2=1,2"}, "", "F:10.0.00 is beyond the end of F"},
        Wrong{{"write", "MOD:1=1", "F:3.0.20=1,2"}, "", "F:3.0.20,2=1,2"},
        Wrong{{"write", "MOD:1=1", "F:3.0.20,3=1,2"},
              "",
              "takes 3 values, as many as its count, but 2 are given"},
        Wrong{{"write", "F:3.0.20/scale=0.1/unit=s=-1"}, "", "0.0 to 6553.5 s"},
        Wrong{{"write", "F:3.0.20/unit=s=-1"}, "", "0 to 65535 s"},
        Wrong{{"read", "F:3.0.20/scale=1e304"}, "", "scale 1e+304 is too large"},
        Wrong{{"write", "F:3.0.24/u32/signed=5"}, "", "\"signed\" is a second presentation"},
        Wrong{{"write", "F:3.0.24/scale=0.1/scale=10=5"}, "", "\"scale=10\" is a second scale"},
        Wrong{{"read", "F:3.0.24/unit=a/unit=b"}, "", "\"unit=b\" is a second unit"},
        Wrong{
            {"read", "-c", "%"},
            "[[tag]]\nname = \"a\"\ntype = \"F\"\naddress = \"3.0.24\"\nformat = \"scale=5\"\nscale = 0.1\n",
            "is a second scale"},
        Wrong{{"write", "DO:1/unsigned=1"}, "", "DO holds bits, which have no format"},
        Wrong{{"write", "F:3.0.25/scale=0.1=1,5"}, "", "a decimal fraction has a point: 1.5"},
        Wrong{{"write", "[F:3.0.20=1,F:3.0.21=2]"}, "", "[F"}, Wrong{{"check", "[F:3.0.25]"}, "", "[F"},
        Wrong{{"write", "-c", "%", "F:3.0.25=5"},
              "[[tag]]\nname = \"F:3.0.25\"\ntype = \"F\"\naddress = \"0.0.01\"\n",
              "%:2:8: the tag's name \"F:3.0.25\" is the text of another item"},
        Wrong{{"write", "-c", "%", "F:3.0.25@1=5"},
              "[[tag]]\nname = \"F:3.0.25@1\"\ntype = \"F\"\naddress = \"3.0.25\"\nstation = 2\n",
              "is the text of another item"},
        Wrong{{"read", "-c", "b\xfc.toml"}, "", "argument 3 ("},
        Wrong{{"write", "-c", "%", "ramp=12,3"},
              "[[tag]]\nname = \"ramp\"\ntype = \"F\"\naddress = \"3.0.20\"\nscale = 0.1\n",
              "tag \"ramp\" takes 1 value, as many as its count, but 2 are given; a run is written "
              "TYPE:ADDRESS,COUNT=VALUE,VALUE..."},
        Wrong{{"write", "-c", "%", "out=1"},
              "[[tag]]\nname = \"out\"\ntype = \"DO\"\naddress = 1\ncount = 2\n",
              "tag \"out\" takes 2 values, as many as its count, but 1 is given"},
        Wrong{{"write", "-c", "%", "out[0]=1,0"},
              "[[tag]]\nname = \"out\"\ntype = \"DO\"\naddress = 1\ncount = 2\n",
              "tag \"out[0]\" takes 1 value"},
        Wrong{{"read", "-c", "%"},
              "[[tag]]\nname = \"a\"\ntype = \"F\"\naddress = \"3O.0.24\"\n",
              "%:4:11: tag \"a\": \"F:3O.0.24\" is not a valid address, the nearest is \"F:3.0.24\""}));

// A number of an option is written in one way, too.
INSTANTIATE_TEST_SUITE_P(
    Numbers, WrongArguments,
    testing::Values(
        Wrong{{"read", "AI:0", "--timeout", "0100"}, "", "--timeout: \"0100\" is not a whole number"},
        Wrong{{"read", "AI:0", "--timeout", "0x64"}, "", "--timeout: \"0x64\" is not a whole number"},
        Wrong{{"read", "AI:0", "--timeout", " 100"}, "", "--timeout: \" 100\" is not a whole number"},
        Wrong{{"read", "AI:0", "--gap", "5,5"}, "", "--gap: \"5,5\" is not a number"},
        Wrong{{"read", "AI:0", "--gap", "0x1p3"}, "", "--gap: \"0x1p3\" is not a number"},
        Wrong{{"read", "AI:0", "--gap", "05"}, "", "--gap: \"05\" is not a number"},
        Wrong{{"read", "AI:0", "--gap", "+5"}, "", "--gap: \"+5\" is not a number"},
        Wrong{{"read", "AI:0", "--gap", " 5"}, "", "--gap: \" 5\" is not a number"},
        Wrong{{"monitor", "AI:0", "--seconds", "inf"}, "", "--seconds: \"inf\" is not a number"},
        Wrong{{"scan", "--stations", "01-3"}, "", "--stations"},
        Wrong{{"scan", "--stations", "1, 3"}, "", "--stations"},
        Wrong{{"params", "save", "%", "--groups", "+3"}, "", "--groups"}));

INSTANTIATE_TEST_SUITE_P(
    Items, WrongArguments,
    testing::Values(Wrong{{"read", "AI:0@248"}, "", "248"}, Wrong{{"read", "AI:0@"}, "", "station"},
                    Wrong{{"read", "AI:0/wrong"}, "", "wrong"},
                    Wrong{{"read", "AI\n\x1b[2J:0"}, "", "\"AI\\x0a\\x1b[2J\" is unknown"},
                    Wrong{{"read", "AI\xe2\x80\xae:0"}, "", "\"AI\\u202e\" is unknown"},
                    Wrong{{"read", "AI:0/unit=\x1b[2J"}, "", "the unit holds a control character"},
                    Wrong{{"read", "AI:0/unit=m/s"}, "", "a unit with a \"/\" can only be a tag's"},
                    Wrong{{"read", "DO:1/u32"}, "", "DO"}, Wrong{{"read", "F:0.0.09/u32"}, "", "0.0.09"},
                    Wrong{{"read", "DO:1/hex"}, "", "bits"}, Wrong{{"read", "DO:1/scale=2"}, "", "bits"},
                    Wrong{{"write", "SDO:1/unit=V=1"}, "", "bits"},
                    Wrong{{"read", "AI:0/hex/scale=2"}, "", "scale"},
                    Wrong{{"read", "AI:0/low-first"}, "", "low-first"},
                    Wrong{{"read", "AI:0/scale=0"}, "", "scale"}, Wrong{{"read", "AI:0,0"}, "", "count"},
                    Wrong{{"read", "AI:0,99999999999"}, "", "99999999999"},
                    Wrong{{"read", "AI:99999999999"}, "", "99999999999"}, Wrong{{"read", ""}, "", "\"\""},
                    Wrong{{"read", "AI:0", "ai:0"}, "", "ai"}, Wrong{{"monitor", "FW:0"}, "", "FW"},
                    Wrong{{"plan", "AI:0", "AI:9"}, "", "9"}));

INSTANTIATE_TEST_SUITE_P(
    Options, WrongArguments,
    testing::Values(
        Wrong{{"read"}, "", "item"}, Wrong{{"write"}, "", "item"},
        Wrong{{"read", "--nonsense", "AI:0"}, "", "--nonsense"},
        Wrong{{"read", "--timout", "5", "AI:0"}, "", "--timout; the nearest is \"--timeout\""},
        Wrong{{"params", "laod", "%"}, "", "use one of save, diff, load; the nearest is \"load\""},
        Wrong{{"read", "AI:0/singed"}, "", "the nearest is \"signed\""},
        Wrong{{"read", "AI:0", "--timeout", "0"}, "", "--timeout"},
        Wrong{{"read", "AI:0", "--timeout", "soon"}, "", "--timeout: \"soon\" is not a whole number"},
        Wrong{{"read", "AI:0", "--baud", "9600.5"}, "", "--baud: \"9600.5\" is not a whole number"},
        Wrong{
            {"read", "AI:0", "--baud", "99999999999999"}, "", "is 99999999999999, it must be 50 to 4000000"},
        Wrong{{"read", "AI:0", "--gap", "long"}, "", "--gap: \"long\" is not a number"},
        Wrong{{"monitor", "AI:0", "--count", "all"}, "", "--count: \"all\" is not a whole number"},
        Wrong{{"monitor", "AI:0", "--seconds", "1 h"}, "", "--seconds: \"1 h\" is not a number"},
        Wrong{{"params", "save", "%", "--station", "one"}, "", "--station: \"one\" is not a whole number"},
        Wrong{{"params", "save", "%", "--station", "4294967297"}, "", "4294967297, it must be 1 to 247"},
        Wrong{{"read", "AI:0", "--retries", "-1"}, "", "--retries"},
        Wrong{{"read", "AI:0", "--block", "126"}, "", "126"},
        Wrong{{"read", "AI:0", "--record", ""}, "", "--record: the text is empty"},
        Wrong{{"read", "AI:0", "--config", ""}, "", "--config"}, Wrong{{"params", "load", ""}, "", "file"},
        Wrong{{"params", "save", ""}, "", "file"}, Wrong{{"read", "AI:0", "--block", "0"}, "", "--block"},
        Wrong{{"read", "AI:0", "--retries", "100"}, "", "0 to 99"},
        Wrong{{"read", "AI:0", "--timeout", "600001"}, "", "600001"},
        Wrong{{"read", "AI:0", "--timeout", "5000000000"}, "", "5000000000"},
        Wrong{{"read", "AI:0", "--gap", "10000.5"}, "", "0 to 10000"},
        Wrong{{"read", "AI:0", "--rs485"}, "", "leave --rs485"},
        Wrong{{"plan", "AI:0", "--record", "x"}, "", "--record"},
        Wrong{{"read", "AI:0", "--record", "/dev/full"}, "", "/dev/full"},
        Wrong{{"read", "AI:0", "--gap", "-1"}, "", "--gap"},
        Wrong{{"read", "AI:0", "--gap", "nan"}, "", "--gap"},
        Wrong{{"read", "AI:0", "--baud", "0"}, "", "--baud"},
        Wrong{{"read", "AI:0", "--parity", "mark"}, "", "mark"},
        Wrong{{"read", "AI:0", "--data-bits", "9"}, "", "--data-bits"},
        Wrong{{"read", "AI:0", "--stop-bits", "3"}, "", "--stop-bits"},
        Wrong{{"read", "AI:0", "--tcp", "localhost"}, "", "--tcp"},
        Wrong{{"monitor", "AI:0", "--count", "0"}, "", "--count"},
        Wrong{{"monitor", "AI:0", "--seconds", "-3"}, "", "--seconds"},
        Wrong{{"scan", "--stations", "0-5"}, "", "--stations"},
        Wrong{{"scan", "--stations", "1-248"}, "", "--stations"},
        Wrong{{"scan", "--stations", "9-1"}, "", "--stations"},
        Wrong{{"scan", "--stations", "all"}, "", "--stations"},
        Wrong{{"params", "save", "%", "--groups", "16"}, "", "--groups"},
        Wrong{{"params", "save", "%", "--station", "0"}, "", "--station"},
        Wrong{{"params", "save", "/nowhere/p.toml"}, "", "/nowhere/p.toml"},
        Wrong{{"params", "rename", "%"}, "", "rename"},
        Wrong{{"read", "AI:0", "--record", "/nowhere/line.pcap"}, "", "/nowhere/line.pcap"}));

INSTANTIATE_TEST_SUITE_P(
    ParameterFiles, WrongArguments,
    testing::Values(
        Wrong{{"params", "load", "/nowhere/p.toml"}, "", "/nowhere/p.toml"},
        Wrong{{"params", "load", "%"}, "", "%"},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\"3.0.25\" = \n", "%:3:"},
        Wrong{{"params", "load", "%"}, "station = 1\nstatoin = 2\n[F]\n\"3.0.25\" = 1\n", "%:2:1: "},
        Wrong{{"params", "load", "%"}, "station = 300\n[F]\n\"3.0.25\" = 1\n", "%:1:"},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\"3.0.25\" = 65536\n", "%:3:"},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\"3.0.25\" = -1\n", "%:3:"},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\"3.0.25\" = \"many\"\n", "%:3:"},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\n  \"3.0.56\" = 1\n", "%:4:3: "},
        Wrong{{"params", "diff", "%"}, "station = 1\n[AI]\n\"0\" = 1\n", "%:2:"},
        Wrong{{"params", "diff", "%"},
              "station = 1\n[F]\n\"3.0.25\" = 1\n\"3.#.25\" = 1\n",
              "%:4:1: \"F:3.#.25\" is not a valid address, the nearest is \"F:3.0.25\""},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\"3O.0.24\" = 1\n", "the nearest is \"F:3.0.24\""},
        Wrong{{"params", "load", "%"}, "station = 1\n[F]\n\"10.0.00\" = 1\n", "%:3:1: F:10.0.00 is beyond"},
        Wrong{{"params", "diff", "%"}, "station = \"one\"\n[F]\n\"3.0.25\" = 1\n", "%:1:11: "},
        Wrong{{"params", "diff", "%"}, "station = 1\n[F]\n", "%:1:1: "},
        Wrong{{"params", "diff", "%"}, "station = 1\n[FOO]\n\"0\" = 1\n", "%:2:"}));

INSTANTIATE_TEST_SUITE_P(
    LineFiles, WrongArguments,
    testing::Values(
        Wrong{{"read", "-c", "/nowhere/line.toml", "AI:0"}, "", "/nowhere/line.toml"},
        Wrong{{"read", "-c", "%"}, "[line]\nbaud = 9600\nbuad = 9600\n", "%:3:1: "},
        Wrong{{"read", "-c", "%"}, "[lines]\nbaud = 9600\n", "%:1:"},
        Wrong{{"read", "-c", "%"}, "[line]\nbaud = \"fast\"\n", "%:2:"},
        Wrong{{"read", "-c", "%"}, "[line]\nbaud = 9600\n[[tag]]\nname = \"a\"\ntype = \"AI\"\n", "%:3:"},
        Wrong{{"read", "-c", "%"},
              "[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 0\n  colour = 1\n",
              "%:5:3: "},
        Wrong{{"read", "-c", "%"}, "[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 4\n", "%:4:11: "},
        Wrong{{"read", "-c", "%"}, "[line\n", "%:1:"},
        Wrong{
            {"read", "-c", "%", "nobody"}, "[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 0\n", "nobody"}));

// Where each key of a file is wrong, with a type that cannot be or a value out of range.
INSTANTIATE_TEST_SUITE_P(
    LineKeys, WrongArguments,
    testing::Values(Wrong{{"read", "-c", "%"}, "[line]\nbaud = 5\n", "%:2:8: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nbaud = 9600.0\n", "%:2:8: "},
                    Wrong{{"read", "-c", "%"},
                          "[line]\nbaud = 99999999999\n",
                          "%:2:8: the baud rate (--baud) is 99999999999, it must be 50 to 4000000"},
                    Wrong{{"read", "-c", "%"},
                          "[line]\ntimeout = -9999999999\n",
                          "is -9999999999, it must be 1 to 600000"},
                    Wrong{{"read", "-c", "%"}, "[line]\nparity = \"mark\"\n", "%:2:10: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nparity = 0\n", "%:2:10: "},
                    Wrong{{"read", "-c", "%"}, "[line]\ndata_bits = 9\n", "%:2:13: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nstop_bits = 0\n", "%:2:13: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nrs485 = 1\n", "%:2:9: "},
                    Wrong{{"read", "-c", "%"}, "[line]\ntcp = \"a\"\nrs485 = true\n", "%:3:9: "},
                    Wrong{{"read", "-c", "%"}, "[line]\ntcp = \"a:0\"\n", "%:2:7: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nserial = \"\"\n", "%:2:10: "},
                    Wrong{{"read", "-c", "%"}, "[line]\ntimeout = 0\n", "%:2:11: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nretries = -1\n", "%:2:11: "},
                    Wrong{{"read", "-c", "%"}, "[line]\nblock = 126\n", "%:2:9: "},
                    Wrong{{"read", "-c", "%"}, "[line]\ngap = -1\n", "%:2:7: "},
                    Wrong{{"read", "-c", "%"}, "[line]\ngap = nan\n", "%:2:7: "},
                    Wrong{{"read", "-c", "%"}, "line = 3\n", "%:1:8: "},
                    Wrong{{"read", "-c", "%"}, "[tag]\nname = \"a\"\n", "%:1:1: "}));

std::string tag(const std::string& lines) {
    return "[[tag]]\n" + lines;
}
const std::string WORD = "name = \"a\"\ntype = \"F\"\naddress = \"0.0.00\"\n";
const std::string BIT = "name = \"a\"\ntype = \"DO\"\naddress = 1\n";

INSTANTIATE_TEST_SUITE_P(
    TagKeys, WrongArguments,
    testing::Values(
        Wrong{{"read", "-c", "%"},
              tag("name = \"a\\u001b[2Jb\"\ntype = \"F\"\naddress = \"0.0.00\"\n"),
              "%:2:8: the tag's name holds a control character"},
        Wrong{{"read", "-c", "%"},
              tag("name = \"\"\"a\nb\"\"\"\ntype = \"F\"\naddress = \"0.0.00\"\n"),
              "%:2:8: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "unit = \"V\\u009b2J\"\n"), "%:5:8: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "format = \"signed/unit=\\u0007\"\n"), "%:5:10: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "\"\\u001b[2J\" = 1\n"), "%:5:1: key \"\\x1b[2J\" is unknown"},
        Wrong{{"read", "-c", "%"}, tag("name = \"\"\n"), "%:2:8: "},
        Wrong{{"read", "-c", "%"}, tag("name = 1\n"), "%:2:8: "},
        Wrong{{"read", "-c", "%"}, tag("name = \"a\"\ntype = \"X\"\naddress = 0\n"), "%:3:8: "},
        Wrong{{"read", "-c", "%"}, tag("name = \"a\"\ntype = \"F\"\naddress = true\n"), "%:4:11: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "station = 248\n"), "%:5:11: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "station = 0\n"), "%:5:11: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "count = 0\n"), "%:5:9: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "count = 1001\n"), "%:5:9: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "format = \"octal\"\n"), "%:5:10: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "format = 16\n"), "%:5:10: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "scale = 0\n"), "%:5:9: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "scale = inf\n"), "%:5:9: "},
        Wrong{{"read", "-c", "%"}, tag(WORD + "unit = 5\n"), "%:5:8: "},
        Wrong{{"read", "-c", "%"}, tag(BIT + "format = \"hex\"\n"), "%:5:10: "},
        Wrong{{"read", "-c", "%"}, tag(BIT + "scale = 2\n"), "%:5:9: "},
        Wrong{{"read", "-c", "%"}, tag(BIT + "unit = \"V\"\n"), "%:5:8: "},
        Wrong{{"read", "-c", "%"}, tag(WORD) + tag(WORD), "%:5:1: "}));

class WrongWithoutALine : public WrongUse {};

TEST_P(WrongWithoutALine, IsRefused) {
    const Rig rig(Carrier::PseudoTerminal);
    const std::string file = rig.file("wrong");
    writeFile(file, GetParam().content);
    expectRefusal(rig, file, runToEnd(dx7Words(words(file))));
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongWithoutALine,
    testing::Values(Wrong{{"read", "AI:0"}, "", "--serial"}, Wrong{{"frobnicate"}, "", "frobnicate"},
                    Wrong{{"read", "AI:0", "--serial", "%"}, "", "%"},
                    Wrong{{"read", "AI:0", "--serial", ""}, "", "--serial"},
                    Wrong{{"read", "AI:0", "--tcp", "127.0.0.1:65536"}, "", "65536"},
                    Wrong{{"read", "AI:0", "--tcp", "127.0.0.1:0"}, "", "\"0\""},
                    Wrong{{"read", "AI:0", "--tcp", "127.0.0.1:http"}, "", "http"},
                    Wrong{{"read", "AI:0", "--tcp", ":502"}, "", ":502"},
                    Wrong{{"read", "AI:0", "--tcp", "127.0.0.1:1"}, "", "127.0.0.1:1"},
                    Wrong{{"read", "AI:0", "--rs485", "--tcp", "127.0.0.1:1"}, "", "RS-485"},
                    Wrong{{"replay", "/nowhere/line.pcap"}, "", "/nowhere/line.pcap"},
                    Wrong{{"replay", "%"}, "this is no recording", "%"}, Wrong{{"check"}, "", "item"},
                    Wrong{{"copies", "F:0.0.00"}, "", "copies"},
                    Wrong{{"copies", "F:0.0.0", "3"}, "", "\"F:0.0.00\""},
                    Wrong{{"copies", "F:0.0.00", "few"}, "", "copies: \"few\" is not a whole number"},
                    Wrong{{"copies", "F:0.0.00", "4294967297"}, "", "4294967297, it must be 1 to 1000"},
                    Wrong{{"copies", "F:0.0.00", "2", "--step", "2147483647"}, "", "--step"},
                    Wrong{{"--version", "extra"}, "", "--version is given alone, not with \"extra\""},
                    Wrong{{"--version", "read"}, "", "--version is given alone"},
                    Wrong{{"--help", "extra"}, "", "command \"extra\" is unknown"},
                    Wrong{{"--json", "types"}, "", "\"--json\" is not valid here"},
                    Wrong{{"params", "--groups=3", "save", "%"}, "", "\"--groups\" is not valid here"},
                    Wrong{{"replay", ""}, "", "file"},
                    Wrong{{"copies", "F:0.0.00", "0"}, "", "copies is 0"}));

// Like any other output: what could not be printed was not done.
TEST(HelpAndVersion, ThatCannotBeWrittenFail) {
    for (const char* words : {"--help", "--version", "read --help", "params save --help", "--help read"}) {
        const Finished run =
            runToEnd({"/bin/sh", "-c", std::string("exec '") + dx7Program + "' " + words + " >/dev/full"});
        EXPECT_EQ(1, run.exitCode) << words;
        EXPECT_EQ("dx7: standard output cannot be written: No space left on device\n", run.errors) << words;
        const Finished written =
            runToEnd({"/bin/sh", "-c", std::string("exec '") + dx7Program + "' " + words});
        EXPECT_EQ(0, written.exitCode) << words;
        EXPECT_EQ('\n', written.output.back()) << words;
        EXPECT_NE('\n', written.output[written.output.size() - 2]) << words;
    }
}

TEST(WithoutACommand, TheCommandsAreNamed) {
    const Finished run = runToEnd({dx7Program});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("monitor")) << run.errors;
}

}  // namespace
