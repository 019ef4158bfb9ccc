// The registers of items as the driver's own requests have them.
#include "host/poll/wire_access.h"

#include <gtest/gtest.h>

#include "host/line/line_settings.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

struct Case {
    const char* item;
    int count;
    std::string read;
    std::string write;
};
void PrintTo(const Case& asked, std::ostream* out) {
    *out << asked.item;
}

std::string text(const std::optional<WireAccess>& access) {
    if (!access) {
        return "-";
    }
    return std::to_string(access->function) +
           (access->reg ? ' ' + registerText(*access->reg).toStdString() : std::string());
}

class Wire : public testing::TestWithParam<Case> {};

TEST_P(Wire, IsAsTheDriverAsks) {
    DriverSession session(driverFunctions(), propertyText(LineSettings(), 1));
    const Point point = notation().points(QString::fromLatin1(GetParam().item)).first();
    // Whatever was asked before.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(text(readAccess(session, point.type, point.address, GetParam().count)), GetParam().read);
        EXPECT_EQ(text(writeAccess(session, point.type, point.address, GetParam().count)), GetParam().write);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Items, Wire,
    testing::Values(Case{"F:3.0.25", 1, "3 F325", "6 E325"}, Case{"F:3.0.20", 3, "3 F320", "16 E320"},
                    Case{"DO:1", 1, "1 1020", "5 1020"}, Case{"SDO:1", 8, "1 1060", "5 1060"},
                    Case{"DI:6", 1, "2 1125", "-"}, Case{"AI:3", 1, "4 1203", "-"},
                    Case{"FIN:0", 1, "4 1203", "-"}, Case{"D:1.0.55", 1, "3 D155", "-"},
                    Case{"CW:0", 1, "3 1300", "6 1300"}, Case{"MOD:1", 2, "3 1301", "16 1301"},
                    Case{"FAS:0", 1, "7", "-"}, Case{"F:10.0.00", 1, "3 0000", "-"}));

TEST(Wire, EveryTypeHasATableAndAMeaning) {
    DriverSession session(driverFunctions(), propertyText(LineSettings(), 1));
    for (const RegisterType& type : notation().types()) {
        const auto access = readAccess(session, type, type.lowestAddress, 1);
        ASSERT_TRUE(access) << type.name.toStdString();
        EXPECT_FALSE(tableName(access->function).isEmpty()) << type.name.toStdString();
        EXPECT_FALSE(type.meaning().isEmpty()) << type.name.toStdString();
        EXPECT_EQ(writeAccess(session, type, type.lowestAddress, 1).has_value(), type.writable);
    }
    EXPECT_TRUE(tableName(16).isNull());
    EXPECT_TRUE(RegisterType().meaning().isEmpty());
}

}  // namespace
