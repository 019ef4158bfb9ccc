// What the driver says about itself and how a host configures a link.

#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include "support.h"

namespace dx7test {
namespace {

using Description = DriverTest;
using Properties = DriverTest;
using RecipeAddresses = DriverTest;

struct Settings {
    int linkId, propField1, propField2, retryCount, maxBlockWords;
};
bool operator==(const Settings& a, const Settings& b) {
    return a.linkId == b.linkId && a.propField1 == b.propField1 && a.propField2 == b.propField2 &&
           a.retryCount == b.retryCount && a.maxBlockWords == b.maxBlockWords;
}
void PrintTo(const Settings& s, std::ostream* out) {
    *out << s.linkId << '#' << s.propField1 << '#' << s.propField2 << '#' << s.retryCount << '#'
         << s.maxBlockWords;
}

Settings settings() {
    return Settings{driver.linkId, driver.propField1, driver.propField2, driver.retryCount,
                    driver.maxBlockWords};
}

TEST_F(Description, ProtocolTypeIsZero) {
    int type = 77;
    intf_getProtocolType(&type);
    EXPECT_EQ(type, 0);
}

TEST_F(Description, DefaultParametersAreTwentyFiveFieldsThatReplaceTheText) {
    QString text = "before";
    intf_getDriverParameter(text);
    EXPECT_EQ(text,
              "0,9600,8,NONE,1,0,1,192.168.0.10,8888,korvalent_dx7,"
              "CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,SW,MOD,FAS");
    EXPECT_EQ(text.split(',').size(), 25);
}

TEST_F(Description, PropertyPageIsZeroUnderscoreZeroAndReplacesTheText) {
    QString text = "before";
    intf_getDriverPropertyPage(text);
    EXPECT_EQ(text, "0_0");
}

TEST_F(Description, SettingThePropertyPageOnlyEmptiesTheText) {
    const Settings before = settings();
    QString text = "9#9#9#9#9";
    intf_SetDriverPropertyPage(text);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(settings(), before);
}

TEST_F(Properties, FiveFieldsSetTheFiveSettingsAndTheBlockLimits) {
    int out = 77;
    EXPECT_EQ(intf_initProperty(hostFlags.data(), 0, recipeMemory.data(), &out, "1#0#0#3#64", &mutex),
              DX7_DONE);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(settings(), (Settings{1, 0, 0, 3, 64}));
    EXPECT_EQ(driver.maxBlockWordsCopy, 64);
    EXPECT_EQ(driver.maxBlockBits, 512);
}

struct PropertyText {
    const char* name;
    const char* text;
    Settings expected;
};
const Settings kept = {21, 22, 23, 24, 25};

class PropertyTexts : public DriverTest, public ::testing::WithParamInterface<PropertyText> {};

TEST_P(PropertyTexts, GiveTheirSettings) {
    ASSERT_EQ(init("21#22#23#24#25"), 1);
    EXPECT_EQ(init(GetParam().text), 1);
    EXPECT_EQ(settings(), GetParam().expected);
    EXPECT_EQ(driver.maxBlockWordsCopy, GetParam().expected.maxBlockWords);
    EXPECT_EQ(driver.maxBlockBits, 8 * GetParam().expected.maxBlockWords);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PropertyTexts,
    ::testing::Values(
        PropertyText{"FiveFields", "1#2#3#4#5", {1, 2, 3, 4, 5}},
        PropertyText{"FourFieldsChangeNothing", "1#2#3#4", kept},
        PropertyText{"OneFieldChangesNothing", "9", kept}, PropertyText{"EmptyTextChangesNothing", "", kept},
        PropertyText{"NullTextChangesNothing", nullptr, kept},
        PropertyText{"EmptyFieldIsZero", "1##0#3#64", {1, 0, 0, 3, 64}},
        PropertyText{"EveryFieldEmpty", "####", {0, 0, 0, 0, 0}},
        PropertyText{"EmptyFifthFieldIsAField", "1#2#3#4#", {1, 2, 3, 4, 0}},
        PropertyText{"FieldsBeyondTheFifthAreIgnored", "1#2#3#4#5#6#x#", {1, 2, 3, 4, 5}},
        PropertyText{"WordsAreZero", "a#1b#0x5#1.5#7 7", {0, 0, 0, 0, 0}},
        PropertyText{"SignsAndBlanksConvert", "-1#+2# 3#4 #\t5", {-1, 2, 3, 4, 5}},
        PropertyText{"LeadingZerosAreDecimal", "010#007#00#0003#0064", {10, 7, 0, 3, 64}},
        PropertyText{"BeyondThirtyTwoBitsIsZero", "2147483648#-2147483649#99999999999#1#2", {0, 0, 0, 1, 2}}),
    [](const auto& row) { return row.param.name; });

TEST_F(Properties, TextIsReadAsLatin1) {
    // A no-break space is blank in Latin-1 and no character at all in UTF-8.
    ASSERT_EQ(QString::fromLatin1("\xA0"
                                  "5")
                  .toInt(),
              5);
    EXPECT_EQ(init("\xA0"
                   "5#0#0#3#64"),
              1);
    EXPECT_EQ(driver.linkId, 5);
}

TEST_F(Properties, BitLimitOfAHugeBlockWraps) {
    init("1#0#0#3#2147483647");
    EXPECT_EQ(driver.maxBlockWordsCopy, 2147483647);
    EXPECT_EQ(driver.maxBlockBits, -8);
}

/// Gives every field that an initialisation resets a value of its own.
void disturb() {
    driver.pollList << request(1, "CW", 0, 1);
    driver.writeList << request(1, "CW", 0, 1);
    driver.conditionList << request(1, "CW", 0, 1);
    driver.dataAreas << area(1, "CW", 0);
    driver.frameList << FRAME_PRO();
    driver.opKind = driver.burstCount = driver.reservedA = driver.badReplyCount = 5;
    driver.commFailed = driver.reservedB = driver.reservedC = 5;
    driver.maxBlockWordsCopy = driver.maxBlockBits = 5;
}

class InitialisingAgain : public DriverTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(InitialisingAgain, EmptiesTheListsAndResetsTheCounters) {
    disturb();
    EXPECT_EQ(init(GetParam()), 1);
    EXPECT_TRUE(driver.pollList.isEmpty());
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_TRUE(driver.conditionList.isEmpty());
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(driver.frameList.isEmpty());
    EXPECT_EQ(driver.opKind, 0);
    EXPECT_EQ(driver.burstCount, 0);
    EXPECT_EQ(driver.reservedA, 0);
    EXPECT_EQ(driver.badReplyCount, 0);
    EXPECT_EQ(driver.commFailed, 0);
    EXPECT_EQ(driver.reservedB, 0);
    EXPECT_EQ(driver.reservedC, 1);
    EXPECT_EQ(driver.maxBlockWordsCopy, 64);
    EXPECT_EQ(driver.maxBlockBits, 512);
}

TEST_P(InitialisingAgain, LeavesRecipesRequestsAndCallbackAlone) {
    driver.recipeVars << recipeVariable(1, 1, "CW", 0, 1, 0);
    driver.recipeBlocks << recipeVariable(1, 2, "CW", 0, 1, 0);
    driver.recipeBlockStart << 7;
    driver.recipeIndex = 3;
    driver.conditionVar = request(4, "AI", 1, 2);
    driver.currentVar = request(5, "DI", 3, 4);
    const ValueChangeCallback callback = driver.valueChangeCallback;
    EXPECT_EQ(init(GetParam()), 1);
    EXPECT_EQ(driver.recipeVars.size(), 1);
    EXPECT_EQ(driver.recipeBlocks.size(), 1);
    EXPECT_EQ(driver.recipeBlockStart, QList<int>{7});
    EXPECT_EQ(driver.recipeIndex, 3);
    EXPECT_EQ(itemsOf(driver.conditionVar), (Items{4, "AI", 1, 2}));
    EXPECT_EQ(itemsOf(driver.currentVar), (Items{5, "DI", 3, 4}));
    EXPECT_EQ(driver.valueChangeCallback, callback);
    EXPECT_EQ(driver.regNames.size(), 14);
}

TEST_P(InitialisingAgain, TakesTheHostsMemoryAndMutex) {
    unsigned char flags = 0, memory = 0;
    QMutex other;
    int out = -1;
    EXPECT_EQ(intf_initProperty(&flags, 0x12345678u, &memory, &out, GetParam(), &other), DX7_DONE);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(driver.hostFlags, &flags);
    EXPECT_EQ(driver.hostParam2, 0x12345678u);
    EXPECT_EQ(driver.recipeMemory, &memory);
    EXPECT_EQ(driver.hostMutex, &other);
}

INSTANTIATE_TEST_SUITE_P(WithAnyPropertyText, InitialisingAgain,
                         ::testing::Values("1#0#0#3#64", "1#2#3#4", ""));

TEST_F(Properties, HostMemoryIsNeitherReadNorWrittenByInitialising) {
    hostFlags.assign(hostFlags.size(), 0x5A);
    recipeMemory.assign(recipeMemory.size(), 0xA5);
    init("1#0#0#3#64");
    EXPECT_EQ(hostFlags, std::vector<unsigned char>(hostFlags.size(), 0x5A));
    EXPECT_EQ(recipeMemory, std::vector<unsigned char>(recipeMemory.size(), 0xA5));
}

int otherCalls = 0;
void otherCallback(int, int, QString&, int) {
    ++otherCalls;
}

TEST_F(Properties, ANewCallbackReplacesTheEarlierOne) {
    otherCalls = 0;
    intf_setAddrValueChangeCallBack(&otherCallback);
    EXPECT_EQ(driver.valueChangeCallback, &otherCallback);
    unsigned char on = 1;
    intf_setData(1, "DO", 1, 1, &on, 2);
    EXPECT_EQ(otherCalls, 1);
    EXPECT_TRUE(reports.empty());
}

TEST_F(RecipeAddresses, OnlyVariablesOfTheOwnLinkAreKeptInTheirOrder) {
    QVector<_RCP_VAR_PRO> vars;
    for (int i = 0; i < 6; ++i) {
        vars << recipeVariable(i % 2, i, "CW", 10 * i, i + 1, 100 + i);
        vars.last().hostReserved = 1000 + i;
    }
    EXPECT_EQ(intf_setRcpAddress(vars), 3);
    EXPECT_EQ(vars.size(), 6);
    ASSERT_EQ(driver.recipeVars.size(), 3);
    for (int k = 0; k < 3; ++k) {
        const _RCP_VAR_PRO& var = driver.recipeVars.at(k);
        EXPECT_EQ(var.linkId, 1);
        EXPECT_EQ(var.station, 2 * k + 1);
        EXPECT_EQ(var.regType, "CW");
        EXPECT_EQ(var.address, 10 * var.station);
        EXPECT_EQ(var.count, var.station + 1);
        EXPECT_EQ(var.recipeIndex, 100 + var.station);
        EXPECT_EQ(var.hostReserved, 1000 + var.station);
    }
}

TEST_F(RecipeAddresses, ASecondCallReplacesTheFirst) {
    QVector<_RCP_VAR_PRO> vars(3, recipeVariable(1, 1, "CW", 0, 1, 0));
    EXPECT_EQ(intf_setRcpAddress(vars), 3);
    vars.resize(1);
    EXPECT_EQ(intf_setRcpAddress(vars), 1);
    EXPECT_EQ(driver.recipeVars.size(), 1);
    vars.clear();
    EXPECT_EQ(intf_setRcpAddress(vars), 0);
    EXPECT_TRUE(driver.recipeVars.isEmpty());
}

TEST_F(RecipeAddresses, RecipeBlocksStayEmptySoThatTransfersNeverStart) {
    QVector<_RCP_VAR_PRO> vars(3, recipeVariable(1, 1, "CW", 0, 1, 0));
    intf_setRcpAddress(vars);
    EXPECT_TRUE(driver.recipeBlocks.isEmpty());
    EXPECT_TRUE(driver.recipeBlockStart.isEmpty());
    EXPECT_EQ(driver.recipeIndex, 0);
    hostFlags[RECIPE_WRITE_REQUEST] = 1;
    FRAME_PRO frame;
    EXPECT_EQ(intf_getSendFrame(&frame), DX7_SEND_NOTHING);
}

}  // namespace
}  // namespace dx7test
