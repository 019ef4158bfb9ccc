#include "host/items/register_words.h"

#include <gtest/gtest.h>

#include "host/error.h"

using namespace dx7;

namespace {

struct Row {
    const char* format;
    const char* words;
    const char* shown;
};

class RegisterWords : public testing::TestWithParam<Row> {};
INSTANTIATE_TEST_SUITE_P(
    Formats, RegisterWords,
    testing::Values(Row{"u16", "0001FFFF", "16:1 17:65535"}, Row{"s16", "0001FFFF", "16:1 17:-1"},
                    Row{"hex", "00FF", "16:0x00ff"}, Row{"u32", "00010002", "16:65538"},
                    Row{"u32/low-first", "00010002", "16:131073"},
                    Row{"s32", "FFFFFFFE00000001", "16:-2 18:1"}, Row{"f32", "3FC00000", "16:1.5"},
                    Row{"f32/low-first", "00003FC0", "16:1.5"}, Row{"f32", "3FC000004000", "16:1.5"},
                    Row{"u16/scale=0.1/unit=V", "08FE", "16:230.2 V"}));

TEST_P(RegisterWords, AreShownAsTheFormatSays) {
    const ValueFormat format = wordFormat(QString::fromLatin1(GetParam().format));
    std::string shown;
    for (const RegisterValue& value : registerValues(format, 16, QByteArray::fromHex(GetParam().words))) {
        shown += (shown.empty() ? "" : " ") + std::to_string(value.number) + ':' +
                 wordText(format, value.raw).toStdString();
    }
    EXPECT_EQ(shown, GetParam().shown);
}

TEST(RegisterWordsAtTheEnd, NumbersGoOnAtZero) {
    const auto values =
        registerValues(wordFormat(QStringLiteral("u16")), 65535, QByteArray::fromHex("00010002"));
    ASSERT_EQ(values.size(), 2);
    EXPECT_EQ(values[1].number, 0);
}

TEST(RegisterWordsAtTheEnd, AnUnknownFormatIsRefused) {
    EXPECT_THROW(wordFormat(QStringLiteral("f31")), UsageError);
}

}  // namespace
