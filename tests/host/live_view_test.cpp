// The text of the live table, apart from any terminal.
#include "host/cli/screen/live_view.h"

#include <gtest/gtest.h>

#include <clocale>

#include "host/cli/screen/screen_text.h"

using namespace dx7;
using namespace dx7::cli;

namespace {

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

Cells cells(const QString& name, const char* address, const char* value) {
    return {name, latin(address), latin(value), latin("good"), latin("0.1 s"), latin("12")};
}

std::string tableLine(const Cells& row, int width) {
    return TableLayout({row}, width).line(row).toStdString();
}

TEST(TableLayout, IsWideWhereThereIsRoom) {
    const Cells row = cells(latin("AI:0@1"), "AI:0@1", "49.9 Hz");
    EXPECT_EQ(TableLayout({row}, 90).title().toStdString(),
              "NAME    ADDRESS                 VALUE  QUALITY       AGE   CHANGES");
    EXPECT_EQ(tableLine(row, 90), "AI:0@1  AI:0@1                49.9 Hz  good        0.1 s        12");
}

TEST(TableLayout, ColumnsGoBeforeAnythingOfAValueDoes) {
    const Cells row = cells(latin("AI:0@1"), "AI:0@1", "49.9 Hz");
    EXPECT_EQ(tableLine(row, 55), "AI:0@1  AI:0@1     49.9 Hz  good        0.1 s        12");
    EXPECT_EQ(tableLine(row, 40), "AI:0@1  AI:0@1   49.9 Hz  good    ");
    EXPECT_EQ(TableLayout({row}, 40).title().toStdString(), "NAME    ADDRESS    VALUE  QUALITY ");
}

// The widest value decides, so that the columns of all rows stay one below the other.
TEST(TableLayout, IsTheSameForAllRows) {
    const Cells narrow = cells(latin("a"), "AI:0@1", "1");
    const Cells wide = cells(latin("b"), "AI:1@1", "0b0000001000000001");
    const TableLayout layout({narrow, wide}, 40);
    EXPECT_EQ(layout.line(narrow).toStdString(), "a     AI:…                   1  good    ");
    EXPECT_EQ(layout.line(wide).toStdString(), "b     AI:…  0b0000001000000001  good    ");
}

TEST(TableLayout, ALongNameIsCutAndNothingElse) {
    const Cells row = cells(QString(81, QLatin1Char('n')), "F:3.0.25@1", "325");
    const QString line = TableLayout({row}, 80).line(row);
    EXPECT_EQ(line.toStdString(),
              "nnnnnnnnnnnnnnnn…  F:3.0.25@1                   325  good        0.1 s        12");
    EXPECT_EQ(columnsOf(line), 80);
    EXPECT_EQ(tableLine(row, 40), "nnnnnnnnnn…  F:3.0.25@1    325  good    ");
}

TEST(TableLayout, ThenTheAddressIs) {
    const Cells row = cells(latin("a long name"), "F:15.0.25@247", "12345 rpm");
    EXPECT_EQ(tableLine(row, 40), "a l…  F:15.0.25@247  12345 rpm  good    ");
    EXPECT_EQ(tableLine(row, 38), "a l…  F:15.0.25@…  12345 rpm  good    ");
    EXPECT_EQ(tableLine(row, 26), "a l…  12345 rpm  good    ");
}

// Whatever the width: what stands there of value, age and changes is all of it.
TEST(TableLayout, NoPartOfANumberIsEverShown) {
    const Cells row = {latin("speed"),    latin("AI:0@1"),  latin("98765.4"),
                       latin("doubtful"), latin("123 min"), latin("55555555")};
    for (int width = 1; width <= 100; ++width) {
        const QString line = TableLayout({row}, width).line(row);
        EXPECT_LE(columnsOf(line), width);
        const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        EXPECT_TRUE(words.contains(row[COLUMN_VALUE]) || words.contains(QString(QChar(0x2026)))) << width;
        EXPECT_EQ(line.contains(QLatin1Char('9')), words.contains(row[COLUMN_VALUE])) << width;
        EXPECT_EQ(line.contains(QLatin1Char('5')),
                  words.contains(row[COLUMN_CHANGES]) || words.contains(row[COLUMN_VALUE]))
            << width;
        EXPECT_EQ(line.contains(latin("12")), line.contains(row[COLUMN_AGE])) << width;
    }
    EXPECT_EQ(tableLine(row, 6), "     …");
}

// In a window of any usual width the cause is there.
TEST(TableLayout, AFaultTakesThePlaceOfAgeAndChangesWhereThereIsNoRoom) {
    const Cells row = cells(latin("AI:0@1"), "AI:0@1", "49.9 Hz");
    const QString fault = latin("exception 2 (illegal data address), for 12 s");
    const auto line = [&](int width) { return TableLayout({row}, width).line(row, fault).toStdString(); };
    EXPECT_EQ(line(120),
              "AI:0@1  AI:0@1                49.9 Hz  good        0.1 s        12  "
              "exception 2 (illegal data address), for 12 s");
    EXPECT_EQ(line(80), "AI:0@1  AI:0@1                49.9 Hz  good      exception 2 (illegal data addr…");
    EXPECT_EQ(line(46), "AI:0@1  AI:0@1   49.9 Hz  good      exception…");
    EXPECT_EQ(TableLayout({row}, 80).line(row, QString()), TableLayout({row}, 80).line(row));
    for (int width = 1; width <= 130; ++width) {
        EXPECT_LE(columnsOf(TableLayout({row}, width).line(row, fault)), width);
    }
}

TEST(LiveView, AFaultSaysForHowLong) {
    PointState state;
    EXPECT_EQ(faultText(state, 5), QString());
    state.fault = latin("no reply");
    state.sinceUs = 1000000;
    EXPECT_EQ(faultText(state, 13000000), latin("no reply, for 12 s"));
}

TEST(TableLayout, WideCharactersTakeTwoColumns) {
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
        GTEST_SKIP() << "no locale with such characters";
    }
    const Cells row = cells(QString::fromUtf8("\u901f\u5ea6\u4e00"), "AI:0@1", "1");
    EXPECT_EQ(columnsOf(row[COLUMN_NAME]), 6);
    EXPECT_EQ(columnsOf(TableLayout({row}, 60).line(row)), columnsOf(TableLayout({row}, 60).title()));
    EXPECT_EQ(elided(row[COLUMN_NAME], 4), QString::fromUtf8("\u901f…"));
    std::setlocale(LC_CTYPE, "C");
}

TEST(Heading, TheLineIsCutBeforeTheNumbers) {
    const QString line = latin("serial port /dev/ttyUSB0 (9600 8N1)");
    const QString counts = latin("  1234 requests, 5 bad");
    EXPECT_EQ(heading(line, counts, 80), line + counts);
    EXPECT_EQ(heading(line, counts, 40).toStdString(), "serial port /dev/…  1234 requests, 5 bad");
    EXPECT_EQ(heading(line, counts, 24).toStdString(), "serial port /dev/ttyUSB…");
}

TEST(TypingLine, WhatIsTypedStaysInSight) {
    EXPECT_EQ(typingLine(latin("speed"), latin("12"), 80).toStdString(),
              "speed = 12_   (Enter writes, Esc leaves)");
    EXPECT_EQ(typingLine(QString(81, QLatin1Char('n')), latin("12"), 20).toStdString(),
              "nnnnnnnnnnnnn… = 12_");
    EXPECT_EQ(typingLine(latin("speed"), latin("123456789"), 10).toStdString(), "…23456789_");
}

TEST(Wrapped, AMessageKeepsItsEnd) {
    const QString message = latin("value 70000 for F is out of range, it must be -32768 to 65535");
    EXPECT_EQ(wrapped(message, 79, 3), QStringList{message});
    EXPECT_EQ(wrapped(message, 39, 3), (QStringList{latin("value 70000 for F is out of range, it"),
                                                    latin("must be -32768 to 65535")}));
    EXPECT_EQ(wrapped(latin("0123456789"), 4, 3), (QStringList{latin("0123"), latin("4567"), latin("89")}));
    EXPECT_EQ(wrapped(latin("one two three"), 5, 2), (QStringList{latin("one"), QString::fromUtf8("two …")}));
    EXPECT_EQ(wrapped(latin("text"), 0, 3).size(), 1);
}

TEST(LiveView, AgesGrowCoarser) {
    PointState state;
    EXPECT_EQ(ageText(state, 5000000), latin("-"));
    state.raw = 0;
    EXPECT_EQ(ageText(state, 300000), latin("0.3 s"));
    EXPECT_EQ(ageText(state, 12000000), latin("12 s"));
    EXPECT_EQ(ageText(state, 300000000), latin("5 min"));
    EXPECT_EQ(ageText(state, 3 * Q_INT64_C(3600000000)), latin("3 h"));
}

TEST(LiveView, TheSelectedRowStaysInTheWindow) {
    EXPECT_EQ(firstVisible(0, 0, 5), 0);
    EXPECT_EQ(firstVisible(4, 0, 5), 0);
    EXPECT_EQ(firstVisible(5, 0, 5), 1);
    EXPECT_EQ(firstVisible(2, 4, 5), 2);
    EXPECT_EQ(firstVisible(3, 0, 0), 3) << "a window without rows";
}

}  // namespace
