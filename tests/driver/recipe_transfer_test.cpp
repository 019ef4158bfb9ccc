// Recipe requests while blocks are left: how they are written, read, stored and ended.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class RecipeTransfer : public DriverTest {
protected:
    void setWord(int index, int value) {
        recipeMemory[static_cast<size_t>(2 * index)] = static_cast<unsigned char>(value & 0xFF);
        recipeMemory[static_cast<size_t>(2 * index + 1)] = static_cast<unsigned char>(value >> 8);
    }

    int word(int index) const {
        return recipeMemory[static_cast<size_t>(2 * index)] +
               256 * recipeMemory[static_cast<size_t>(2 * index + 1)];
    }

    static Report recipeWord(int index) { return Report{0, -1, "RWI", index}; }

    // Three variables of F, a block each.
    static void threeBlocks() {
        for (int i = 0; i < 3; ++i) {
            driver.recipeVars << recipeVariable(1, 1, "F", 10 + i, 1, 100 + i);
            driver.recipeBlocks << recipeVariable(1, 1, "F", 10 + i, 1, 100 + i);
            driver.recipeBlockStart << i;
        }
    }
};

TEST_F(RecipeTransfer, WritesABlockFromTheRecipeMemory) {
    setWord(100, 0x000A);
    setWord(101, 0x0102);
    driver.recipeBlocks << recipeVariable(1, 1, "F", 10, 2, 100);
    driver.currentVar.opKind = 55;
    driver.burstCount = 2;
    hostFlags[RECIPE_WRITE_REQUEST] = 1;
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(hex("01 10 E0 10 00 02 04 00 0A 01 02 9B 34"), sentBytes(frame));
    EXPECT_EQ(5, driver.opKind);
    EXPECT_EQ(2, driver.burstCount);
    EXPECT_EQ(55, frame.opKind) << "the tag of the request before stays";
}

TEST_F(RecipeTransfer, ReadsABlock) {
    setWord(100, 0x1234);
    driver.recipeBlocks << recipeVariable(1, 1, "F", 10, 2, 100);
    driver.currentVar = request(9, "DO", 5, 5, 55, hex("01 02 03"));
    driver.burstCount = 2;
    hostFlags[RECIPE_READ_REQUEST] = 1;
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(withCrc(hex("01 03 F0 10 00 02")), sentBytes(frame));
    EXPECT_EQ(6, driver.opKind);
    EXPECT_EQ(2, driver.burstCount);
    for (int i = 0; i < DX7_DATA_BYTES; ++i)
        ASSERT_EQ(0, frame.varData[i]);
}

TEST_F(RecipeTransfer, WritesWhenBothAreRequested) {
    threeBlocks();
    hostFlags[RECIPE_WRITE_REQUEST] = hostFlags[RECIPE_READ_REQUEST] = 1;
    EXPECT_EQ(QString("write F10(1)"), whatIsSent());
    EXPECT_EQ(5, driver.opKind);
}

TEST_F(RecipeTransfer, IsRequestedByTheValue1Only) {
    threeBlocks();
    driver.pollList << request(1, "CW", 0, 1, 4);
    for (int value : {2, 3, 0x81, 255}) {
        hostFlags[RECIPE_WRITE_REQUEST] = hostFlags[RECIPE_READ_REQUEST] = static_cast<unsigned char>(value);
        EXPECT_EQ(QString("read CW0(1)"), traffic(1)) << value;
    }
}

TEST_F(RecipeTransfer, WriteTakesTheLineUntilTheLastBlock) {
    threeBlocks();
    driver.pollList << request(1, "CW", 0, 1, 4);
    driver.writeList << request(1, "MOD", 1, 1, 2);
    hostFlags[RECIPE_WRITE_REQUEST] = 1;
    hostFlags[RECIPE_READ_REQUEST] = 0;
    EXPECT_EQ(QString("write F10(1)"), traffic(1));
    EXPECT_EQ(1, driver.recipeIndex);
    EXPECT_EQ(QString("write F11(1)"), traffic(1));
    EXPECT_EQ(2, driver.recipeIndex);
    EXPECT_EQ(1, hostFlags[RECIPE_WRITE_REQUEST]);
    EXPECT_EQ(QString("write F12(1)"), traffic(1));
    EXPECT_EQ(0, driver.recipeIndex);
    EXPECT_EQ(0, hostFlags[RECIPE_WRITE_REQUEST]);
    EXPECT_EQ(QString("write MOD1(1), read CW0(1)"), traffic(2));
    EXPECT_TRUE(driver.dataAreas.size() >= 1);
    for (const Report& report : reports)
        EXPECT_NE(QString("RWI"), report.regType);
}

TEST_F(RecipeTransfer, WriteDoesNotTouchTheValuesOfItsItems) {
    threeBlocks();
    setWord(100, 7);
    hostFlags[RECIPE_WRITE_REQUEST] = 1;
    traffic(3);
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(RecipeTransfer, WriteThatFailsStartsOverAndClearsItsRequest) {
    threeBlocks();
    driver.retryCount = 1;
    hostFlags[RECIPE_WRITE_REQUEST] = hostFlags[RECIPE_READ_REQUEST] = 1;
    traffic(1);
    EXPECT_EQ(QString("write F11(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(0, driver.recipeIndex);
    EXPECT_EQ(0, hostFlags[RECIPE_WRITE_REQUEST]);
    EXPECT_EQ(1, hostFlags[RECIPE_READ_REQUEST]);
    EXPECT_TRUE(reports.empty());
}

TEST_F(RecipeTransfer, ReadStoresTheWordsLowByteFirstAndReportsThem) {
    threeBlocks();
    hostFlags[RECIPE_READ_REQUEST] = 1;
    ASSERT_EQ(QString("read F10(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234})));
    EXPECT_EQ(0x1234, word(100));
    EXPECT_EQ((Reports{recipeWord(100)}), takeReports());
    EXPECT_EQ(1, driver.recipeIndex);
    ASSERT_EQ(QString("read F11(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x5678})));
    ASSERT_EQ(QString("read F12(1)"), whatIsSent());
    EXPECT_EQ(1, hostFlags[RECIPE_READ_REQUEST]);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x9ABC})));
    EXPECT_EQ(0x5678, word(101));
    EXPECT_EQ(0x9ABC, word(102));
    EXPECT_EQ(0, word(103));
    EXPECT_EQ(0, driver.recipeIndex);
    EXPECT_EQ(0, hostFlags[RECIPE_READ_REQUEST]);
    unsigned char out[6];
    intf_getData(1, "F", 10, 3, out);
    EXPECT_EQ(hex("34 12 78 56 BC 9A"), QByteArray(reinterpret_cast<char*>(out), 6));
}

TEST_F(RecipeTransfer, ReadOfABlockOfSeveralVariablesPlacesEachByItsAddress) {
    driver.recipeVars << recipeVariable(1, 1, "CW", 0, 1, 9) << recipeVariable(1, 1, "F", 20, 1, 50)
                      << recipeVariable(1, 1, "F", 22, 1, 40) << recipeVariable(1, 1, "F", 21, 1, 60);
    driver.recipeBlocks << recipeVariable(1, 1, "CW", 0, 1, 9) << recipeVariable(1, 1, "F", 20, 3, 50);
    driver.recipeBlockStart << 0 << 1;
    driver.recipeIndex = 1;
    hostFlags[RECIPE_READ_REQUEST] = 1;
    ASSERT_EQ(QString("read F20(3)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1111, 0x2222, 0x3333})));
    EXPECT_EQ((Reports{recipeWord(50), recipeWord(40), recipeWord(60)}), takeReports());
    EXPECT_EQ(0x1111, word(50));
    EXPECT_EQ(0x3333, word(40));
    EXPECT_EQ(0x2222, word(60));
    EXPECT_EQ(0, word(9));
}

TEST_F(RecipeTransfer, ReadStopsBeforeTheFirstVariableOfTheNextBlock) {
    driver.recipeVars << recipeVariable(1, 1, "F", 20, 1, 50) << recipeVariable(1, 1, "F", 21, 1, 51)
                      << recipeVariable(1, 1, "F", 22, 1, 52);
    driver.recipeBlocks << recipeVariable(1, 1, "F", 20, 3, 50) << recipeVariable(1, 1, "F", 22, 1, 52);
    driver.recipeBlockStart << 0 << 2;
    hostFlags[RECIPE_READ_REQUEST] = 1;
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1111, 0x2222, 0x3333})));
    EXPECT_EQ(0x2222, word(51));
    EXPECT_EQ(0, word(52));
    EXPECT_EQ((Reports{recipeWord(50), recipeWord(51)}), takeReports());
}

TEST_F(RecipeTransfer, ReadOfAnyOtherTypeStores32BitsReversedAndReportsBothWords) {
    driver.recipeVars << recipeVariable(1, 1, "unknown", 0, 2, 50) << recipeVariable(1, 1, "F", 2, 2, 60);
    driver.recipeBlocks << recipeVariable(1, 1, "unknown", 0, 4, 50);
    driver.recipeBlockStart << 0;
    hostFlags[RECIPE_READ_REQUEST] = 1;
    ASSERT_EQ(QString("read unknown0(4)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1122, 0x3344, 0x5566, 0x7788})));
    EXPECT_EQ(0x3344, word(50));
    EXPECT_EQ(0x1122, word(51));
    EXPECT_EQ(0x7788, word(60));
    EXPECT_EQ(0x5566, word(61));
    EXPECT_EQ((Reports{recipeWord(50), recipeWord(51), recipeWord(60), recipeWord(61)}), takeReports());
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(RecipeTransfer, ReadBeyondTheReplyStoresZeros) {
    driver.recipeVars << recipeVariable(1, 1, "F", 20, 1, 50) << recipeVariable(1, 1, "F", 30, 1, 51)
                      << recipeVariable(1, 1, "F", 10, 1, 52);
    driver.recipeBlocks << recipeVariable(1, 1, "F", 20, 1, 50);
    driver.recipeBlockStart << 0;
    setWord(51, 0xEEEE);
    setWord(52, 0xEEEE);
    hostFlags[RECIPE_READ_REQUEST] = 1;
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1111})));
    EXPECT_EQ(0x1111, word(50));
    EXPECT_EQ(0, word(51)) << "after the reply";
    EXPECT_EQ(0, word(52)) << "before the reply";
    EXPECT_EQ((Reports{recipeWord(50), recipeWord(51), recipeWord(52)}), takeReports());
}

// A variable two registers before the block's first takes what is before its data: nothing, and the
// reply's first byte, which is the station.
TEST_F(RecipeTransfer, ReadBeforeTheDataTakesTheHeadOfTheReply) {
    driver.recipeVars << recipeVariable(1, 77, "F", 20, 1, 50) << recipeVariable(1, 77, "F", 18, 1, 51)
                      << recipeVariable(1, 77, "F", 19, 1, 52);
    driver.recipeBlocks << recipeVariable(1, 77, "F", 20, 1, 50);
    driver.recipeBlockStart << 0;
    setWord(51, 0xEEEE);
    hostFlags[RECIPE_READ_REQUEST] = 1;
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(77, 3, {0x1111})));
    EXPECT_EQ(77, word(51));
    EXPECT_EQ(2 + 256 * 3, word(52)) << "byte count and function code";
}

TEST_F(RecipeTransfer, ReadReportsTheChangedItemBeforeTheRecipeWord) {
    QList<KEY_ADDRESS> monitored;
    monitored << entry(1, "F", 10, 1);
    intf_addrMerge(monitored);
    threeBlocks();
    hostFlags[RECIPE_READ_REQUEST] = 1;
    whatIsSent();
    hook = [this](const Report& report) {
        EXPECT_EQ(report.regType == QString("RWI") ? 0x1234 : 0, word(100));
    };
    answer(wordReply(1, 3, {0x1234}));
    EXPECT_EQ((Reports{{1, 1, "F", 10}, recipeWord(100)}), takeReports());
}

TEST_F(RecipeTransfer, ReadWithBoundsOutsideTheVariablesCopiesNothing) {
    const struct {
        const char* what;
        QList<int> starts;
    } rows[] = {{"no bounds at all", {}},      {"first beyond", {2}},      {"first negative", {-1}},
                {"last beyond", {0, 3}},       {"last negative", {0, -1}}, {"both far out", {1000, 2000}},
                {"last before first", {1, 0}}, {"an empty block", {1, 1}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        driver.recipeVars.clear();
        driver.recipeVars << recipeVariable(1, 1, "F", 20, 1, 50) << recipeVariable(1, 1, "F", 21, 1, 51);
        driver.recipeBlocks.clear();
        driver.recipeBlocks << recipeVariable(1, 1, "F", 20, 2, 50);
        driver.recipeBlockStart = row.starts;
        hostFlags[RECIPE_READ_REQUEST] = 1;
        ASSERT_EQ(QString("read F20(2)"), whatIsSent());
        EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1111, 0x2222})));
        EXPECT_EQ(0, word(50));
        EXPECT_EQ(0, word(51));
        EXPECT_TRUE(takeReports().empty());
        EXPECT_EQ(0, hostFlags[RECIPE_READ_REQUEST]);
    }
}

TEST_F(RecipeTransfer, ReadThatFailsStartsOverAndClearsItsRequest) {
    threeBlocks();
    driver.retryCount = 1;
    hostFlags[RECIPE_READ_REQUEST] = 1;
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {1})));
    whatIsSent();
    takeReports();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(0, driver.recipeIndex);
    EXPECT_EQ(0, hostFlags[RECIPE_READ_REQUEST]);
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(RecipeTransfer, OfABlockThatCannotBeWrittenNeverAdvances) {
    driver.recipeBlocks << recipeVariable(1, 1, "D", 0, 1, 0);
    driver.pollList << request(1, "CW", 0, 1, 4);
    hostFlags[RECIPE_WRITE_REQUEST] = 1;
    EXPECT_EQ(QString("nothing, nothing, nothing, nothing, nothing, nothing, nothing"), traffic(7));
    EXPECT_EQ(5, driver.opKind);
    EXPECT_EQ(0, driver.recipeIndex);
    EXPECT_EQ(1, hostFlags[RECIPE_WRITE_REQUEST]);
}

}  // namespace
