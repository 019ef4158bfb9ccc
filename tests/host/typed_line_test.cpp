#include "host/cli/screen/typed_line.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

using dx7::cli::TypedLine;

namespace {

TypedLine typed(const std::string& bytes) {
    TypedLine line;
    for (const char byte : bytes) {
        line.take(static_cast<unsigned char>(byte));
    }
    return line;
}

class Typed : public testing::Test {
protected:
    // Bytes are of the locale's characters.
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(Typed, CharactersAreWholeWhenTheirBytesAre) {
    EXPECT_EQ(typed("f\xc3\xbcr 1").text(), QString::fromUtf8("f\u00fcr 1"));
    EXPECT_EQ(typed("\xf0\x9f\x94\xa7").text(), QString::fromUtf8("\U0001F527"));
    EXPECT_EQ(typed("a\xc3").text().size(), 2) << "not yet whole";
}

TEST_F(Typed, TheLastCharacterIsTakenAwayAsAWhole) {
    TypedLine line = typed("12\xc3\xbc");
    line.erase();
    EXPECT_EQ(line.text(), QStringLiteral("12"));
    line = typed("1\xf0\x9f\x94\xa7");
    line.erase();
    EXPECT_EQ(line.text(), QStringLiteral("1"));
    line.erase();
    line.erase();
    EXPECT_EQ(line.text(), QString());
}

// A Tab between two digits must not leave another number.
TEST_F(Typed, ControlCharactersLeaveNoNumber) {
    for (const char* bytes : {"5\t6",
                              "5\x7f"
                              "6",
                              "5\xff"
                              "6"}) {
        EXPECT_NE(typed(bytes).text(), QStringLiteral("56")) << bytes;
        EXPECT_EQ(typed(bytes).text().size(), 3) << bytes;
    }
    TypedLine line = typed("5");
    line.clear();
    EXPECT_EQ(line.text(), QString());
}

}  // namespace
