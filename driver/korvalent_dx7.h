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
#include <QtCore/QVector>

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

/// All state of the driver. There is one instance, `driver`; hosts and tests may look at and edit its fields
/// between calls. Every field is zero or empty until intf_initProperty sets it.
class korvalent_dx7 {
public:
    korvalent_dx7();

    ValueChangeCallback valueChangeCallback;  ///< Called without a test for null.
    int linkId;                               ///< Property field 0: this link among the host's links.
    int propField1;                    ///< Property field 1: non-zero = host writes are stored, never sent.
    int propField2;                    ///< Property field 2: stored only.
    int retryCount;                    ///< Property field 3: bad replies in a row until a frame has failed.
    int maxBlockWords;                 ///< Property field 4: largest merged block, in items of either kind.
    unsigned char* hostFlags;          ///< Host memory with the recipe requests; borrowed.
    quintptr hostParam2;               ///< Stored only.
    unsigned char* recipeMemory;       ///< Host memory, 16-bit words, low byte first; borrowed.
    QMutex* hostMutex;                 ///< Guards the recipe requests in hostFlags; borrowed.
    QList<VARIABLE> pollList;          ///< Cyclic read blocks; the next one to be read is the first.
    QList<VARIABLE> writeList;         ///< Writes waiting; the first is the one in progress.
    QList<VARIABLE> conditionList;     ///< Condition reads waiting; the first is the one in progress.
    QList<_DATA_> dataAreas;           ///< Current values, one area per item, in order of creation.
    QVector<_RCP_VAR_PRO> recipeVars;  ///< Recipe variables of this link.
    QVector<_RCP_VAR_PRO>
        recipeBlocks;             ///< Recipe blocks, one per frame. Deliberately filled by nothing here.
    QList<int> recipeBlockStart;  ///< Index in recipeVars of the first variable of each recipe block.
    QList<QString> regNames;      ///< Type names that address weights count by; not the same as REG_LIST.
    VARIABLE conditionVar;        ///< The condition read queued last.
    VARIABLE currentVar;          ///< The request whose frame is built and sent.
    int opKind;                   ///< Kind of the operation in progress, an OperationKind.
    int burstCount;               ///< Writes and condition reads served since polling had a turn.
    int reservedA;                ///< Nothing reads it.
    int badReplyCount;            ///< Bad replies in a row to the frame on the wire.
    int maxBlockBits;             ///< 8 x maxBlockWords: limit for splitting condition reads of bits.
    int maxBlockWordsCopy;        ///< maxBlockWords: limit for splitting writes and word condition reads.
    int commFailed;               ///< 1 after a frame has failed for good, 0 after a good reply.
    int reservedB;                ///< Nothing reads it.
    int reservedC;                ///< Nothing reads it.
    QList<FRAME_PRO> frameList;   ///< Frames of the operation in progress; the first is on the wire.
    int recipeIndex;              ///< Index in recipeBlocks of the block being transferred.

private:
    Q_DISABLE_COPY(korvalent_dx7)
};

/// Fills `var` from a recipe variable: station, type, address and count; data is zeroed and, when `withData`
/// is not 0, filled with the variable's words from the host's recipe memory (at most 1024 bytes). opKind is
/// left alone.
void rcpAddrToVar(const _RCP_VAR_PRO& recipe, VARIABLE& var, int withData);

/// Calls the host's callback with a text of its own.
void reportValueChange(int linkId, int station, const QString& regType, int address);

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
/// Appends the names of the bit types (`type` 0) or word types (`type` 1) to `names` and returns 1; 0 for
/// others.
DX7_EXPORT int intf_getRegListByType(int type, QList<QString>& names);
/// Appends the five description texts of `regType` to `texts` and returns 1; 0 when the name is not in
/// REG_LIST.
DX7_EXPORT int intf_getRegDiscription(const QString& regType, QList<QString>& texts);

// Configuring a link.

/// Starts the link anew: takes the host's memory and mutex, reads the '#'-separated `properties` (link id,
/// writes stay local, unused, retry count, largest block in items; kept when there are fewer than five
/// fields), empties all request lists and data areas and resets the counters. Returns 1.
///
/// `hostFlags` must hold at least 60117 bytes; all pointers but `out` are borrowed until the next call.
/// Writes 0 to
/// `*out`. The largest block must be positive for the driver to split requests by it.
DX7_EXPORT int intf_initProperty(unsigned char* hostFlags, quintptr hostParam2, unsigned char* recipeMemory,
                                 int* out, const char* properties, QMutex* mutex);
/// Stores the callback. It must be set before the first reply is handed over and before the first write.
DX7_EXPORT void intf_setAddrValueChangeCallBack(ValueChangeCallback callback);
/// Keeps the recipe variables whose linkId is the driver's and returns their number. Touches nothing else.
DX7_EXPORT int intf_setRcpAddress(QVector<_RCP_VAR_PRO>& vars);

// Addresses.

/// Checks the address text that a user typed. `wordAccess`: 0 bit variable, else word variable; `count`:
/// items from the start. Returns 0 valid, 1 kind mismatch, 2 out of range, 3 unknown type, 4 malformed;
/// `*address` receives the parsed start address once the text was converted (also with results 2 and 4).
DX7_EXPORT int intf_checkAddrValidity(const QString& regType, const QString& addrText, int* address,
                                      int count, int wordAccess);
/// Checks the address of a variable with a data type (-1 bit, else word) and an access mode (1 and 2 are
/// refused on most read-only types). Returns 0 valid or unknown type, 1 kind mismatch, 2 out of range, 4
/// malformed, 6 read-only, 16 text too long.
DX7_EXPORT int intf_checkAddr(const QString& regType, const QString& addrText, int* address, int dataType,
                              int count, int accessMode);
/// Appends `copies` addresses, `start` and then every `step`, with their texts, clamped to the type's highest
/// address. Returns 0 unknown type, 1 done, 2 at least one was clamped.
DX7_EXPORT int intf_multiCopy(const QString& regType, int start, int copies, int step,
                              QVector<QString>* texts, QVector<int>* addresses);

// The polling plan.

/// Replaces the monitored set and the polling plan. On return `list` holds the merged blocks. Returns their
/// number.
DX7_EXPORT int intf_addrMerge(QList<KEY_ADDRESS>& list);
/// Queues a one-off read of `key`, split by the block limits; `tag` becomes the opKind of its frames.
/// Returns 1.
DX7_EXPORT int intf_addConditionRead(KEY_ADDRESS& key, int tag);

// The communication loop.

/// Copies the frame to send next to `*out` and returns 1, or returns 0 when there is nothing to send. A frame
/// is handed out again until a reply ends it.
DX7_EXPORT int intf_getSendFrame(FRAME_PRO* out);
/// Judges the reply to the frame on the wire. Returns 0 no frame outstanding, 1 good, 8 bad and to be sent
/// again, 2 bad and given up. `info` describes the frame: "station#typeaddress(count)(reply bytes)".
DX7_EXPORT int intf_dealRcvFrame(QByteArray& reply, QString& info);

// Values.

/// Copies the current values of `count` items to `out`: a byte per item for bit types and FAS, two bytes (low
/// byte first) for word types; nothing for other types. Returns 1.
DX7_EXPORT int intf_getData(int station, const QString& regType, int address, int count, unsigned char* out);
/// Stores `count` values at once and queues their write: `data` holds a byte per item for bit types, two
/// bytes (low byte first) for word types; `tag` becomes the opKind of the frames. Nothing for other types.
/// Returns 1.
DX7_EXPORT int intf_setData(int station, const QString& regType, int address, int count, unsigned char* data,
                            int tag);
}

#endif
