// Text that a terminal takes for text alone.
#include "common/printable.h"

#include <gtest/gtest.h>

namespace {

using namespace dx7common;

struct Row {
    const char* name;
    std::string text;
    std::string shown;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

const Row ROWS[] = {
    {"nothing", "", ""},
    {"plain", "set AI:0 = 5~", "set AI:0 = 5~"},
    {"escape_sequence", "a\x1b[2Jb", "a\\x1b[2Jb"},
    {"title", "\x1b]0;mine\x07", "\\x1b]0;mine\\x07"},
    {"line_ends", "a\r\nb\tc", "a\\x0d\\x0ab\\x09c"},
    {"zero", std::string("a\0b", 3), "a\\x00b"},
    {"delete", "a\x7f", "a\\x7f"},
    {"c1_as_utf8", "\xc2\x80 \xc2\x9b\x32J \xc2\x9f", "\\x80 \\x9b2J \\x9f"},
    {"after_c1", "\xc2\xa0", "\xc2\xa0"},
    {"c1_as_byte", "\x9b\x32J", "\\x9b2J"},
    {"letters", "\xc3\xa4 \xe2\x82\xac \xf0\x9f\x94\xa5", "\xc3\xa4 \xe2\x82\xac \xf0\x9f\x94\xa5"},
    {"order_and_line_ends", "a\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaa\xe2\x80\xae\xe2\x81\xa6\xe2\x81\xa9z",
     "a\\u2028\\u2029\\u202a\\u202e\\u2066\\u2069z"},
    {"beside_them", "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5\xe2\x81\xaa",
     "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5\xe2\x81\xaa"},
    {"cut_two", "\xc3", "\\xc3"},
    {"cut_three", "\xe2\x82", "\\xe2\\x82"},
    {"cut_four", "\xf0\x9f\x94", "\\xf0\\x9f\\x94"},
    {"cut_by_escape", "\xe2\x1b[2J", "\\xe2\\x1b[2J"},
    {"too_long_escape", "\xc0\x9b", "\\xc0\\x9b"},
    {"too_long_three", "\xe0\x82\x9b", "\\xe0\\x82\\x9b"},
    {"too_long_four", "\xf0\x80\x82\x9b", "\\xf0\\x80\\x82\\x9b"},
    {"surrogate", "\xed\xa0\x80", "\\xed\\xa0\\x80"},
    {"beyond_unicode", "\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
    {"last_of_unicode", "\xf4\x8f\xbf\xbf", "\xf4\x8f\xbf\xbf"},
    {"no_utf8", "\xfe\xff", "\\xfe\\xff"},
};

class Printable : public testing::TestWithParam<Row> {};

TEST_P(Printable, ShowsControlCharactersAsTheirCodes) {
    EXPECT_EQ(printable(GetParam().text), GetParam().shown);
    EXPECT_EQ(printable(GetParam().shown), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(Texts, Printable, testing::ValuesIn(ROWS),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PrintableBytes, LeaveNoControlCharacterInAnyPair) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string shown =
                printable({'x', static_cast<char>(first), static_cast<char>(second), 'y'});
            for (std::size_t i = 0; i < shown.size(); ++i) {
                const int byte = static_cast<unsigned char>(shown[i]);
                const int before = i == 0 ? 0 : static_cast<unsigned char>(shown[i - 1]);
                EXPECT_FALSE(byte < 0x20 || byte == 0x7F) << first << ' ' << second;
                EXPECT_FALSE(before == 0xC2 && byte < 0xA0) << first << ' ' << second;
            }
            EXPECT_EQ(shown.front(), 'x');
            EXPECT_EQ(shown.back(), 'y');
        }
    }
}

}  // namespace
