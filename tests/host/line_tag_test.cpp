// What the [[tag]] tables of a line file say of values and of writing, and the names on a command line.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "host/error.h"
#include "host/files/line_file.h"
#include "host/files/named_items.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

// A tag "a", an item of F unless `keys` has an address of its own.
QString tagText(const char* keys) {
    const QString given = QString::fromUtf8(keys);
    const QString item = given.contains(QLatin1String("address ="))
                             ? QString()
                             : QStringLiteral("type = \"F\"\naddress = \"3.0.20\"\n");
    return QStringLiteral("[[tag]]\nname = \"a\"\n") + item + given + QLatin1Char('\n');
}

class LineTagTest : public testing::Test {
protected:
    QVector<LineTag> tagsOf(const QString& content) const {
        QFile file(path());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content.toUtf8());
        file.close();
        return LineFile(path()).tags(notation());
    }
    Point pointOf(const char* keys) const { return tagsOf(tagText(keys)).first().points.first(); }
    QString path() const { return folder.filePath(QStringLiteral("line.toml")); }
    // The refusal without the name of the file; "taken" when there is none.
    std::string refusalOf(const QString& content) const {
        try {
            tagsOf(content);
            return "taken";
        } catch (const UsageError& error) {
            return error.text().startsWith(path() + QLatin1Char(':'))
                       ? error.text().mid(path().size() + 1).toStdString()
                       : "without a place: " + error.text().toStdString();
        }
    }

    QTemporaryDir folder;
};

TEST_F(LineTagTest, LimitsAreInTheShownUnit) {
    const ValueFormat format = pointOf("scale = 0.1\nmin = 1\nmax = 50.0\nstep = 0.5").format;
    EXPECT_EQ(format.limits.min, 10);
    EXPECT_EQ(format.limits.max, 500);
    EXPECT_EQ(format.limits.step, 5);
    EXPECT_FALSE(pointOf("scale = 0.1").format.limits.any());
    EXPECT_EQ(pointOf("max = 10000").format.limits.max, 10000);
    EXPECT_EQ(pointOf("format = \"s32\"\nmin = -1000000").format.limits.min, -1000000);
}

TEST_F(LineTagTest, NamesAreThoseOfNumbersOrBits) {
    const ValueNames numbers =
        pointOf("format = \"signed\"\nenum = { 0 = \"off\", -2 = \"back\" }").format.names;
    EXPECT_EQ(numbers.numbers,
              (QMap<qint64, QString>{{0, QStringLiteral("off")}, {-2, QStringLiteral("back")}}));
    EXPECT_EQ(pointOf("bits = [\"ready\", \"\", \"running\"]").format.names.bits.size(), 3);
    EXPECT_EQ(pointOf("format = \"u32\"\nenum = { 4294967295 = \"off\" }").format.names.numbers.size(), 1);
    EXPECT_EQ(pointOf("type = \"DO\"\naddress = 1\nenum = { 0 = \"open\", 1 = \"closed\" }")
                  .format.names.numbers.value(1),
              QStringLiteral("closed"));
}

TEST_F(LineTagTest, WritingIsGovernedByReadonlyAndVerify) {
    EXPECT_EQ(pointOf("readonly = true").readOnlyBy, path());
    EXPECT_EQ(pointOf("readonly = false").readOnlyBy, QString());
    EXPECT_EQ(pointOf("").verify, std::nullopt);
    EXPECT_EQ(pointOf("verify = true").verify, std::optional<bool>(true));
    EXPECT_EQ(pointOf("verify = false").verify, std::optional<bool>(false));
}

TEST_F(LineTagTest, EachPointOfACountHasTheRules) {
    const QVector<Point> points = tagsOf(tagText("count = 3\nmax = 7\nreadonly = true")).first().points;
    ASSERT_EQ(points.size(), 3);
    EXPECT_EQ(points.last().format.limits.max, 7);
    EXPECT_EQ(points.last().readOnlyBy, path());
}

struct Fault {
    const char* keys;
    const char* refusal;
};
void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.keys;
}

class FaultOfATag : public LineTagTest, public testing::WithParamInterface<Fault> {};

TEST_P(FaultOfATag, IsNamedWithItsPlace) {
    EXPECT_EQ(refusalOf(tagText(GetParam().keys)), GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(
    Limits, FaultOfATag,
    testing::Values(
        Fault{"min = \"low\"", "5:7: min is not a number"},
        Fault{"min = 5\nmax = 4", "6:7: tag \"a\": max: min 5 is more than max 4"},
        Fault{"step = 0", "5:8: tag \"a\": step: step 0 is not more than 0"},
        Fault{"max = 65536", "5:7: tag \"a\": max: value 65536 for F is out of range, it must be 0 to 65535"},
        Fault{"scale = 0.1\nunit = \"s\"\nmin = 0.05",
              "7:7: tag \"a\": min: value 0.05 for F is not a multiple of its scale 0.1, the "
              "nearest are 0.0 and "
              "0.1 s"},
        Fault{"min = 0.5", "5:7: tag \"a\": min: value 0.5 for F is not a whole number"},
        Fault{"readonly = 1", "5:12: readonly is not true or false"},
        Fault{"verify = \"yes\"", "5:10: verify is not true or false"},
        Fault{"maximum = 1",
              "5:1: key \"maximum\" is unknown, here are name, type, address, line, station, count, "
              "format, scale, unit, "
              "min, max, step, readonly, verify, enum, bits, interval"}));

INSTANTIATE_TEST_SUITE_P(
    Names, FaultOfATag,
    testing::Values(
        Fault{"enum = { 0 = \"off\" }\nscale = 0.1", "5:8: tag \"a\": enum does not go with a scale"},
        Fault{"bits = [\"r\"]\nscale = 0.1", "5:8: tag \"a\": bits does not go with a scale"},
        Fault{"enum = { 0 = \"off\" }\nbits = [\"r\"]", "6:8: tag \"a\": bits does not go with enum"},
        Fault{"enum = { 0 = \"off\" }\nmin = 1", "6:7: tag \"a\": min does not go with enum"},
        Fault{"bits = [\"r\"]\nstep = 1", "6:8: tag \"a\": step does not go with bits"},
        Fault{"type = \"DO\"\naddress = 1\nbits = [\"r\"]",
              "5:8: tag \"a\": DO holds bits, each an item by itself; name what 0 and 1 are"},
        Fault{"format = \"f32\"\nbits = [\"r\"]", "6:8: tag \"a\": names do not go with a scale or f32"},
        Fault{"enum = {}", "5:8: tag \"a\": enum names nothing"},
        Fault{"enum = \"off\"", "5:8: enum is not a table"},
        Fault{"enum = { 0 = 1 }", "5:14: tag \"a\": enum: what 0 means is not a text"},
        Fault{"enum = { one = \"off\" }", "5:10: tag \"a\": enum: \"one\" is not a whole decimal number"},
        Fault{"enum = { 01 = \"off\" }", "5:10: tag \"a\": enum: \"01\" is not a whole decimal number"},
        Fault{"enum = { -1 = \"off\" }",
              "5:15: tag \"a\": enum: number -1 of name \"off\" is out of range, it must be 0 to 65535"},
        Fault{"enum = { 0 = \"a+b\" }",
              "5:14: tag \"a\": enum: name \"a+b\" holds one of , + = which separate values"},
        Fault{"enum = { 0 = \"on\", 1 = \"on\" }", "5:24: tag \"a\": enum: name \"on\" is given twice"},
        Fault{"bits = \"ready\"", "5:8: tag \"a\": bits is not a list of names, that of bit 0 first"},
        Fault{"bits = []", "5:8: tag \"a\": bits is not a list of names, that of bit 0 first"},
        Fault{"bits = [\"r\", 1]", "5:14: tag \"a\": bits: a name is not a text"},
        Fault{"bits = [\"r\", \"7\"]",
              "5:14: tag \"a\": bits: name \"7\" looks like a number; begin it with a letter"}));

// Three tags: "fixed" is read-only, "ramp" limited, "energy" a limited value of two words.
class NamedItemsTest : public LineTagTest {
protected:
    void SetUp() override {
        tags = tagsOf(QStringLiteral(
            "[[tag]]\nname = \"fixed\"\ntype = \"F\"\naddress = \"3.0.10\"\ncount = 2\nreadonly = true\n"
            "[[tag]]\nname = \"ramp\"\ntype = \"F\"\naddress = \"3.0.20\"\nscale = 0.1\nmax = 50\n"
            "[[tag]]\nname = \"energy\"\ntype = \"F\"\naddress = \"3.0.30\"\nformat = \"u32\"\nmax = 100000\n"
            "[[tag]]\nname = \"outputs\"\ntype = \"DO\"\naddress = 2\nreadonly = true\n"
            "[[tag]]\nname = \"ramp as it is\"\ntype = \"F\"\naddress = \"3.0.20\"\n"));
    }
    std::string refusalOfWrite(const char* text) const {
        try {
            NamedItems(notation(), tags).writes(QString::fromLatin1(text));
            return "taken";
        } catch (const UsageError& error) {
            return QString(error.text()).replace(path(), QStringLiteral("FILE")).toStdString();
        }
    }

    QVector<LineTag> tags;
};

TEST_F(NamedItemsTest, WhatTagsDoNotAllowIsRefusedOfTheirItems) {
    const QVector<QPair<const char*, const char*>> cases{
        {"fixed=1,2", "tag \"fixed[0]\" is read-only by FILE"},
        {"fixed[1]=1", "tag \"fixed[1]\" is read-only by FILE"},
        {"F:3.0.11=1", "F:3.0.11@1 is tag \"fixed[1]\", which is read-only by FILE"},
        {"F:3.0.08,3=1,2,3", "F:3.0.10@1 is tag \"fixed[0]\", which is read-only by FILE"},
        {"DO:2@0=1", "DO:2@1 is tag \"outputs\", which is read-only by FILE"},
        {"ramp=50.1", "value 50.1 for F is out of range, it must be 0.0 to 50.0"},
        {"F:3.0.20=501",
         "F:3.0.20@1 is tag \"ramp\": value 50.1 for F is out of range, it must be 0.0 to 50.0"},
        {"F:3.0.30/u32=100001",
         "F:3.0.30@1 is tag \"energy\": value 100001 for F is out of range, it must be 0 to 100000"},
        {"F:3.0.31=1",
         "F:3.0.31@1 is a part of tag \"energy\", which has limits; write the tag as a whole by its name"}};
    for (const auto& [text, refusal] : cases) {
        EXPECT_EQ(refusalOfWrite(text), refusal) << text;
    }
}

TEST_F(NamedItemsTest, WhatTheyAllowIsTaken) {
    for (const char* text :
         {"ramp=50", "F:3.0.20=500", "F:3.0.20@2=501", "F:3.0.10@2=1", "F:3.0.12=1", "DO:1@0=1",
          "F:3.0.30/u32=100000", "F:3.0.30,2=1,2", "energy=5", "F:3.0.21=60000",
          // A tag is governed by what it says itself.
          "ramp as it is=501"}) {
        EXPECT_EQ(refusalOfWrite(text), "taken") << text;
    }
}

// The live table writes the points that are watched.
TEST_F(NamedItemsTest, PointsCarryTheRules) {
    const NamedItems items(notation(), tags);
    const Point item = items.points(QStringLiteral("F:3.0.10")).first();
    EXPECT_THROW(checkWritable(item, 1), UsageError);
    EXPECT_THROW(checkWritable(items.points(QStringLiteral("fixed")).first(), 1), UsageError);
    WriteRequest request;
    request.first = items.points(QStringLiteral("F:3.0.20")).first();
    request.items = {501};
    EXPECT_THROW(checkWrite(request), UsageError);
    request.items = {500};
    EXPECT_NO_THROW(checkWrite(request));
}

TEST_F(NamedItemsTest, TheNearestTagIsNamed) {
    const NamedItems items(notation(), tags);
    const auto refusal = [&items](const char* text) {
        try {
            items.points(QString::fromLatin1(text));
            return std::string("taken");
        } catch (const UsageError& error) {
            return error.text().toStdString();
        }
    };
    EXPECT_EQ(refusal("rmap"),
              "\"rmap\" is neither an item (TYPE:ADDRESS[,COUNT][@STATION[-LAST]]) nor a tag of the "
              "file; the nearest tag is \"ramp\"");
    EXPECT_EQ(refusal("a name like no other"),
              "\"a name like no other\" is neither an item "
              "(TYPE:ADDRESS[,COUNT][@STATION[-LAST]]) nor a tag of the file");
    EXPECT_EQ(refusal("AI:9"), "address 9 of AI is out of range, the nearest is \"AI:3\" (AI has 0 to 3)");
    EXPECT_EQ(refusalOfWrite("enrgy=5"),
              "\"enrgy\" is neither an item (TYPE:ADDRESS[,COUNT][@STATION[-LAST]]) nor a "
              "tag of the file; the nearest tag is \"energy\"");
    EXPECT_EQ(refusalOfWrite("F:3.0.25=65536"),
              "value 65536 for F is out of range, it must be -32768 to 65535");
    EXPECT_EQ(NamedItems(notation(), {}).points(QStringLiteral("AI:0")).size(), 1);
}

}  // namespace
