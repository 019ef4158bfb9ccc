// Which items a request reads or writes, as the driver's own requests have them.
#include "host/poll/polled_items.h"

#include <gtest/gtest.h>

#include "host/line/line_settings.h"
#include "loaded_driver.h"
#include "tests/kit/crc.h"
#include "tests/kit/hex.h"

using namespace dx7;

namespace {

QByteArray request(const char* hex) {
    return kit::withCrc(kit::hex(hex));
}

std::string text(const QVector<ItemRun>& runs) {
    std::string text;
    for (const ItemRun& run : runs) {
        text += (text.empty() ? "" : " ") + run.text().toStdString();
    }
    return text;
}

const RegisterIndex& index() {
    static const RegisterIndex index = [] {
        DriverSession session(driverFunctions(), propertyText(LineSettings(), 1));
        return RegisterIndex(session, notation().types());
    }();
    return index;
}

struct Case {
    const char* request;
    std::string items;
    std::string others;
    int foreign;
};
void PrintTo(const Case& asked, std::ostream* out) {
    *out << asked.request;
}

class Polled : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(
    Requests, Polled,
    testing::Values(Case{"01 04 12 00 00 04", "AI:0,4", "FIN:0", 0},
                    Case{"01 04 12 03 00 01", "AI:3", "FIN:0", 0},
                    Case{"01 03 F3 20 00 09", "F:3.0.20,9", "", 0},
                    // Behind position 9 the numbers go on with 10.
                    Case{"01 03 F3 08 00 0A", "F:3.0.08,2 F:3.0.10,2", "", 1},
                    Case{"01 03 F3 55 00 04", "F:3.0.55", "", 1}, Case{"01 01 10 20 00 02", "DO:1,2", "", 0},
                    Case{"01 02 11 20 00 08", "DI:1,6", "", 1}, Case{"01 07", "FAS:0", "", 0},
                    Case{"01 03 00 10 00 04", "", "", 1}, Case{"01 06 E3 25 00 07", "F:3.0.25", "", 0},
                    Case{"01 10 E3 25 00 02 04 00 07 00 08", "F:3.0.25,2", "", 0},
                    Case{"01 05 10 20 FF 00", "DO:1", "", 0}, Case{"01 06 F3 25 00 07", "", "", 1},
                    Case{"01 08 00 00 12 34", "", "", 0}, Case{"01 2B 0E 01 00", "", "", 0}));

TEST_P(Polled, ItemsAreThoseOfTheDriver) {
    const PolledItems found = index().items(request(GetParam().request));
    EXPECT_EQ(text(found.items), GetParam().items);
    EXPECT_EQ(text(found.others), GetParam().others);
    EXPECT_EQ(found.foreign.size(), GetParam().foreign);
}

TEST(PolledItems, WhatIsNoItemIsNamedByItsRegisters) {
    const PolledItems found = index().items(request("01 03 F3 08 00 0A"));
    ASSERT_EQ(found.foreign.size(), 1);
    EXPECT_EQ(found.foreign[0], qMakePair(0xF30A, 6));
}

}  // namespace
