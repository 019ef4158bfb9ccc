// Line files with several lines, devices and templates.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "host/error.h"
#include "host/files/line_file.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

constexpr char LINES[] = R"(
[[line]]
name = "north"
serial = "/dev/ttyS1"
baud = 19200

[[line]]
name = "south"
tcp = "10.0.0.7"
)";

class PlantFile : public testing::Test {
protected:
    void write(const char* name, const std::string& content) const {
        const QString path = folder.filePath(QString::fromLatin1(name));
        ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content.data(), static_cast<qint64>(content.size()));
    }
    LineFile plant() const { return LineFile(folder.filePath(QStringLiteral("plant.toml"))); }
    // The points of all tags, as "NAME ITEM LINE".
    QStringList points(const std::string& content) const {
        write("plant.toml", content);
        QStringList texts;
        const LineFile file(folder.filePath(QStringLiteral("plant.toml")));
        for (const LineTag& tag : file.tags(notation())) {
            for (const Point& point : tag.points) {
                texts += QStringLiteral("%1 %2 %3").arg(point.name, point.notation()).arg(tag.line);
            }
        }
        return texts;
    }
    // What it is refused with; its folder is left out.
    std::string refusalOf(const std::string& content) const {
        try {
            return "taken: " + points(content).join(QStringLiteral(", ")).toStdString();
        } catch (const UsageError& error) {
            return QString(error.text()).remove(folder.path() + QLatin1Char('/')).toStdString();
        }
    }

    QTemporaryDir folder;
};

TEST_F(PlantFile, HasSeveralLines) {
    write("plant.toml", LINES);
    const LineFile file(folder.filePath(QStringLiteral("plant.toml")));
    EXPECT_EQ(file.lines(), (QStringList{QStringLiteral("north"), QStringLiteral("south")}));
    LineSettings settings;
    file.apply(settings, file.lineNamed(QStringLiteral("south")));
    EXPECT_EQ(settings.name, QStringLiteral("south"));
    EXPECT_EQ(settings.carrier, Carrier::Tcp);
    EXPECT_EQ(settings.baud, 9600);
    file.apply(settings, 0);
    EXPECT_EQ(settings.name, QStringLiteral("north"));
    EXPECT_EQ(settings.baud, 19200);
}

TEST_F(PlantFile, TagsSayTheirLine) {
    EXPECT_EQ(points(std::string(LINES) + R"(
[[tag]]
name = "speed"
type = "AI"
address = 0
line = "south"
[[tag]]
name = "out"
type = "DO"
address = 1
count = 2
line = "north"
)"),
              (QStringList{QStringLiteral("speed AI:0@1 1"), QStringLiteral("out[0] DO:1@1 0"),
                           QStringLiteral("out[1] DO:2@1 0")}));
    const LineFile file(folder.filePath(QStringLiteral("plant.toml")));
    EXPECT_EQ(file.lineOfTag(QStringLiteral("speed")), 1);
    EXPECT_EQ(file.lineOfTag(QStringLiteral("out[1]")), 0);
    EXPECT_FALSE(file.lineOfTag(QStringLiteral("speed[0]")));
    EXPECT_EQ(file.linesWithTags(), (QVector<int>{0, 1}));
}

TEST_F(PlantFile, ADeviceMakesTagsForItsStations) {
    EXPECT_EQ(
        points(std::string(LINES) + R"(
[[device]]
name = "conveyor"
line = "south"
stations = [2, 1]
[[device.tag]]
name = "speed"
type = "AI"
address = 0
[[device.tag]]
name = "ramp"
type = "F"
address = "3.0.25"
count = 2
[[device]]
name = "pump"
line = "north"
station = 9
[[device.tag]]
name = "speed"
type = "AI"
address = 0
)"),
        (QStringList{
            QStringLiteral("conveyor 2/speed AI:0@2 1"), QStringLiteral("conveyor 2/ramp[0] F:3.0.25@2 1"),
            QStringLiteral("conveyor 2/ramp[1] F:3.0.26@2 1"), QStringLiteral("conveyor 1/speed AI:0@1 1"),
            QStringLiteral("conveyor 1/ramp[0] F:3.0.25@1 1"),
            QStringLiteral("conveyor 1/ramp[1] F:3.0.26@1 1"), QStringLiteral("pump/speed AI:0@9 0")}));
}

TEST_F(PlantFile, WithOneLineItNeedNotBeNamed) {
    EXPECT_EQ(
        points("[line]\nserial = \"/dev/ttyS1\"\n[[device]]\nname = \"a\"\n[[device.tag]]\nname = \"b\"\n"
               "type = \"AI\"\naddress = 0\n"),
        QStringList{QStringLiteral("a/b AI:0@1 0")})
        << "station 1 when it names none";
    EXPECT_EQ(points("[[line]]\nname = \"x\"\nserial = \"/dev/ttyS1\"\n[[tag]]\nname = \"b\"\ntype = \"AI\"\n"
                     "address = 0\n[[tag]]\nname = \"c\"\nline = \"x\"\ntype = \"AI\"\naddress = 0\n"),
              (QStringList{QStringLiteral("b AI:0@1 0"), QStringLiteral("c AI:0@1 0")}));
}

TEST_F(PlantFile, IncludesTemplatesRelativeToTheFile) {
    write("types/drive.toml",
          "include = [\"common.toml\"]\n[[tag]]\nname = \"speed\"\ntype = \"AI\"\naddress = 0\n");
    write("types/common.toml", "[[tag]]\nname = \"status\"\ntype = \"SW\"\naddress = 0\n");
    EXPECT_EQ(points(R"(
[[device]]
name = "a"
station = 1
include = ["types/drive.toml"]
[[device]]
name = "b"
station = 2
include = ["types/drive.toml"]
[[device.tag]]
name = "own"
type = "DI"
address = 1
)"),
              (QStringList{QStringLiteral("a/status SW:0@1 0"), QStringLiteral("a/speed AI:0@1 0"),
                           QStringLiteral("b/status SW:0@2 0"), QStringLiteral("b/speed AI:0@2 0"),
                           QStringLiteral("b/own DI:1@2 0")}));
    const LineFile file(folder.filePath(QStringLiteral("plant.toml")));
    EXPECT_EQ(file.paths().size(), 3);
}

TEST_F(PlantFile, IncludesFilesWithTablesOfAllKinds) {
    write("north.toml",
          "[[line]]\nname = \"north\"\nserial = \"a\"\n[[tag]]\nname = \"n\"\nline = \"north\"\n"
          "type = \"AI\"\naddress = 0\n");
    write("south.toml",
          "[[line]]\nname = \"south\"\nserial = \"b\"\n[[device]]\nname = \"d\"\nline = \"south\"\n"
          "[[device.tag]]\nname = \"s\"\ntype = \"AI\"\naddress = 0\n");
    EXPECT_EQ(points("include = [\"north.toml\", \"south.toml\"]\n[[tag]]\nname = \"own\"\nline = \"south\"\n"
                     "type = \"AI\"\naddress = 1\n"),
              (QStringList{QStringLiteral("n AI:0@1 0"), QStringLiteral("d/s AI:0@1 1"),
                           QStringLiteral("own AI:1@1 1")}));
}

TEST_F(PlantFile, ItsFaultsAreNamedWithFileLineAndColumn) {
    write("empty.toml", "");
    write("wrong.toml", "[[tag]]\nname = \"x\"\ntype = \"XX\"\naddress = 0\n");
    write("broken.toml", "[[tag]\n");
    write("line.toml", "[line]\nserial = \"a\"\n");
    write("self.toml", "include = [\"sub/back.toml\"]\n");
    write("sub/back.toml", "include = [\"../self.toml\"]\n");
    write("template.toml", "[[tag]]\nname = \"x\"\ntype = \"AI\"\naddress = 0\nstation = 2\n");
    ASSERT_TRUE(QDir().mkpath(folder.filePath(QStringLiteral("folder"))));
    const std::string tag = "[[tag]]\nname = \"x\"\ntype = \"AI\"\naddress = 0\n";
    const std::string device = "[[device]]\nname = \"d\"\n";
    const std::string inDevice = "[[device.tag]]\nname = \"x\"\ntype = \"AI\"\naddress = 0\n";
    const std::string two =
        "[[line]]\nname = \"a\"\nserial = \"a\"\n[[line]]\nname = \"b\"\nserial = \"b\"\n";
    for (const auto& [content, refusal] : std::initializer_list<std::pair<std::string, const char*>>{
             {two + tag, "plant.toml:7:1: there are several lines, say which: line = \"a\" (or b)"},
             {two + device + inDevice, "plant.toml:7:1: there are several lines, say which"},
             {two + tag + "line = \"c\"\n", "plant.toml:11:8: there is no line \"c\", the lines are a, b"},
             {tag + "line = \"c\"\n",
              "plant.toml:5:8: there is no line \"c\": no line of the file has a name"},
             {two + device, "plant.toml:7:1: there are several lines, say which"},
             {two + device + "line = \"c\"\n", "plant.toml:9:8: there is no line \"c\""},
             {"[[line]]\nserial = \"a\"\n", "plant.toml:1:1: the line has no name"},
             {"[[line]]\nname = \"\"\nserial = \"a\"\n", "plant.toml:2:8: the line's name is empty"},
             {"[[line]]\nname = \"a\\nb\"\n", "plant.toml:2:8: the line's name holds a control character"},
             {"[[line]]\nname = \"a\"\n[[line]]\nname = \"a\"\n",
              "plant.toml:4:8: the line's name \"a\" is taken already"},
             {"line = 1\n", "plant.toml:1:8: line is not a table"},
             {"include = [\"line.toml\"]\n[line]\nserial = \"b\"\n",
              "plant.toml:2:1: there are several lines: this one has no name"},
             {"[[device]]\nstation = 1\n", "plant.toml:1:1: the device has no name"},
             {device + "station = 0\n", "plant.toml:3:11: station is 0, it must be 1 to 247"},
             {device + "station = 1\nstations = [1]\n", "plant.toml:4:12: a device has station or stations"},
             {device + "stations = []\n", "plant.toml:3:12: stations is not a list of stations"},
             {device + "stations = [1, 1]\n", "plant.toml:3:16: station 1 is there twice"},
             {device + "stations = [1, \"2\"]\n", "plant.toml:3:12: stations is not a list of whole numbers"},
             {device + "stations = [300]\n", "plant.toml:3:12: stations is 300, it must be 1 to 247"},
             {device + device, "plant.toml:4:8: the device's name \"d\" is taken already"},
             {device + "colour = 1\n",
              "plant.toml:3:1: key \"colour\" is unknown, here are name, line, station"},
             {device + inDevice + "station = 3\n", "plant.toml:7:11: the device says station, not its tags"},
             {device + inDevice + "line = \"a\"\n", "plant.toml:7:8: the device says line, not its tags"},
             {device + "stations = [1, 2]\n" + inDevice + "format = \"x\"\n",
              "plant.toml:8:10: tag \"d 1/x\": "},
             {device + inDevice + inDevice, "plant.toml:7:1: the name \"d/x\" is taken already"},
             {"include = 1\n", "plant.toml:1:11: include is not a list of files"},
             {"include = [1]\n", "plant.toml:1:12: include: what is included is not the name of a file"},
             {"include = [\"no.toml\"]\n", "plant.toml:1:12: no.toml cannot be read: "},
             {"include = [\"folder\"]\n", "plant.toml:1:12: folder is not a file"},
             {"include = [\"plant.toml\"]\n", "plant.toml:1:12: plant.toml is included by itself"},
             {"include = [\"self.toml\"]\n", "sub/back.toml:1:12: self.toml is included by itself"},
             {"include = [\"broken.toml\"]\n", "broken.toml:1:"},
             {"include = [\"wrong.toml\"]\n", "wrong.toml:3:8: tag \"x\": "},
             {device + "include = [\"wrong.toml\"]\n", "wrong.toml:3:8: tag \"d/x\": "},
             {device + "include = [\"line.toml\"]\n",
              "line.toml:1:2: key \"line\" is unknown, here are include, tag"},
             {device + "include = [\"template.toml\"]\n",
              "template.toml:5:11: the device says station, not its tags"},
         }) {
        const std::string refused = refusalOf(content);
        EXPECT_EQ(refused.substr(0, std::string(refusal).size()), refusal) << refused << "\nof\n" << content;
    }
}

TEST_F(PlantFile, AllFaultsOfTagsAreFound) {
    write("plant.toml",
          "[[tag]]\nname = \"a\"\ntype = \"XX\"\naddress = 0\n[[tag]]\nname = \"b\"\ntype = \"AI\"\n"
          "address = 0\n[[tag]]\nname = \"b\"\ntype = \"AI\"\naddress = 9\n");
    QStringList faults;
    EXPECT_EQ(plant().tags(notation(), &faults).size(), 1);
    ASSERT_EQ(faults.size(), 2);
    EXPECT_TRUE(faults.at(0).contains(QStringLiteral("plant.toml:3:8: tag \"a\"")));
    EXPECT_TRUE(faults.at(1).contains(QStringLiteral("plant.toml:12:11: tag \"b\"")));
}

TEST_F(PlantFile, AllFaultsOfTheFileAreFound) {
    write("bad.toml", "[[tag");
    write("plant.toml", R"(include = ["none.toml", "plant.toml"]
speed = 1
[[line]]
name = "north"
[[line]]
[[line]]
name = "north"
[[device]]
name = "a"
line = "north"
include = ["bad.toml"]
[[device]]
name = "b"
include = ["bad.toml"]
[[device]]
name = "c"
stations = [0]
[[device]]
name = "d"
line = "north"
[[device.tag]]
name = "valid"
type = "AI"
address = 0
[[tag]]
name = "e"
line = "nroth"
)");
    QStringList faults;
    const LineFile file(folder.filePath(QStringLiteral("plant.toml")), &faults);
    EXPECT_EQ(file.lines(), QStringList{QStringLiteral("north")});
    ASSERT_EQ(file.tags(notation(), &faults).size(), 1);
    QStringList places;
    for (const QString& fault : faults) {
        places += QFileInfo(fault.section(QLatin1Char(':'), 0, 0)).fileName() + QLatin1Char(':') +
                  fault.section(QLatin1Char(':'), 1, 1);
    }
    EXPECT_EQ(places.join(QLatin1Char(' ')),
              QStringLiteral(
                  "plant.toml:2 plant.toml:1 plant.toml:1 plant.toml:5 plant.toml:7 bad.toml:1 plant.toml:17 "
                  "plant.toml:27"))
        << faults.join(QLatin1Char('\n')).toStdString();
    EXPECT_THROW(LineFile(folder.filePath(QStringLiteral("none.toml")), &faults), UsageError);
}

TEST_F(PlantFile, AFaultOfATemplateIsToldOnce) {
    write("plant.toml",
          "[[device]]\nname = \"c\"\nstations = [1, 2]\n[[device.tag]]\nname = \"a\"\ntype = \"XX\"\n"
          "address = 0\n[[tag]]\nname = \"c 2/b\"\ntype = \"AI\"\naddress = 0\n[[device]]\nname = \"d\"\n"
          "[[device.tag]]\nname = \"b\"\ntype = \"AI\"\naddress = 0\n");
    QStringList faults;
    EXPECT_EQ(plant().tags(notation(), &faults).size(), 2);
    ASSERT_EQ(faults.size(), 1);
    EXPECT_TRUE(faults.first().contains(QStringLiteral("plant.toml:6:8: tag \"c 1/a\"")));
}

// Each file includes the next one twice: that would be a million files.
TEST_F(PlantFile, IncludesAreBounded) {
    for (int i = 0; i < 20; ++i) {
        const std::string next = "\"" + std::to_string(i + 1) + ".toml\"";
        write((std::to_string(i) + ".toml").c_str(), "include = [" + next + ", " + next + "]\n");
    }
    write("20.toml", "");
    EXPECT_NE(refusalOf("include = [\"0.toml\"]\n").find("more than 1000 files are included"),
              std::string::npos);
}

}  // namespace
