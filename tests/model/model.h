/// \file
/// A second opinion: the whole driver once more, as plainly as it can be written.
///
/// Standard containers, linear walks, a bubble sort, a bitwise CRC, each routine step by step. It shares no
/// code with the driver and is compared with it operation by operation. Records, fields and routines carry
/// the names of their counterparts in the driver, so that a difference is found by name.
#ifndef DX7_TESTS_MODEL_H
#define DX7_TESTS_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace model {

using Text = std::u16string;
using Byte = unsigned char;
using Bytes1024 = std::array<Byte, 1024>;

struct Variable {
    int opKind = 0;
    int station = 0;
    Text regType;
    int address = 0;
    int count = 0;
    Bytes1024 data{};
};

struct KeyAddress {
    Text hostText;
    int hostWord1 = 0;
    int hostWord2 = 0;
    int station = 0;
    Text regType;
    Text hostText2;
    int address = 0;
    int bitOffset = 0;
    int length = 0;
    Bytes1024 data{};
};

struct DataArea {
    Byte commError = 0;
    Byte writePending = 0;
    int pendingBits = 0;
    int wordMonitorFlags = 0;
    int bitMonitorMask = 0;
    int station = 0;
    Text regType;
    int address = 0;
    std::array<Byte, 4> value{};
    std::array<Byte, 4> writtenValue{};
};

struct Frame {
    Bytes1024 sendBuf{};
    int sendLen = 0;
    int expectLen = 0;
    int dataOffset = 0;
    int dataCount = 0;
    int frameReserved = 0;
    int opKind = 0;
    int station = 0;
    Text regType;
    int address = 0;
    int count = 0;
    Bytes1024 varData{};
};

struct RecipeVar {
    int linkId = 0;
    int station = 0;
    Text regType;
    int address = 0;
    int count = 0;
    int recipeIndex = 0;
    int hostReserved = 0;
};

/// The value-change callback. It may call back into the model.
using Callback = std::function<void(int linkId, int station, Text& regType, int address)>;

class Model {
public:
    Model();

    Callback valueChangeCallback;
    int linkId = 0;
    int propField1 = 0;
    int propField2 = 0;
    int retryCount = 0;
    int maxBlockWords = 0;
    Byte* hostFlags = nullptr;
    std::uintptr_t hostParam2 = 0;
    Byte* recipeMemory = nullptr;
    const void* hostMutex = nullptr;
    std::vector<Variable> pollList;
    std::vector<Variable> writeList;
    std::vector<Variable> conditionList;
    std::vector<DataArea> dataAreas;
    std::vector<RecipeVar> recipeVars;
    std::vector<RecipeVar> recipeBlocks;
    std::vector<int> recipeBlockStart;
    std::vector<Text> regNames;
    Variable conditionVar;
    Variable currentVar;
    int opKind = 0;
    int burstCount = 0;
    int reservedA = 0;
    int badReplyCount = 0;
    int maxBlockBits = 0;
    int maxBlockWordsCopy = 0;
    int commFailed = 0;
    int reservedB = 0;
    int reservedC = 0;
    std::vector<Frame> frameList;
    int recipeIndex = 0;

    // Describing and configuring.
    void intf_getProtocolType(int* out) const;
    void intf_getDriverParameter(Text& out) const;
    void intf_getDriverPropertyPage(Text& out) const;
    void intf_SetDriverPropertyPage(Text& out) const;
    int intf_getRegListByType(int type, std::vector<Text>& out) const;
    int intf_getRegDiscription(const Text& type, std::vector<Text>& out) const;
    int intf_initProperty(Byte* flags, std::uintptr_t param2, Byte* recipe, int* out, const char* properties,
                          const void* mutex);
    void intf_setAddrValueChangeCallBack(Callback callback);
    int intf_setRcpAddress(const std::vector<RecipeVar>& vars);
    void rcpAddrToVar(const RecipeVar& recipe, Variable& var, int withData) const;

    // Addresses.
    int intf_checkAddrValidity(const Text& regType, const Text& addrText, int* address, int count,
                               int wordAccess) const;
    int intf_checkAddr(const Text& regType, const Text& addrText, int* address, int dataType, int count,
                       int accessMode) const;
    int intf_multiCopy(const Text& regType, int start, int copies, int step, std::vector<Text>* texts,
                       std::vector<int>* addresses) const;
    int a2i_dddd_h_h_dd(const Text& text, int* value) const;
    int getRegAddressWeight(int station, const Text& regType, int address, int ignored) const;
    int _setBitValue(int value, int bit, int on) const;

    // Polling plan.
    int intf_addrMerge(std::vector<KeyAddress>& list);
    void addrMerge(std::vector<KeyAddress>& list, int mode);
    int the_Merge(const KeyAddress& block, const KeyAddress& next) const;
    void addVarToList(std::vector<Variable>& list, const Variable& var) const;
    int intf_addConditionRead(const KeyAddress& key, int tag);

    // Frames.
    int ConvertHexChar(char digit) const;
    void getReadFrame(const Variable& var);
    void getWriteFrame(const Variable& var);
    void readframe_bit(const Variable& var);
    void readframe_oneword(const Variable& var);
    void readframe_word(const Variable& var);
    void QueryStatusFrame(const Variable& var);
    void writeframe_bit(const Variable& var);
    void writeframe_cwword(const Variable& var);
    void writeframe_word(const Variable& var);

    // Communication loop.
    int intf_getSendFrame(Frame* out);
    int intf_dealRcvFrame(const std::vector<Byte>& reply, Text& info);
    int check_rcv_data(const std::vector<Byte>& reply) const;
    Text getErrorInfo(const std::vector<Byte>& reply) const;

    // Values.
    int intf_getData(int station, const Text& regType, int address, int count, Byte* out);
    int intf_setData(int station, const Text& regType, int address, int count, const Byte* data, int tag);
    int getIndexOfDataArea(int station, const Text& regType, int address, std::vector<DataArea>& areas) const;
    int _setDataAreaMonitorFlag(int station, const Text& regType, int address, int length);
    void _byteDataChange(int oldValue, int newValue, int station, const Text& regType, int groupAddress);
    void _wordDataChange(int oldValue, int newValue, int station, const Text& regType, int address,
                         int noBitScan);
    void write_saveDataToArea(int station, const Text& regType, int address, int count, const Byte* data);
    void _write_FailOrSuc(int station, const Text& regType, int address, int count, int success);
    void dealListWhenFinish();

private:
    void report(int link, int station, const Text& regType, int address);
    DataArea& area(int station, const Text& regType, int address);
    int checkRange(const Text& regType, const Text& addrText, int* address, int count,
                   int unknownResult) const;
    void mergeOnce(const std::vector<KeyAddress>& list, int mode, std::vector<KeyAddress>& result);

    void append(Frame frame, const Variable& var, int dataOffset, int dataCount);

    void decodeBits(const std::vector<Byte>& reply, const Frame& head);
    void decodeWords(const std::vector<Byte>& reply, const Frame& head);
    void decodeStatus(const std::vector<Byte>& reply, const Frame& head);
    void copyRecipe(const std::vector<Byte>& reply, const Frame& head, int first, int last);
    void endFrame();
    void failFrame();
    void endRecipe(int flagIndex);
};

// Helpers that several files of the model share.

/// 32-bit arithmetic that wraps.
int wrapAdd(int a, int b);
int wrapSub(int a, int b);
int wrapMul(int a, int b);

/// The six bit types; the eight word types (without FAS).
bool isBitType(const Text& regType);
bool isWordType(const Text& regType);

/// Row of a name among the fifteen register types, -1 when it is none of them.
int rowOf(const Text& regType);
/// One of the five description texts of a row.
Text descriptionOf(int row, int column);

/// Splits at every `separator`, keeping empty parts; the empty text has one empty part.
std::vector<Text> splitText(const Text& text, char16_t separator);
/// Number of a text as QString converts it; 0 and `*ok` false when it is none.
int toInt(const Text& text, int base, bool* ok);
Text decimal(long long number);

/// CRC of Modbus over the first `length` bytes, a byte beyond the end being 0.
int crcOf(const std::vector<Byte>& bytes, std::size_t length);

/// Byte `index` of a reply; 0 outside of it.
Byte replyByte(const std::vector<Byte>& reply, long long index);

/// Rounded toward zero to a multiple of 8, and the bit number within that group.
int groupBase(int address);
int bitInGroup(int address);

}  // namespace model

#endif
