// The driver object and the records that cross the host interface: their fields, their layout and their first
// state.

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include "driver_fields.h"
#include "recipes.h"
#include "support.h"

namespace dx7test {
namespace {

// Offsets inside records with text members are conditionally supported; g++ and clang both support them.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

using DriverObject = DriverTest;
using Records = DriverTest;
using RecipeVariableToRequest = DriverTest;

struct Field {
    const char* name;
    size_t offset;
    size_t size;
};

#define FIELD(record, member)                                     \
    Field {                                                       \
#member, offsetof(record, member), sizeof(record::member) \
    }

/// Expects that fields follow one another in the given order, the first at offset 0, with no more than
/// alignment between them and after the last.
void expectOrder(const std::vector<Field>& fields, size_t recordSize) {
    size_t end = 0;
    for (const Field& field : fields) {
        EXPECT_GE(field.offset, end) << field.name << " begins before its predecessor ends";
        EXPECT_LT(field.offset - end, sizeof(void*)) << "something hidden before " << field.name;
        end = field.offset + field.size;
    }
    EXPECT_EQ(fields.front().offset, 0u);
    EXPECT_GE(recordSize, end);
    EXPECT_LT(recordSize - end, sizeof(void*)) << "something hidden after the last field";
}

// Hosts that were compiled long ago have these numbers in them; tests elsewhere use the names.
static_assert(DX7_TYPE_UNKNOWN == 0 && DX7_TYPE_KNOWN == 1, "Dx7TypeResult");
static_assert(DX7_ADDRESS_VALID == 0 && DX7_ADDRESS_KIND_MISMATCH == 1 && DX7_ADDRESS_OUT_OF_RANGE == 2 &&
                  DX7_ADDRESS_UNKNOWN_TYPE == 3 && DX7_ADDRESS_MALFORMED == 4 && DX7_ADDRESS_READ_ONLY == 6 &&
                  DX7_ADDRESS_TOO_LONG == 16,
              "Dx7AddressResult");
static_assert(DX7_COPY_UNKNOWN_TYPE == 0 && DX7_COPY_IN_RANGE == 1 && DX7_COPY_CLAMPED == 2, "Dx7CopyResult");
static_assert(DX7_SEND_NOTHING == 0 && DX7_SEND_FRAME == 1, "Dx7SendResult");
static_assert(DX7_REPLY_UNEXPECTED == 0 && DX7_REPLY_GOOD == 1 && DX7_REPLY_GIVEN_UP == 2 &&
                  DX7_REPLY_SEND_AGAIN == 8,
              "Dx7ReplyResult");
static_assert(DX7_DONE == 1, "DX7_DONE");
static_assert(RECIPE_WRITE_REQUEST == 60115 && RECIPE_READ_REQUEST == 60116, "places in the host's memory");

/// What the driver looks like when the program starts, before any test touched it.
struct FirstState : ::testing::Environment {
    void SetUp() override {
        pointersAreNull = driver.valueChangeCallback == nullptr && driver.hostFlags == nullptr &&
                          driver.recipeMemory == nullptr && driver.hostMutex == nullptr;
        numbers = {driver.linkId,
                   driver.propField1,
                   driver.propField2,
                   driver.retryCount,
                   driver.opKind,
                   driver.maxBlockWords,
                   driver.burstCount,
                   driver.reservedA,
                   driver.maxBlockBits,
                   driver.badReplyCount,
                   driver.commFailed,
                   driver.maxBlockWordsCopy,
                   driver.reservedB,
                   driver.reservedC,
                   driver.recipeIndex,
                   int(driver.hostParam2),
                   driver.conditionVar.count,
                   driver.currentVar.count};
        listsAreEmpty = driver.pollList.isEmpty() && driver.writeList.isEmpty() &&
                        driver.conditionList.isEmpty() && driver.dataAreas.isEmpty() &&
                        driver.recipeVars.isEmpty() && driver.recipeBlocks.isEmpty() &&
                        driver.recipeBlockStart.isEmpty() && driver.frameList.isEmpty();
        textsAreEmpty = driver.conditionVar.regType.isEmpty() && driver.currentVar.regType.isEmpty();
    }

    bool pointersAreNull = false;
    bool listsAreEmpty = false;
    bool textsAreEmpty = false;
    std::vector<int> numbers;
};
FirstState* const firstState = static_cast<FirstState*>(::testing::AddGlobalTestEnvironment(new FirstState));

TEST(DriverAtLoad, EveryPointerIsNull) {
    EXPECT_TRUE(firstState->pointersAreNull);
}

TEST(DriverAtLoad, EveryNumberIsZero) {
    EXPECT_EQ(firstState->numbers, std::vector<int>(firstState->numbers.size(), 0));
}

TEST(DriverAtLoad, EveryListAndEveryTextIsEmpty) {
    EXPECT_TRUE(firstState->listsAreEmpty);
    EXPECT_TRUE(firstState->textsAreEmpty);
}

TEST_F(DriverObject, RegNamesAreFourteenWithFwAndWithoutSwAndFas) {
    const QList<QString> names = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI", "AI",
                                  "FIN",    "F",      "D",  "DE", "CW",  "FW", "MOD"};
    EXPECT_EQ(driver.regNames, names);
}

TEST_F(DriverObject, HasItsThirtyOneFieldsInTheirOrder) {
#define DRIVER_FIELD(name) FIELD(korvalent_dx7, name),
    const std::vector<Field> fields = {DX7_DRIVER_FIELDS(DRIVER_FIELD)};
#undef DRIVER_FIELD
    ASSERT_EQ(fields.size(), 31u);
    expectOrder(fields, sizeof(korvalent_dx7));
}

TEST_F(DriverObject, ItsFieldsHaveTheTypesHostsExpect) {
    EXPECT_FALSE(std::is_polymorphic<korvalent_dx7>::value);
    EXPECT_EQ(sizeof(driver.hostParam2), sizeof(void*));
    EXPECT_TRUE(
        (std::is_same<decltype(driver.valueChangeCallback), void (*)(int, int, QString&, int)>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.hostFlags), unsigned char*>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.recipeMemory), unsigned char*>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.hostMutex), QMutex*>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.pollList), QList<VARIABLE>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.writeList), QList<VARIABLE>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.conditionList), QList<VARIABLE>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.dataAreas), QList<_DATA_>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.recipeVars), QVector<_RCP_VAR_PRO>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.recipeBlocks), QVector<_RCP_VAR_PRO>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.recipeBlockStart), QList<int>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.regNames), QList<QString>>::value));
    EXPECT_TRUE((std::is_same<decltype(driver.frameList), QList<FRAME_PRO>>::value));
}

TEST_F(Records, HaveTheirFieldsInTheirOrder) {
    expectOrder({FIELD(VARIABLE, opKind), FIELD(VARIABLE, station), FIELD(VARIABLE, regType),
                 FIELD(VARIABLE, address), FIELD(VARIABLE, count), FIELD(VARIABLE, data)},
                sizeof(VARIABLE));
    expectOrder({FIELD(KEY_ADDRESS, hostText), FIELD(KEY_ADDRESS, hostWord1), FIELD(KEY_ADDRESS, hostWord2),
                 FIELD(KEY_ADDRESS, station), FIELD(KEY_ADDRESS, regType), FIELD(KEY_ADDRESS, hostText2),
                 FIELD(KEY_ADDRESS, address), FIELD(KEY_ADDRESS, bitOffset), FIELD(KEY_ADDRESS, length),
                 FIELD(KEY_ADDRESS, data)},
                sizeof(KEY_ADDRESS));
    expectOrder(
        {FIELD(_DATA_, commError), FIELD(_DATA_, writePending), FIELD(_DATA_, pendingBits),
         FIELD(_DATA_, wordMonitorFlags), FIELD(_DATA_, bitMonitorMask), FIELD(_DATA_, station),
         FIELD(_DATA_, regType), FIELD(_DATA_, address), FIELD(_DATA_, value), FIELD(_DATA_, writtenValue)},
        sizeof(_DATA_));
    expectOrder({FIELD(FRAME_PRO, sendBuf), FIELD(FRAME_PRO, sendLen), FIELD(FRAME_PRO, expectLen),
                 FIELD(FRAME_PRO, dataOffset), FIELD(FRAME_PRO, dataCount), FIELD(FRAME_PRO, frameReserved),
                 FIELD(FRAME_PRO, opKind), FIELD(FRAME_PRO, station), FIELD(FRAME_PRO, regType),
                 FIELD(FRAME_PRO, address), FIELD(FRAME_PRO, count), FIELD(FRAME_PRO, varData)},
                sizeof(FRAME_PRO));
    expectOrder({FIELD(_RCP_VAR_PRO, linkId), FIELD(_RCP_VAR_PRO, station), FIELD(_RCP_VAR_PRO, regType),
                 FIELD(_RCP_VAR_PRO, address), FIELD(_RCP_VAR_PRO, count), FIELD(_RCP_VAR_PRO, recipeIndex),
                 FIELD(_RCP_VAR_PRO, hostReserved)},
                sizeof(_RCP_VAR_PRO));
}

TEST_F(Records, TheirBuffersHaveTheirSizes) {
    EXPECT_EQ(sizeof(VARIABLE::data), 1024u);
    EXPECT_EQ(sizeof(KEY_ADDRESS::data), 1024u);
    EXPECT_EQ(sizeof(FRAME_PRO::sendBuf), 1024u);
    EXPECT_EQ(sizeof(FRAME_PRO::varData), 1024u);
    EXPECT_EQ(sizeof(_DATA_::commError), 1u);
    EXPECT_EQ(sizeof(_DATA_::writePending), 1u);
    EXPECT_EQ(sizeof(_DATA_::value), 4u);
    EXPECT_EQ(sizeof(_DATA_::writtenValue), 4u);
}

TEST_F(Records, FrameOffsetsBeforeTheTextAreTheSameOnEveryPlatform) {
    EXPECT_EQ(offsetof(FRAME_PRO, sendLen), 1024u);
    EXPECT_EQ(offsetof(FRAME_PRO, expectLen), 1028u);
    EXPECT_EQ(offsetof(FRAME_PRO, dataOffset), 1032u);
    EXPECT_EQ(offsetof(FRAME_PRO, dataCount), 1036u);
    EXPECT_EQ(offsetof(FRAME_PRO, frameReserved), 1040u);
    EXPECT_EQ(offsetof(FRAME_PRO, opKind), 1044u);
    EXPECT_EQ(offsetof(FRAME_PRO, station), 1048u);
}

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
TEST_F(Records, SizesOnThePanelAreFixed) {
    EXPECT_EQ(sizeof(KEY_ADDRESS), 1060u);
    EXPECT_EQ(sizeof(FRAME_PRO), 2088u);
    EXPECT_EQ(sizeof(_RCP_VAR_PRO), 28u);
    EXPECT_EQ(offsetof(FRAME_PRO, regType), 1052u);
    EXPECT_EQ(offsetof(FRAME_PRO, address), 1056u);
    EXPECT_EQ(offsetof(FRAME_PRO, count), 1060u);
    EXPECT_EQ(offsetof(FRAME_PRO, varData), 1064u);
}
#endif

/// Fills `bytes` with a pattern without a period of a power of two.
template <size_t Size>
void fill(unsigned char (&bytes)[Size]) {
    for (size_t i = 0; i < Size; ++i)
        bytes[i] = static_cast<unsigned char>(i % 251 + 1);
}

TEST_F(Records, CopyingARequestCopiesEveryByte) {
    VARIABLE original = request(7, "MOD", -3, 5, 99);
    fill(original.data);
    VARIABLE copy;
    copy = original;
    EXPECT_EQ(copy.opKind, 99);
    EXPECT_EQ(itemsOf(copy), itemsOf(original));
    EXPECT_EQ(std::memcmp(copy.data, original.data, sizeof copy.data), 0);
}

TEST_F(Records, ARequestMadeFromAnotherHasEveryByte) {
    VARIABLE original = request(7, "MOD", -3, 5, 99);
    fill(original.data);
    const VARIABLE copy(original);
    EXPECT_EQ(copy.opKind, 99);
    EXPECT_EQ(itemsOf(copy), itemsOf(original));
    EXPECT_EQ(std::memcmp(copy.data, original.data, sizeof copy.data), 0);
}

/// A frame in which no two fields are equal.
FRAME_PRO frameOfDifferentFields() {
    FRAME_PRO frame;
    int next = 11;
    for (int* field : {&frame.sendLen, &frame.expectLen, &frame.dataOffset, &frame.dataCount,
                       &frame.frameReserved, &frame.opKind, &frame.station, &frame.address, &frame.count}) {
        *field = next++;
    }
    frame.regType = "MOD";
    fill(frame.sendBuf);
    std::reverse_copy(frame.sendBuf, frame.sendBuf + sizeof frame.sendBuf, frame.varData);
    return frame;
}

void expectFrameOfDifferentFields(const FRAME_PRO& frame) {
    EXPECT_EQ(frame.sendLen, 11);
    EXPECT_EQ(frame.expectLen, 12);
    EXPECT_EQ(frame.dataOffset, 13);
    EXPECT_EQ(frame.dataCount, 14);
    EXPECT_EQ(frame.frameReserved, 15);
    EXPECT_EQ(frame.opKind, 16);
    EXPECT_EQ(frame.station, 17);
    EXPECT_EQ(frame.address, 18);
    EXPECT_EQ(frame.count, 19);
    EXPECT_EQ(frame.regType, "MOD");
    unsigned char bytes[DX7_DATA_BYTES];
    fill(bytes);
    EXPECT_EQ(std::memcmp(frame.sendBuf, bytes, sizeof bytes), 0);
    std::reverse(bytes, bytes + sizeof bytes);
    EXPECT_EQ(std::memcmp(frame.varData, bytes, sizeof bytes), 0);
}

TEST_F(Records, CopyingAFrameCopiesEveryField) {
    const FRAME_PRO original = frameOfDifferentFields();
    FRAME_PRO copy;
    copy = original;
    expectFrameOfDifferentFields(copy);
}

TEST_F(Records, AFrameMadeFromAnotherHasEveryField) {
    const FRAME_PRO original = frameOfDifferentFields();
    const FRAME_PRO copy(original);
    expectFrameOfDifferentFields(copy);
}

TEST_F(Records, ARecordAssignedToItselfStaysAsItIs) {
    VARIABLE var = request(7, "MOD", -3, 5, 99);
    fill(var.data);
    const VARIABLE before(var);
    VARIABLE& sameVar = var;
    var = sameVar;
    EXPECT_EQ(itemsOf(var), itemsOf(before));
    EXPECT_EQ(std::memcmp(var.data, before.data, sizeof var.data), 0);

    FRAME_PRO frame = frameOfDifferentFields();
    FRAME_PRO& sameFrame = frame;
    frame = sameFrame;
    expectFrameOfDifferentFields(frame);
}

TEST_F(Records, CopyingAKeyAddressCopiesEveryByte) {
    KEY_ADDRESS original = entry(7, "MOD", -3, 5);
    original.hostText = "first";
    original.hostText2 = "second";
    original.hostWord1 = 11;
    original.hostWord2 = 12;
    original.bitOffset = -1;
    fill(original.data);
    KEY_ADDRESS copy;
    copy = original;
    EXPECT_EQ(itemsOf(copy), itemsOf(original));
    EXPECT_EQ(copy.hostText, "first");
    EXPECT_EQ(copy.hostText2, "second");
    EXPECT_EQ(copy.hostWord1, 11);
    EXPECT_EQ(copy.hostWord2, 12);
    EXPECT_EQ(copy.bitOffset, -1);
    EXPECT_EQ(std::memcmp(copy.data, original.data, sizeof copy.data), 0);
}

TEST_F(RecipeVariableToRequest, FieldsAreCopiedDataIsZeroedAndOpKindStays) {
    VARIABLE var = request(9, "CW", 9, 9, 42, QByteArray(1024, '\x55'));
    rcpAddrToVar(recipeVariable(1, 3, "F", 57, 4, 10), var, 0);
    EXPECT_EQ(itemsOf(var), (Items{3, "F", 57, 4}));
    EXPECT_EQ(var.opKind, 42);
    EXPECT_EQ(QByteArray(reinterpret_cast<char*>(var.data), 1024), QByteArray(1024, '\0'));
}

TEST_F(RecipeVariableToRequest, WordsComeFromTheVariablesOwnPlaceInRecipeMemory) {
    for (size_t i = 0; i < recipeMemory.size(); ++i)
        recipeMemory[i] = static_cast<unsigned char>(i % 253);
    for (int withData : {1, 2, -1}) {
        VARIABLE var = request(0, "", 0, 0, 0, QByteArray(1024, '\x55'));
        rcpAddrToVar(recipeVariable(1, 3, "F", 57, 4, 10), var, withData);
        const QByteArray words(reinterpret_cast<char*>(recipeMemory.data()) + 20, 8);
        EXPECT_EQ(QByteArray(reinterpret_cast<char*>(var.data), 8), words);
        EXPECT_EQ(QByteArray(reinterpret_cast<char*>(var.data) + 8, 1016), QByteArray(1016, '\0'));
    }
}

// A copy of too many words would first reach what follows the request.
TEST_F(RecipeVariableToRequest, NothingAfterTheRequestIsTouched) {
    std::fill(recipeMemory.begin(), recipeMemory.end(), static_cast<unsigned char>(0xA5));
    struct {
        VARIABLE var;
        unsigned char after[4096] = {};
    } memory;
    rcpAddrToVar(recipeVariable(1, 3, "F", 0, 2000, 0), memory.var, 1);
    for (const unsigned char byte : memory.after)
        ASSERT_EQ(byte, 0);
}

TEST_F(RecipeVariableToRequest, CopiesStayInsideTheBuffer) {
    std::fill(recipeMemory.begin(), recipeMemory.end(), static_cast<unsigned char>(0xA5));
    VARIABLE var;
    rcpAddrToVar(recipeVariable(1, 3, "F", 0, 513, 0), var, 1);
    EXPECT_EQ(var.count, 513);
    EXPECT_EQ(QByteArray(reinterpret_cast<char*>(var.data), 1024), QByteArray(1024, '\xA5'));
    rcpAddrToVar(recipeVariable(1, 3, "F", 0, -5, 0), var, 1);
    EXPECT_EQ(var.count, -5);
    EXPECT_EQ(QByteArray(reinterpret_cast<char*>(var.data), 1024), QByteArray(1024, '\0'));
}

}  // namespace
}  // namespace dx7test
