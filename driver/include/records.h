/// \file
/// The records that cross the host interface or travel inside the driver.
///
/// KEY_ADDRESS, FRAME_PRO and _RCP_VAR_PRO cross the interface by layout: host and driver must agree on every
/// offset. On the panel (32-bit pointers) the layouts are fixed and asserted at the end of this file. Needs
/// C++11.
#ifndef KORVALENT_DX7_RECORDS_H
#define KORVALENT_DX7_RECORDS_H

#if __cplusplus < 201103L
#error "records.h needs C++11: compile with -std=c++11 or later"
#endif

#include <QtCore/QString>
#include <cstddef>
#include <cstring>

/// Bytes in the value buffer of a request and in the request buffer of a frame.
const int DX7_DATA_BYTES = 1024;

/// One device request before framing. A new record is zero and has an empty register type.
struct VARIABLE {
    /// Tag that travels with the request into its frame and so back to the host: 4 for cyclic reads, what the
    /// host passed for its writes and condition reads. A recipe block has the tag of the request before it.
    /// The driver decides by korvalent_dx7::opKind, never by this.
    int opKind;
    /// Station number; its low 8 bits are the first byte of every frame.
    int station;
    /// Register type name, one of REG_LIST.
    QString regType;
    /// Start address within the register type, before any offset of the type is added.
    int address;
    /// Number of items: bits for bit types, 16-bit words for word types.
    int count;
    /// Values to write: a byte per bit, or two per word, low byte first.
    unsigned char data[DX7_DATA_BYTES];

    VARIABLE() : opKind(0), station(0), address(0), count(0) { std::memset(data, 0, sizeof data); }
    VARIABLE(const VARIABLE& other) = default;
    // Written out, because g++ 12 copies the bytes of an array one by one in an operator of its own.
    VARIABLE& operator=(const VARIABLE& other) {
        if (this != &other) {
            opKind = other.opKind;
            station = other.station;
            regType = other.regType;
            address = other.address;
            count = other.count;
            std::memcpy(data, other.data, sizeof data);
        }
        return *this;
    }
};

/// One address, or run of consecutive addresses, that the host hands over for monitoring or for a condition
/// read.
struct KEY_ADDRESS {
    /// The host's own; carried unchanged, never read.
    QString hostText;
    /// The host's own; carried unchanged, never read.
    int hostWord1;
    /// The host's own; carried unchanged, never read.
    int hostWord2;
    /// Station number.
    int station;
    /// Register type name.
    QString regType;
    /// The host's own; carried unchanged, never read.
    QString hostText2;
    /// Start address within the register type.
    int address;
    /// Only the test for -1 matters: a condition read of bits.
    int bitOffset;
    /// Number of items (bits or words).
    int length;
    /// The host's own; carried unchanged, never read.
    unsigned char data[DX7_DATA_BYTES];

    KEY_ADDRESS() : hostWord1(0), hostWord2(0), station(0), address(0), bitOffset(0), length(0) {
        std::memset(data, 0, sizeof data);
    }
};

/// One data area: the current value of one device item. The key is (station, regType, address).
struct _DATA_ {
    /// 1 = the last read of this item failed, 0 = it succeeded.
    unsigned char commError;
    /// 1 while a value written by the host waits for completion.
    unsigned char writePending;
    /// Per-bit pending mask of a bit-group area; nothing in the driver sets it.
    int pendingBits;
    /// Bit 0: the word is monitored. Bits 1 and 2: first and second word of a monitored double word; hosts
    /// alone set them, the driver reports by them.
    int wordMonitorFlags;
    /// Bit-group area (address a multiple of 8): bit n = item address + n is monitored. Word area: bit n =
    /// bit n of the word is monitored; hosts alone set it there, the driver reports by it.
    int bitMonitorMask;
    /// Key, part 1.
    int station;
    /// Key, part 2.
    QString regType;
    /// Key, part 3: item address, untranslated.
    int address;
    /// Last value read: byte 0 the bit, status byte or low byte; byte 1 the high byte; the rest stays 0.
    unsigned char value[4];
    /// Last value written by the host, same layout.
    unsigned char writtenValue[4];

    _DATA_()
        : commError(0),
          writePending(0),
          pendingBits(0),
          wordMonitorFlags(0),
          bitMonitorMask(0),
          station(0),
          address(0) {
        std::memset(value, 0, sizeof value);
        std::memset(writtenValue, 0, sizeof writtenValue);
    }
};

/// One request frame and what is needed to judge its reply; also the buffer that intf_getSendFrame fills.
struct FRAME_PRO {
    /// The request, CRC included; zero beyond sendLen.
    unsigned char sendBuf[DX7_DATA_BYTES];
    /// Number of request bytes in sendBuf.
    int sendLen;
    /// Exact reply length in bytes; 0 = no reply is expected.
    int expectLen;
    /// Index in the reply of the first data byte; 0 for writes.
    int dataOffset;
    /// Bits (bit read), data bytes (word read), 1 (status query) or 0 (write).
    int dataCount;
    /// Carries nothing; always 0.
    int frameReserved;
    /// The request's VARIABLE::opKind.
    int opKind;
    /// The request's station, all 32 bits of it.
    int station;
    /// The request's register type.
    QString regType;
    /// The request's start address, untranslated.
    int address;
    /// The request's item count.
    int count;
    /// The request's data.
    unsigned char varData[DX7_DATA_BYTES];

    FRAME_PRO()
        : sendLen(0),
          expectLen(0),
          dataOffset(0),
          dataCount(0),
          frameReserved(0),
          opKind(0),
          station(0),
          address(0),
          count(0) {
        std::memset(sendBuf, 0, sizeof sendBuf);
        std::memset(varData, 0, sizeof varData);
    }
    FRAME_PRO(const FRAME_PRO& other) = default;
    // Written out, because g++ 12 copies the bytes of an array one by one in an operator of its own.
    FRAME_PRO& operator=(const FRAME_PRO& other) {
        if (this != &other) {
            std::memcpy(sendBuf, other.sendBuf, sizeof sendBuf);
            sendLen = other.sendLen;
            expectLen = other.expectLen;
            dataOffset = other.dataOffset;
            dataCount = other.dataCount;
            frameReserved = other.frameReserved;
            opKind = other.opKind;
            station = other.station;
            regType = other.regType;
            address = other.address;
            count = other.count;
            std::memcpy(varData, other.varData, sizeof varData);
        }
        return *this;
    }
};

/// One recipe variable, or one block of them.
struct _RCP_VAR_PRO {
    /// Link the variable belongs to; only the driver's own link is kept.
    int linkId;
    /// Station number.
    int station;
    /// Register type name.
    QString regType;
    /// Start address within the register type.
    int address;
    /// Number of 16-bit words.
    int count;
    /// Index of the first word in the host's recipe memory (word n begins at byte 2n).
    int recipeIndex;
    /// Copied along with the record; nothing in the driver reads it.
    int hostReserved;

    _RCP_VAR_PRO() : linkId(0), station(0), address(0), count(0), recipeIndex(0), hostReserved(0) {}
};

// Where pointers are 32 bits wide (the panel), hosts rely on these layouts byte by byte.
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
// offsetof on a record with a QString member is conditionally supported; g++ and clang both support it.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
static_assert(sizeof(int) == 4 && sizeof(QString) == 4, "the panel's interface has 32-bit int and pointers");
static_assert(sizeof(KEY_ADDRESS) == 1060, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, hostText) == 0, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, hostWord1) == 4, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, hostWord2) == 8, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, station) == 12, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, regType) == 16, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, hostText2) == 20, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, address) == 24, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, bitOffset) == 28, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, length) == 32, "KEY_ADDRESS layout");
static_assert(offsetof(KEY_ADDRESS, data) == 36, "KEY_ADDRESS layout");
static_assert(sizeof(FRAME_PRO) == 2088, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, sendBuf) == 0, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, sendLen) == 1024, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, expectLen) == 1028, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, dataOffset) == 1032, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, dataCount) == 1036, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, frameReserved) == 1040, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, opKind) == 1044, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, station) == 1048, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, regType) == 1052, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, address) == 1056, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, count) == 1060, "FRAME_PRO layout");
static_assert(offsetof(FRAME_PRO, varData) == 1064, "FRAME_PRO layout");
static_assert(sizeof(_RCP_VAR_PRO) == 28, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, linkId) == 0, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, station) == 4, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, regType) == 8, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, address) == 12, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, count) == 16, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, recipeIndex) == 20, "_RCP_VAR_PRO layout");
static_assert(offsetof(_RCP_VAR_PRO, hostReserved) == 24, "_RCP_VAR_PRO layout");
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
#endif

#endif
