#include "host/items/byte_text.h"

#include <gtest/gtest.h>

#include "host/error.h"

using namespace dx7;

namespace {

TEST(ByteText, TakesBytesInEveryForm) {
    const QByteArray bytes("\x03\xF3\x25\x00\x01", 5);
    for (const char* words :
         {"03 F3 25 00 01", "03F3250001", "0x03 0xF325 0001", "0X03 f3 25 00 01", "03 f325 0x0001"}) {
        EXPECT_EQ(bytesFromWords(QString::fromLatin1(words).split(QLatin1Char(' '))), bytes) << words;
        EXPECT_EQ(bytesFromWords({QString::fromLatin1(words)}), bytes) << words << " in one argument";
    }
    EXPECT_TRUE(bytesFromWords({}).isEmpty());
}

TEST(ByteText, NamesTheWordThatIsNone) {
    for (const char* word :
         {"3", "0x3", "G1", "0x", "030", "-1", "12h", "0x0x03", "03,F3", "\xC2\xB2\xC2\xB2"}) {
        try {
            bytesFromWords({QStringLiteral("03"), QString::fromUtf8(word)});
            ADD_FAILURE() << word;
        } catch (const UsageError& error) {
            EXPECT_TRUE(error.text().startsWith(QLatin1Char('"'))) << error.text().toStdString();
        }
    }
}

}  // namespace
