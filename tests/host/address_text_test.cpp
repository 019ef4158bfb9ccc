// dx7 takes exactly the addresses that it prints, and names the nearest of them for any other text.
#include "host/items/address_text.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "host/error.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

QString utf8(const char* text) {
    return QString::fromUtf8(text);
}

QStringList addressTexts(const RegisterType& type) {
    QStringList texts;
    // One more than the table has: the driver takes the first item of the next group, too.
    for (int address = type.lowestAddress; address <= type.highestAddress + (type.grouped() ? 1 : 0);
         ++address) {
        texts += type.addressText(address);
    }
    return texts;
}

bool isTaken(const RegisterType& type, const QString& text) {
    try {
        notation().address(type, text, 1);
        return true;
    } catch (const UsageError&) {
        return false;
    }
}

// Every text that is one letter away from `text`.
QStringList neighbours(const QString& text) {
    static const QString letters = utf8("0123456789aAfFgGOolIS#.,:;@/+- \t\n=x\u0663\uFF13\u00B2\u200B");
    QStringList all;
    for (int at = 0; at <= text.size(); ++at) {
        if (at < text.size()) {
            all += text.left(at) + text.mid(at + 1);
        }
        for (const QChar letter : letters) {
            all += text.left(at) + letter + text.mid(at);
            if (at < text.size()) {
                all += text.left(at) + letter + text.mid(at + 1);
            }
        }
    }
    return all;
}

class Addresses : public testing::TestWithParam<const char*> {};

TEST_P(Addresses, ArePrintedInTheTextThatIsTaken) {
    const RegisterType type = notation().type(utf8(GetParam()));
    const QStringList texts = addressTexts(type);
    for (int i = 0; i < texts.size(); ++i) {
        ASSERT_EQ(notation().address(type, texts.at(i), 1), type.lowestAddress + i)
            << texts.at(i).toStdString();
    }
    EXPECT_EQ(texts.first(), type.lowest);
    EXPECT_TRUE(texts.contains(type.highest));
}

TEST_P(Addresses, AreTakenInNoOtherText) {
    const RegisterType type = notation().type(utf8(GetParam()));
    const QStringList texts = addressTexts(type);
    const std::set<QString> valid(texts.begin(), texts.end());
    std::mt19937 random(1);
    for (int i = 0; i < texts.size(); i += type.grouped() ? 127 : 1) {
        for (const QString& once : neighbours(texts.at(i))) {
            ASSERT_EQ(isTaken(type, once), valid.count(once) > 0) << '"' << once.toStdString() << '"';
            const QStringList more = neighbours(once);
            const QString twice = more.at(static_cast<int>(random() % static_cast<unsigned>(more.size())));
            ASSERT_EQ(isTaken(type, twice), valid.count(twice) > 0) << '"' << twice.toStdString() << '"';
        }
    }
}

TEST_P(Addresses, TheNearestIsAlwaysOneOfTheTable) {
    const RegisterType type = notation().type(utf8(GetParam()));
    QStringList texts = addressTexts(type);
    texts += {utf8(""), utf8("."), utf8(".."), utf8("99999999999999999999"), utf8("G.0.00"), utf8("%1.0.00")};
    int found = 0;
    for (int i = 0; i < texts.size(); i += type.grouped() ? 449 : 1) {
        for (const QString& text : neighbours(texts.at(i))) {
            const QString nearest = nearestAddress(type, text);
            if (!nearest.isNull()) {
                const int address = notation().address(type, nearest, 1);
                ASSERT_FALSE(type.beyondTable(address, 1)) << nearest.toStdString();
                ++found;
            }
        }
    }
    EXPECT_GT(found, 100);
}

INSTANTIATE_TEST_SUITE_P(Types, Addresses,
                         testing::Values("CW_bit", "SW_bit", "DO", "RO", "SDO", "DI", "AI", "FIN", "F", "D",
                                         "DE", "CW", "SW", "MOD", "FAS"));

struct Meant {
    const char* type;
    const char* typed;
    const char* nearest;  ///< Null: none.
};
void PrintTo(const Meant& meant, std::ostream* out) {
    *out << meant.type << ':' << meant.typed;
}

class NearestAddress : public testing::TestWithParam<Meant> {};

TEST_P(NearestAddress, IsWhatWasMeant) {
    const Meant& meant = GetParam();
    const QString nearest = nearestAddress(notation().type(utf8(meant.type)), utf8(meant.typed));
    EXPECT_EQ(nearest.isNull() ? "none" : nearest.toStdString(),
              meant.nearest == nullptr ? "none" : meant.nearest);
}

INSTANTIATE_TEST_SUITE_P(
    Grouped, NearestAddress,
    testing::Values(
        Meant{"F", "3.9.25", "3.0.25"}, Meant{"F", "3O.0.24", "3.0.24"}, Meant{"F", "30.0.24", "3.0.24"},
        Meant{"F", "3.O.24", "3.0.24"}, Meant{"F", "3.0.2O", "3.0.20"}, Meant{"F", "l.0.24", "1.0.24"},
        Meant{"F", "3.0.2S", "3.0.25"}, Meant{"F", "3.0.5", "3.0.05"}, Meant{"F", "3.0.025", "3.0.25"},
        Meant{"F", "03.0.25", "3.0.25"}, Meant{"F", "a.0.01", "A.0.01"}, Meant{"F", "F.#.55", "F.0.55"},
        Meant{"F", "3.#.25", "3.0.25"}, Meant{"F", " 3.0.25", "3.0.25"}, Meant{"F", "3.0.25\n", "3.0.25"},
        Meant{"F", "3. 0.25", "3.0.25"}, Meant{"F", "+3.0.25", "3.0.25"}, Meant{"F", "3.25", "3.0.25"},
        Meant{"F", "3..25", "3.0.25"}, Meant{"F", "3,0,25", "3.0.25"}, Meant{"F", "3-0-25", "3.0.25"},
        Meant{"F", "3.0.56", "3.0.55"}, Meant{"F", "3.0.99", "3.0.55"}, Meant{"F", "12.0.05", "C.0.05"},
        Meant{"F", "193", "3.0.25"}, Meant{"F", "\uFF13.0.25", "3.0.25"}, Meant{"D", "5.0.10", "1.0.10"},
        Meant{"F", "3.0.25.", "3.0.25"}, Meant{"F", "3.0", "3.0.00"}, Meant{"F", "garbage", nullptr},
        Meant{"F", "", nullptr}, Meant{"F", "3.0.2500000000000000000000000", nullptr}));

INSTANTIATE_TEST_SUITE_P(Plain, NearestAddress,
                         testing::Values(Meant{"AI", "00", "0"}, Meant{"AI", "O", "0"}, Meant{"AI", "4", "3"},
                                         Meant{"AI", "-1", "0"}, Meant{"AI", "+1", "1"},
                                         Meant{"AI", " 1", "1"}, Meant{"DO", "0", "1"},
                                         Meant{"DE", "55.", "55"}, Meant{"DE", "l2", "12"},
                                         Meant{"AI", "x", nullptr}, Meant{"AI", "", nullptr}));

TEST(NearestName, IsTheTypeThatWasMeant) {
    const QStringList names{utf8("AI"), utf8("DI"), utf8("DO"), utf8("F"), utf8("CW_bit")};
    EXPECT_EQ(nearestName(names, utf8("D0")), utf8("DO"));
    EXPECT_EQ(nearestName(names, utf8("Al")), utf8("AI"));
    EXPECT_EQ(nearestName(names, utf8("f")), utf8("F"));
    EXPECT_EQ(nearestName(names, utf8("cw_bit")), utf8("CW_bit"));
    EXPECT_EQ(nearestName(names, utf8("CWbit")), utf8("CW_bit"));
    EXPECT_TRUE(nearestName(names, utf8("nonsense")).isNull());
    EXPECT_TRUE(nearestName(names, utf8("")).isNull());
}

TEST(DriversReading, IsNamedWhereItDiffers) {
    EXPECT_EQ(notation().driversReading(utf8("F:3O.0.24,2@7/hex")), utf8("F:0.0.24"));
    EXPECT_EQ(notation().driversReading(utf8("F:F.#.55")), utf8("F:F.0.55"));
    for (const char* none : {"F:3.0.24", "F:3.0.56", "XX:1", "F", "", "AI:x"}) {
        EXPECT_TRUE(notation().driversReading(utf8(none)).isEmpty()) << none;
    }
}

}  // namespace
