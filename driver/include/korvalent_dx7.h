/// \file
/// The driver object and its host interface.
///
/// A host loads the library, resolves the functions below by their plain names and drives them from one
/// communication thread; none of them may run concurrently with another. See docs/integration.md for the
/// order of calls and every result code. The headers need C++11 and the QtCore that the library was built
/// with.
#ifndef KORVALENT_DX7_H
#define KORVALENT_DX7_H

#if __cplusplus < 201103L
#error "korvalent_dx7.h needs C++11: compile with -std=c++11 or later"
#endif

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <utility>

#include "records.h"
#include "register_types.h"

#if defined(__GNUC__)
#define DX7_EXPORT __attribute__((visibility("default")))
#else
#define DX7_EXPORT
#endif

/// The host's function for value changes and events, called synchronously on the thread that called the
/// driver.
///
/// (linkId, station, register type, address). Reports about device items carry the driver's linkId; the type
/// is a register type name, or one followed by "_bit" (address = word address x 16 + bit) or "_double".
/// Recipe words report as (0, -1, "RWI", word index); the end of a condition read as (-1, -1, "-1", 0), or
/// (-1, -1, "-1", -1) after a failure. The text is the host's to change. The function may call intf_getData,
/// intf_setData, intf_addConditionRead and the address functions.
typedef void (*ValueChangeCallback)(int linkId, int station, QString& regType, int address);

/// Kinds of the operation in progress (korvalent_dx7::opKind).
enum OperationKind {
    OP_NONE = 0,
    OP_WRITE = 2,
    OP_CONDITION_READ = 3,
    OP_CYCLIC_READ = 4,
    OP_RECIPE_WRITE = 5,
    OP_RECIPE_READ = 6
};

/// Bytes of the host's memory block that carry its recipe requests; a value of exactly 1 requests the
/// transfer.
const int RECIPE_WRITE_REQUEST = 60115;
const int RECIPE_READ_REQUEST = 60116;

/// Results of intf_getRegListByType and intf_getRegDiscription.
enum Dx7TypeResult { DX7_TYPE_UNKNOWN = 0, DX7_TYPE_KNOWN = 1 };

/// Results of intf_checkAddrValidity and intf_checkAddr. The first never gives DX7_ADDRESS_READ_ONLY or
/// DX7_ADDRESS_TOO_LONG, the second never DX7_ADDRESS_UNKNOWN_TYPE.
enum Dx7AddressResult {
    DX7_ADDRESS_VALID = 0,
    /// A bit type for a word variable, or the reverse.
    DX7_ADDRESS_KIND_MISMATCH = 1,
    /// Start below the minimum, start + count beyond the limit, or, in a grouped text, an index
    /// above 55.
    DX7_ADDRESS_OUT_OF_RANGE = 2,
    DX7_ADDRESS_UNKNOWN_TYPE = 3,
    DX7_ADDRESS_MALFORMED = 4,
    DX7_ADDRESS_READ_ONLY = 6,
    DX7_ADDRESS_TOO_LONG = 16
};

/// Results of intf_multiCopy.
enum Dx7CopyResult {
    DX7_COPY_UNKNOWN_TYPE = 0,
    DX7_COPY_IN_RANGE = 1,
    /// At least one copy was moved back to the highest address.
    DX7_COPY_CLAMPED = 2
};

/// Results of intf_getSendFrame.
enum Dx7SendResult { DX7_SEND_NOTHING = 0, DX7_SEND_FRAME = 1 };

/// Results of intf_dealRcvFrame.
enum Dx7ReplyResult {
    /// No frame is outstanding.
    DX7_REPLY_UNEXPECTED = 0,
    DX7_REPLY_GOOD = 1,
    /// Bad, and the retries are used up: the operation has failed.
    DX7_REPLY_GIVEN_UP = 2,
    /// Bad; the host is to send the same frame again.
    DX7_REPLY_SEND_AGAIN = 8
};

/// The one result of intf_initProperty, intf_addConditionRead, intf_getData and intf_setData.
const int DX7_DONE = 1;

/// All state of the driver, which is the one object `driver`; beside it the library keeps only a hint of
/// where areas are, which it checks before use. Every field is zero or empty until intf_initProperty sets it.
///
/// Hosts and tests may look at its fields at any time, and edit or exchange them and plan anew between calls,
/// not inside reports. Where a report does so all the same, the driver goes on with the fields as it finds
/// them afterwards. A host may make objects of its own to keep the fields of other links (swap()); the driver
/// works on `driver` alone.
class korvalent_dx7 {
public:
    korvalent_dx7()
        : valueChangeCallback(0),
          linkId(0),
          propField1(0),
          propField2(0),
          retryCount(0),
          maxBlockWords(0),
          hostFlags(0),
          hostParam2(0),
          recipeMemory(0),
          hostMutex(0),
          // Address weights count by this list. It has FW, and lacks SW and FAS: hosts rely on the order that
          // results.
          regNames(QString::fromLatin1("CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,FW,MOD")
                       .split(QLatin1Char(','))),
          opKind(OP_NONE),
          burstCount(0),
          reservedA(0),
          badReplyCount(0),
          maxBlockBits(0),
          maxBlockWordsCopy(0),
          commFailed(0),
          reservedB(0),
          reservedC(0),
          recipeIndex(0) {}

    /// Exchanges every field with `other`. That carries a whole link out of the driver and another in, so
    /// that one loaded driver serves many links in turn.
    void swap(korvalent_dx7& other) {
        std::swap(valueChangeCallback, other.valueChangeCallback);
        std::swap(linkId, other.linkId);
        std::swap(propField1, other.propField1);
        std::swap(propField2, other.propField2);
        std::swap(retryCount, other.retryCount);
        std::swap(maxBlockWords, other.maxBlockWords);
        std::swap(hostFlags, other.hostFlags);
        std::swap(hostParam2, other.hostParam2);
        std::swap(recipeMemory, other.recipeMemory);
        std::swap(hostMutex, other.hostMutex);
        pollList.swap(other.pollList);
        writeList.swap(other.writeList);
        conditionList.swap(other.conditionList);
        dataAreas.swap(other.dataAreas);
        std::swap(recipeVars, other.recipeVars);
        std::swap(recipeBlocks, other.recipeBlocks);
        recipeBlockStart.swap(other.recipeBlockStart);
        regNames.swap(other.regNames);
        std::swap(conditionVar, other.conditionVar);
        std::swap(currentVar, other.currentVar);
        std::swap(opKind, other.opKind);
        std::swap(burstCount, other.burstCount);
        std::swap(reservedA, other.reservedA);
        std::swap(badReplyCount, other.badReplyCount);
        std::swap(maxBlockBits, other.maxBlockBits);
        std::swap(maxBlockWordsCopy, other.maxBlockWordsCopy);
        std::swap(commFailed, other.commFailed);
        std::swap(reservedB, other.reservedB);
        std::swap(reservedC, other.reservedC);
        frameList.swap(other.frameList);
        std::swap(recipeIndex, other.recipeIndex);
    }

    /// Called without a test for null.
    ValueChangeCallback valueChangeCallback;
    /// Property field 0: this link among the host's links.
    int linkId;
    /// Property field 1: non-zero = host writes are stored, never sent.
    int propField1;
    /// Property field 2: stored only.
    int propField2;
    /// Property field 3: bad replies in a row until a frame has failed.
    int retryCount;
    /// Property field 4: largest merged block, in items of either kind.
    int maxBlockWords;
    /// Host memory with the recipe requests; borrowed.
    unsigned char* hostFlags;
    /// Stored only.
    quintptr hostParam2;
    /// Host memory, 16-bit words, low byte first; borrowed.
    unsigned char* recipeMemory;
    /// Guards the recipe requests in hostFlags; borrowed.
    QMutex* hostMutex;
    /// Cyclic read blocks; the next one to be read is the first.
    QList<VARIABLE> pollList;
    /// Writes waiting; the first is the one in progress.
    QList<VARIABLE> writeList;
    /// Condition reads waiting; the first is the one in progress.
    QList<VARIABLE> conditionList;
    /// Current values, one area per item, in order of creation.
    QList<_DATA_> dataAreas;
    /// Recipe variables of this link.
    QVector<_RCP_VAR_PRO> recipeVars;
    /// Recipe blocks, one per frame. The driver never fills it, so recipe transfers never start: hosts rely
    /// on this.
    QVector<_RCP_VAR_PRO> recipeBlocks;
    /// Index in recipeVars of the first variable of each recipe block.
    QList<int> recipeBlockStart;
    /// Type names that address weights count by; not the same as REG_LIST.
    QList<QString> regNames;
    /// The condition read queued last.
    VARIABLE conditionVar;
    /// The request whose frame is built and sent.
    VARIABLE currentVar;
    /// Kind of the operation in progress, an OperationKind.
    int opKind;
    /// Writes and condition reads served since polling had a turn.
    int burstCount;
    /// Nothing reads it.
    int reservedA;
    /// Bad replies in a row to the frame on the wire.
    int badReplyCount;
    /// 8 x maxBlockWords: limit for splitting condition reads of bits.
    int maxBlockBits;
    /// maxBlockWords: limit for splitting writes and word condition reads.
    int maxBlockWordsCopy;
    /// 1 after a frame has failed for good, 0 after a good reply.
    int commFailed;
    /// Nothing reads it.
    int reservedB;
    /// Nothing reads it.
    int reservedC;
    /// Frames of the operation in progress; the first is on the wire.
    QList<FRAME_PRO> frameList;
    /// Index in recipeBlocks of the block being transferred.
    int recipeIndex;

private:
    Q_DISABLE_COPY(korvalent_dx7)
};

extern "C" {

extern DX7_EXPORT korvalent_dx7 driver;

// Describing the driver; callable at any time.

/// Writes 0 to `*protocolType`.
DX7_EXPORT void intf_getProtocolType(int* protocolType);
/// Assigns the 25 comma-separated default parameters: line settings, TCP endpoint, driver name, register
/// types.
DX7_EXPORT void intf_getDriverParameter(QString& parameter);
/// Assigns "0_0".
DX7_EXPORT void intf_getDriverPropertyPage(QString& page);
/// Assigns the empty text; despite its name it stores nothing. Hosts rely on this.
DX7_EXPORT void intf_SetDriverPropertyPage(QString& page);
/// Appends the names of the bit types (`type` 0) or word types (`type` 1) to `names`; nothing for any other
/// `type`. Returns a Dx7TypeResult.
DX7_EXPORT int intf_getRegListByType(int type, QList<QString>& names);
/// Appends the five description texts of `regType` to `texts`; nothing for a name that is not in REG_LIST.
/// Returns a Dx7TypeResult.
DX7_EXPORT int intf_getRegDiscription(const QString& regType, QList<QString>& texts);

// Configuring a link.

/// Starts the link anew: takes the host's memory and mutex, reads the '#'-separated `properties` (link id,
/// writes stay local, unused, retry count, largest block in items; kept when there are fewer than five
/// fields), empties all request lists and data areas and resets the counters. Returns DX7_DONE.
///
/// `hostFlags` must hold at least 60117 bytes; all pointers but `out` are borrowed until the next call.
/// `*out` becomes 0. The largest block must be positive for the driver to split requests by it.
DX7_EXPORT int intf_initProperty(unsigned char* hostFlags, quintptr hostParam2, unsigned char* recipeMemory,
                                 int* out, const char* properties, QMutex* mutex);
/// Stores the callback. It must be set before the first reply is handed over and before the first write.
DX7_EXPORT void intf_setAddrValueChangeCallBack(ValueChangeCallback callback);
/// Keeps the recipe variables whose linkId is the driver's and returns their number. Touches nothing else.
DX7_EXPORT int intf_setRcpAddress(QVector<_RCP_VAR_PRO>& vars);

// Addresses.

/// Checks the address text that a user typed. `wordAccess`: 0 bit variable, else word variable; `count`:
/// items from the start. Returns a Dx7AddressResult; `*address` receives the parsed start address once the
/// text was converted (also when it is out of range or malformed).
DX7_EXPORT int intf_checkAddrValidity(const QString& regType, const QString& addrText, int* address,
                                      int count, int wordAccess);
/// Checks the address of a variable with a data type (-1 bit, else word) and an access mode (1 and 2 are
/// refused on most read-only types). Returns a Dx7AddressResult; an unknown type is valid.
DX7_EXPORT int intf_checkAddr(const QString& regType, const QString& addrText, int* address, int dataType,
                              int count, int accessMode);
/// Appends `copies` addresses, `start` and then every `step`, with their texts, clamped to the type's highest
/// address. Returns a Dx7CopyResult.
DX7_EXPORT int intf_multiCopy(const QString& regType, int start, int copies, int step,
                              QVector<QString>* texts, QVector<int>* addresses);

// The polling plan.

/// Replaces the monitored set and the polling plan. On return `list` holds the merged blocks. Returns their
/// number.
DX7_EXPORT int intf_addrMerge(QList<KEY_ADDRESS>& list);
/// Queues a one-off read of `key`, split by the block limits; `tag` becomes the opKind of its frames.
/// Returns DX7_DONE.
DX7_EXPORT int intf_addConditionRead(KEY_ADDRESS& key, int tag);

// The communication loop.

/// Copies the frame to send next to `*out`, which stays untouched when there is nothing to send. A frame is
/// handed out again until a reply ends it. Returns a Dx7SendResult.
DX7_EXPORT int intf_getSendFrame(FRAME_PRO* out);
/// Judges the reply to the frame on the wire. `info` describes the frame: "station#typeaddress(count)(reply
/// bytes)". Returns a Dx7ReplyResult.
DX7_EXPORT int intf_dealRcvFrame(QByteArray& reply, QString& info);

// Values.

/// Copies the current values of `count` items to `out`: a byte per item for bit types and FAS, two bytes (low
/// byte first) for word types; nothing for other types. Returns DX7_DONE.
DX7_EXPORT int intf_getData(int station, const QString& regType, int address, int count, unsigned char* out);
/// Stores `count` values at once and queues their write: `data` holds a byte per item for bit types, two
/// bytes (low byte first) for word types; `tag` becomes the opKind of the frames. Nothing for other types.
/// Returns DX7_DONE.
DX7_EXPORT int intf_setData(int station, const QString& regType, int address, int count, unsigned char* data,
                            int tag);
}

#endif
