// The model on its own, by examples worked out by hand.
#include "model.h"

#include <gtest/gtest.h>

#include <tuple>

namespace model {
namespace {

using Report = std::tuple<int, int, Text, int>;

class ModelTest : public testing::Test {
protected:
    ModelTest() : flags(60117, 0), recipe(4096, 0) {
        model.intf_setAddrValueChangeCallBack([this](int linkId, int station, Text& regType, int address) {
            reports.emplace_back(linkId, station, regType, address);
        });
        start("1#0#0#3#10");
    }

    void start(const char* properties) {
        int out = 1;
        model.intf_initProperty(flags.data(), 0, recipe.data(), &out, properties, nullptr);
        reports.clear();
    }

    static Variable request(const Text& type, int address, int count, std::vector<Byte> data = {}) {
        Variable var;
        var.station = 1;
        var.regType = type;
        var.address = address;
        var.count = count;
        for (std::size_t i = 0; i < data.size(); ++i) {
            var.data[i] = data[i];
        }
        return var;
    }

    static KeyAddress key(const Text& type, int address, int length, int station = 1) {
        KeyAddress result;
        result.station = station;
        result.regType = type;
        result.address = address;
        result.length = length;
        return result;
    }

    // The bytes of the frame built last, or those from `first` up to `end`.
    std::vector<Byte> sent() const { return sent(0, model.frameList.back().sendLen); }
    std::vector<Byte> sent(int first, int end) const {
        const Bytes1024& bytes = model.frameList.back().sendBuf;
        return std::vector<Byte>(bytes.begin() + first, bytes.begin() + end);
    }

    static std::vector<Byte> withCrc(std::vector<Byte> bytes) {
        const int crc = crcOf(bytes, bytes.size());
        bytes.push_back(static_cast<Byte>(crc & 0xFF));
        bytes.push_back(static_cast<Byte>(crc >> 8));
        return bytes;
    }

    int send() {
        Frame frame;
        return model.intf_getSendFrame(&frame);
    }

    int answer(const std::vector<Byte>& reply) {
        Text info;
        return model.intf_dealRcvFrame(reply, info);
    }

    Model model;
    std::vector<Byte> flags;
    std::vector<Byte> recipe;
    std::vector<Report> reports;
};

using Bytes = std::vector<Byte>;

TEST_F(ModelTest, PropertiesOfFiveFieldsAreTakenAndOfFourAreNot) {
    start("1#0#0#3#64");
    EXPECT_EQ(model.maxBlockBits, 512);
    start("9#9#9#9");
    EXPECT_EQ(std::make_tuple(model.linkId, model.retryCount, model.maxBlockWordsCopy),
              std::make_tuple(1, 3, 64));
    start("1##0#3#64");
    EXPECT_EQ(model.propField1, 0);
}

TEST_F(ModelTest, FirstAddressCheck) {
    struct Case {
        const char16_t *type, *text;
        int count, wordAccess, result, address;
    };
    const Case cases[] = {
        {u"CW_bit", u"15", 1, 0, 0, 15},  {u"CW_bit", u"16", 1, 0, 2, 16},  {u"CW_bit", u"15", 2, 0, 2, 15},
        {u"CW_bit", u"1", 1, 1, 1, -7},   {u"AI", u"1", 1, 0, 1, -7},       {u"DO", u"0", 1, 0, 2, 0},
        {u"RO", u"1", 1, 0, 0, 1},        {u"RO", u"2", 1, 0, 2, 2},        {u"AI", u"+5", 1, 1, 4, -7},
        {u"AI", u"-0", 1, 1, 4, -7},      {u"AI", u"abc", 1, 1, 4, 0},      {u"F", u"F.#.55", 1, 1, 0, 895},
        {u"F", u"10.0.00", 1, 1, 0, 896}, {u"F", u"10.0.01", 1, 1, 2, 897}, {u"F", u"3.0.56", 1, 1, 2, 224},
        {u"F", u"G.0.00", 1, 1, 4, -7},   {u"F", u"1.0", 1, 1, 4, 56},      {u"F", u"1..7", 1, 1, 0, 63},
        {u"F", u"a.x.5", 1, 1, 0, 565},   {u"D", u"1.#.55", 1, 1, 0, 111},  {u"D", u"2.0.00", 1, 1, 0, 112},
        {u"D", u"2.0.01", 1, 1, 2, 113},  {u"FW", u"1", 1, 1, 3, -7},       {u"XX", u"-1", 1, 1, 4, -7},
        {u"F", u"1z.0.5", 1, 1, 0, 5},
    };
    for (const Case& c : cases) {
        int address = -7;
        EXPECT_EQ(model.intf_checkAddrValidity(c.type, c.text, &address, c.count, c.wordAccess), c.result);
        EXPECT_EQ(address, c.address);
    }
}

TEST_F(ModelTest, SecondAddressCheck) {
    struct Case {
        const char16_t *type, *text;
        int dataType, accessMode, result, address;
    };
    const Case cases[] = {
        {u"CW_bit", u"7", -1, 0, 0, 7},  {u"CW_bit", u"7", 0, 0, 1, -7},   {u"AI", u"3", -1, 0, 1, -7},
        {u"AI", u"3", 1, 1, 6, -7},      {u"AI", u"3", 1, 3, 0, 3},        {u"FIN", u"0", 1, 1, 0, 0},
        {u"FAS", u"0", 1, 2, 0, 0},      {u"CW", u"0000", 1, 0, 16, -7},   {u"F", u"10.0.00", 1, 0, 16, -7},
        {u"F", u"10.0.0", 1, 0, 0, 896}, {u"F", u"F.#.555", 1, 0, 16, -7}, {u"DO", u"+2", -1, 0, 0, 2},
        {u"DO", u"-1", -1, 0, 2, -1},    {u"XX", u"abc", 1, 0, 0, -7},     {u"XX", u"abcd", 1, 0, 16, -7},
        {u"FI", u"1", 1, 2, 6, -7},
    };
    for (const Case& c : cases) {
        int address = -7;
        EXPECT_EQ(model.intf_checkAddr(c.type, c.text, &address, c.dataType, 1, c.accessMode), c.result);
        EXPECT_EQ(address, c.address);
    }
}

TEST_F(ModelTest, CopiesAreClampedToTheHighestAddress) {
    struct Case {
        const char16_t* type;
        int start, copies, step, result;
        std::vector<int> addresses;
        std::vector<Text> texts;
    };
    const Case cases[] = {
        {u"CW_bit", 14, 3, 1, 2, {14, 15, 15}, {u"14", u"15", u"15"}},
        {u"CW", 0, 2, 5, 2, {0, 0}, {u"0", u"0"}},
        {u"F", 894, 3, -2, 2, {894, 895, 895}, {u"f.0.54", u"F.#.55", u"F.#.55"}},
        {u"F", 600, 1, 1, 1, {600}, {u"a.0.40"}},
        {u"DE", 30, 1, 1, 1, {30}, {u"0.0.30"}},
        {u"DE", 4815, 2, 1, 2, {4815, 4815}, {u"55.0.55", u"55"}},
        {u"DO", 1, 2, -2, 1, {1, 2}, {u"1", u"2"}},
        {u"DO", -1, 1, 1, 1, {-1}, {u"4294967295"}},
        {u"FW", 0, 1, 1, 0, {}, {}},
        {u"DO", 0, 0, 1, 1, {}, {}},
    };
    for (const Case& c : cases) {
        std::vector<Text> texts;
        std::vector<int> addresses;
        EXPECT_EQ(model.intf_multiCopy(c.type, c.start, c.copies, c.step, &texts, &addresses), c.result);
        EXPECT_EQ(addresses, c.addresses);
        EXPECT_EQ(texts, c.texts);
    }
}

TEST_F(ModelTest, WeightsAndBits) {
    EXPECT_EQ(model.getRegAddressWeight(0, u"CW_bit", 5, 0), 65540);
    EXPECT_EQ(model.getRegAddressWeight(1, u"MOD", 0, 0), 1245165);
    EXPECT_EQ(model.getRegAddressWeight(0, u"FAS", 7, 0), 7);
    EXPECT_EQ(model._setBitValue(0x0F, 2, 0), 0x0B);
    EXPECT_EQ(static_cast<unsigned>(model._setBitValue(0, 31, 1)), 0x80000000U);
}

TEST_F(ModelTest, MergingJoinsNeighboursWithinTheirGroups) {
    const auto merged = [this](std::vector<KeyAddress> list) {
        model.intf_addrMerge(list);
        std::vector<std::pair<int, int>> blocks;
        for (const Variable& var : model.pollList) {
            blocks.emplace_back(var.address, var.count);
        }
        return blocks;
    };
    using Blocks = std::vector<std::pair<int, int>>;
    EXPECT_EQ(merged({key(u"F", 10, 1), key(u"F", 9, 1)}), (Blocks{{9, 1}, {10, 1}}));
    EXPECT_EQ(merged({key(u"F", 10, 1), key(u"F", 11, 1)}), (Blocks{{10, 2}}));
    EXPECT_EQ(merged({key(u"F", 55, 1), key(u"F", 56, 1)}), (Blocks{{55, 1}, {56, 1}}));
    EXPECT_EQ(merged({key(u"CW", 102, 3), key(u"CW", 100, 2)}), (Blocks{{100, 5}}));
    EXPECT_EQ(merged({key(u"CW", 100, 2), key(u"CW", 103, 1)}), (Blocks{{100, 2}, {103, 1}}));
    EXPECT_EQ(merged({key(u"CW", 0, 8), key(u"CW", 8, 4)}), (Blocks{{0, 8}, {8, 4}}));
    EXPECT_EQ(merged({key(u"CW", 0, 10), key(u"CW", 2, 2)}), (Blocks{{0, 4}}));
    EXPECT_EQ(merged({}), Blocks{});
}

TEST_F(ModelTest, RequestListsStopAt513AndNeverSearchTheHead) {
    std::vector<Variable> list;
    model.addVarToList(list, request(u"CW", 0, 1));
    model.addVarToList(list, request(u"CW", 0, 1));
    EXPECT_EQ(list.size(), 2U);
    model.addVarToList(list, request(u"CW", 0, 1));
    EXPECT_EQ(list.size(), 2U);
    for (int i = 1; i <= 600; ++i) {
        model.addVarToList(list, request(u"CW", i, 1));
    }
    EXPECT_EQ(list.size(), 513U);
    EXPECT_EQ(list[512].address, 600);
}

TEST_F(ModelTest, ConditionReadsAreSplitByTheirLimit) {
    model.intf_addConditionRead(key(u"CW", 100, 25), 3);
    ASSERT_EQ(model.conditionList.size(), 3U);
    EXPECT_EQ(model.conditionVar.address, 120);
    EXPECT_EQ(model.conditionVar.count, 5);
    KeyAddress bits = key(u"DO", 0, 25);
    bits.bitOffset = -1;
    model.intf_addConditionRead(bits, 3);
    EXPECT_EQ(model.conditionList.back().count, 25);
}

TEST_F(ModelTest, ReadFrames) {
    model.getReadFrame(request(u"DO", 1, 8));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x01, 0x10, 0x20, 0x00, 0x08, 0x38, 0xC6}));
    EXPECT_EQ(model.frameList.back().expectLen, 6);
    model.getReadFrame(request(u"F", 193, 1));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x03, 0xF3, 0x25, 0x00, 0x01, 0xA6, 0x85}));
    model.getReadFrame(request(u"FAS", 9, 9));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x07, 0x41, 0xE2}));
    model.getReadFrame(request(u"DE", 56 * 5 + 12, 1));
    EXPECT_EQ(sent(2, 4), (Bytes{0xDE, 0x12}));
    model.getReadFrame(request(u"AI", 0x105, 1));
    EXPECT_EQ(sent(1, 4), (Bytes{0x04, 0x12, 0x05}));
    for (const auto& [bits, length] : {std::pair(9, 7), std::pair(16, 7), std::pair(17, 8)}) {
        model.getReadFrame(request(u"DI", 1, bits));
        EXPECT_EQ(model.frameList.back().expectLen, length);
    }
}

TEST_F(ModelTest, WriteFrames) {
    model.getWriteFrame(request(u"DO", 1, 1, {1}));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x05, 0x10, 0x20, 0xFF, 0x00, 0x89, 0x30}));
    model.getWriteFrame(request(u"CW", 5, 1, {0x7F, 0x04}));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x06, 0x13, 0x00, 0x04, 0x7F, 0xCE, 0x6E}));
    model.getWriteFrame(request(u"F", 193, 1, {0xF4, 0x01}));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x06, 0xE3, 0x25, 0x01, 0xF4, 0xAF, 0x92}));
    model.getWriteFrame(request(u"F", 10, 2, {0x0A, 0x00, 0x02, 0x01}));
    EXPECT_EQ(sent(), (Bytes{0x01, 0x10, 0xE0, 0x10, 0x00, 0x02, 0x04, 0x00, 0x0A, 0x01, 0x02, 0x9B, 0x34}));
    model.getWriteFrame(request(u"MOD", 1, 0));
    EXPECT_EQ(model.frameList.back().sendLen, 9);
    const std::size_t built = model.frameList.size();
    for (const char16_t* type : {u"SW", u"FIN", u"AI", u"D", u"DE", u"FAS", u"XX"}) {
        model.getWriteFrame(request(type, 0, 1));
    }
    model.getWriteFrame(request(u"CW", 0, 2));
    EXPECT_EQ(model.frameList.size(), built);
}

TEST_F(ModelTest, WritesAreSplitAndShownAtOnce) {
    start("1#0#0#3#8");
    const Bytes data(40, 7);
    model.intf_setData(1, u"CW", 100, 20, data.data(), 2);
    ASSERT_EQ(model.writeList.size(), 3U);
    EXPECT_EQ(model.writeList[2].address, 116);
    EXPECT_EQ(model.writeList[2].count, 4);
    Byte out[2] = {0, 0};
    model.intf_getData(1, u"CW", 119, 1, out);
    EXPECT_EQ(out[0], 7);
    const Bytes bits = {1, 0, 1};
    model.intf_setData(1, u"DO", 3, 3, bits.data(), 2);
    EXPECT_EQ(reports, (std::vector<Report>{{1, 1, u"DO", 3}, {1, 1, u"DO", 4}, {1, 1, u"DO", 5}}));
}

TEST_F(ModelTest, ChangesAreReportedInTheirOrder) {
    model.dataAreas.resize(1);
    model.dataAreas[0].station = 1;
    model.dataAreas[0].regType = u"CW";
    model.dataAreas[0].address = 3;
    model.dataAreas[0].bitMonitorMask = 2;
    model.dataAreas[0].wordMonitorFlags = 7;
    model._wordDataChange(1, 3, 1, u"CW", 3, 0);
    EXPECT_EQ(
        reports,
        (std::vector<Report>{
            {1, 1, u"CW_bit", 49}, {1, 1, u"CW", 3}, {1, 1, u"CW_double", 3}, {1, 1, u"CW_double", 2}}));
    reports.clear();
    model._setDataAreaMonitorFlag(1, u"DO", 0, 1);
    model._setDataAreaMonitorFlag(1, u"DO", 4, 1);
    model._byteDataChange(0x0F, 0x1F, 1, u"DO", 0);
    EXPECT_EQ(reports, (std::vector<Report>{{1, 1, u"DO", 4}}));
}

TEST_F(ModelTest, PollingTakesTurnsAndBadRepliesAreCounted) {
    std::vector<KeyAddress> list = {key(u"CW", 0, 1), key(u"DO", 1, 8)};
    EXPECT_EQ(model.intf_addrMerge(list), 2);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(model.currentVar.regType, u"DO");
    EXPECT_EQ(answer(withCrc({1, 1, 1, 0x05})), 1);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(model.currentVar.regType, u"CW");
    EXPECT_EQ(answer({}), 8);
    EXPECT_EQ(answer({}), 8);
    EXPECT_EQ(answer({}), 2);
    EXPECT_EQ(model.frameList.size(), 0U);
    EXPECT_EQ(model.commFailed, 1);
    EXPECT_EQ(model.pollList[0].regType, u"DO");
    EXPECT_EQ(answer({}), 0);
}

TEST_F(ModelTest, RecipeBlocksAreWrittenOneByOne) {
    for (int i = 0; i < 3; ++i) {
        RecipeVar block;
        block.station = 1;
        block.regType = u"F";
        block.address = i;
        block.count = 1;
        model.recipeBlocks.push_back(block);
    }
    flags[60115] = 1;
    flags[60116] = 1;
    for (int expected : {1, 2, 0}) {
        EXPECT_EQ(send(), 1);
        EXPECT_EQ(model.opKind, 5);
        EXPECT_EQ(answer(sent()), 1);
        EXPECT_EQ(model.recipeIndex, expected);
    }
    EXPECT_EQ(flags[60115], 0);
    EXPECT_EQ(flags[60116], 1);
}

}  // namespace
}  // namespace model
