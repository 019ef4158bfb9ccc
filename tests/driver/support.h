/// \file
/// What the driver's tests share: a fixture that starts every test with a driver in a known state, builders
/// for the records that cross the host interface, and a second, plain implementation of the reply format.
#ifndef KORVALENT_DX7_TESTS_SUPPORT_H
#define KORVALENT_DX7_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <algorithm>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <vector>

#include "korvalent_dx7.h"
#include "tests/kit/crc.h"

/// GoogleTest shows texts in quotes instead of as bytes.
void PrintTo(const QString& text, std::ostream* out);
/// GoogleTest shows byte arrays as spaced hexadecimal digits.
void PrintTo(const QByteArray& bytes, std::ostream* out);

namespace dx7test {

/// The types whose items are bits, and those whose items are 16-bit words, in the driver's order.
const char* const BIT_TYPES[] = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"};
const char* const WORD_TYPES[] = {"AI", "FIN", "F", "D", "DE", "CW", "SW", "MOD"};

/// One call of the value-change callback.
struct Report {
    int linkId;
    int station;
    QString regType;
    int address;
};
bool operator==(const Report& a, const Report& b);
void PrintTo(const Report& report, std::ostream* out);
typedef std::vector<Report> Reports;

/// What identifies a request or a block: compared and printed without its data.
struct Items {
    int station;
    QString regType;
    int address;
    int count;
};
bool operator==(const Items& a, const Items& b);
void PrintTo(const Items& items, std::ostream* out);
typedef std::vector<Items> ItemsList;

Items itemsOf(const VARIABLE& var);
Items itemsOf(const KEY_ADDRESS& key);
ItemsList itemsOf(const QList<VARIABLE>& list);
ItemsList itemsOf(const QList<KEY_ADDRESS>& list);

/// An address for monitoring or a condition read; bitOffset is 0.
KEY_ADDRESS entry(int station, const QString& regType, int address, int length);
/// A request; `data` is copied to the start of its value buffer (at most 1024 bytes).
VARIABLE request(int station, const QString& regType, int address, int count, int opKind = 0,
                 const QByteArray& data = QByteArray());
/// A recipe variable of the link `linkId` whose words begin at word `recipeIndex` of the recipe memory.
_RCP_VAR_PRO recipeVariable(int linkId, int station, const QString& regType, int address, int count,
                            int recipeIndex);
/// A data area with that key and nothing else set.
_DATA_ area(int station, const QString& regType, int address);

/// Exchanges two records of a list by moving them as they are, without copying what they hold.
template <typename Record>
void swapPlaces(QList<Record>& list, int i, int j) {
    const int first = std::min(i, j);
    const int second = std::max(i, j);
    if (first != second) {
        list.move(first, second);
        list.move(second - 1, first);
    }
}

/// Bytes of a text of hexadecimal digits; blanks between them are ignored.
QByteArray hex(const char* digits);
using kit::withCrc;

/// Reply to a read of bits: station, function code, byte count, `packed`, CRC.
QByteArray bitReply(int station, int functionCode, const QByteArray& packed);
/// Reply to a read of registers, each sent high byte first.
QByteArray wordReply(int station, int functionCode, const QVector<int>& words);
/// Reply to the status query.
QByteArray statusReply(int station, int status);
/// The acknowledgement a device sends for a write request: the echo of function codes 5 and 6, the first six
/// bytes (with a new CRC) of function code 16.
QByteArray ack(const FRAME_PRO& frame);
/// The request bytes of a frame, without what follows sendLen.
QByteArray sentBytes(const FRAME_PRO& frame);

/// Starts each test with an initialised driver (link 1, retry count 3, blocks of 64), zeroed host memory, no
/// recipe, no monitored address and an empty record of callbacks; afterwards the driver has no host
/// pointers.
class DriverTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Calls intf_initProperty with the fixture's memory and mutex.
    int init(const char* properties);
    /// Returns the callbacks recorded so far and forgets them.
    Reports takeReports();

    /// Called inside every callback, after it was recorded, when set; may call the driver.
    std::function<void(const Report&)> hook;
    /// Written over the text of every callback when not null, as a host may do.
    QString scribble;
    /// Callbacks in the order of their arrival.
    Reports reports;
    /// The host's memory, 60200 bytes.
    std::vector<unsigned char> hostFlags;
    /// 4096 words.
    std::vector<unsigned char> recipeMemory;
    QMutex mutex;

private:
    static void record(int linkId, int station, QString& regType, int address);
    static DriverTest* current_;
};

}  // namespace dx7test

#endif
