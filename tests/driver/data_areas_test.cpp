// The store of current values: areas, monitor flags, reading values out. Reports: change_reports_test.cpp;
// edits of the list from outside: data_areas_edits_test.cpp.

#include "data_areas.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <climits>
#include <cstring>
#include <utility>

#include "support.h"

namespace dx7test {
namespace {

using DataAreas = DriverTest;
using MonitorFlags = DriverTest;

const char* const otherTypes[] = {"FW", "FI", "XX", "", "cw", "CW_bit "};

/// The keys of the store in its order; the count of each is 0.
ItemsList keys() {
    ItemsList all;
    for (const _DATA_& data : std::as_const(driver.dataAreas))
        all.push_back(Items{data.station, data.regType, data.address, 0});
    return all;
}

int lookUp(int station, const QString& regType, int address) {
    return getIndexOfDataArea(station, regType, address, driver.dataAreas);
}

TEST_F(DataAreas, ALookupCreatesAnAreaOfZeros) {
    EXPECT_EQ(lookUp(3, "CW", -7), 0);
    ASSERT_EQ(driver.dataAreas.size(), 1);
    const _DATA_ data = driver.dataAreas.at(0);
    EXPECT_EQ(data.commError, 0);
    EXPECT_EQ(data.writePending, 0);
    EXPECT_EQ(data.pendingBits, 0);
    EXPECT_EQ(data.wordMonitorFlags, 0);
    EXPECT_EQ(data.bitMonitorMask, 0);
    EXPECT_EQ(data.station, 3);
    EXPECT_EQ(data.regType, "CW");
    EXPECT_EQ(data.address, -7);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(data.value[i], 0);
        EXPECT_EQ(data.writtenValue[i], 0);
    }
}

TEST_F(DataAreas, OfTwoAreasWithOneKeyTheFirstIsFoundHoweverLongTheListGrows) {
    for (int address = 0; address < 20; ++address)
        lookUp(1, "CW", address);
    driver.dataAreas[12].address = 3;
    for (int address = 20; address < 100; ++address)
        lookUp(1, "CW", address);
    EXPECT_EQ(&dataArea(1, "CW", 11), &driver.dataAreas[11]);
    EXPECT_EQ(&dataArea(1, "CW", 3), &driver.dataAreas[3]);
    EXPECT_EQ(lookUp(1, "CW", 3), 3);

    driver.dataAreas.clear();
    for (int address = 0; address < 100; ++address)
        EXPECT_EQ(lookUp(1, "CW", address), address);
}

TEST_F(DataAreas, EachPartOfTheKeyCounts) {
    EXPECT_EQ(lookUp(1, "CW", 5), 0);
    EXPECT_EQ(lookUp(2, "CW", 5), 1);
    EXPECT_EQ(lookUp(1, "cw", 5), 2);
    EXPECT_EQ(lookUp(1, "CW", 6), 3);
    EXPECT_EQ(lookUp(1, "", 5), 4);
    EXPECT_EQ(lookUp(1, QString(), 5), 4);
    EXPECT_EQ(lookUp(1, "CW ", 5), 5);
    EXPECT_EQ(lookUp(257, "CW", 5), 6);
    EXPECT_EQ(lookUp(1, "CW", 5), 0);
    EXPECT_EQ(driver.dataAreas.size(), 7);
}

TEST_F(DataAreas, AreasAreInTheOrderOfTheirCreation) {
    for (int address : {9, 2, 7, 2, 9, -1})
        lookUp(1, "F", address);
    EXPECT_EQ(keys(), (ItemsList{{1, "F", 9, 0}, {1, "F", 2, 0}, {1, "F", 7, 0}, {1, "F", -1, 0}}));
}

TEST_F(DataAreas, ThousandsOfAreasAreFoundAtTheirPlaces) {
    const int count = 5000;
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(lookUp(i % 7, i % 2 ? "F" : "DO", i), i);
    for (int i = count - 1; i >= 0; --i)
        ASSERT_EQ(lookUp(i % 7, i % 2 ? "F" : "DO", i), i);
    EXPECT_EQ(driver.dataAreas.size(), count);
}

TEST_F(DataAreas, AnyOtherListCanBeSearchedToo) {
    lookUp(1, "CW", 1);
    QList<_DATA_> other = {area(1, "CW", 2), area(1, "CW", 3), area(1, "CW", 3)};
    EXPECT_EQ(getIndexOfDataArea(1, "CW", 3, other), 1);
    EXPECT_EQ(getIndexOfDataArea(1, "CW", 1, other), 3);
    EXPECT_EQ(other.size(), 4);
    EXPECT_EQ(lookUp(1, "CW", 3), 1);
    EXPECT_EQ(driver.dataAreas.size(), 2);
}

TEST_F(DataAreas, ClearingTheStoreForgetsEveryKey) {
    lookUp(1, "CW", 1);
    lookUp(1, "CW", 2);
    driver.dataAreas.clear();
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_EQ(lookUp(1, "CW", 2), 0);
    init("1#0#0#3#64");
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_EQ(lookUp(1, "CW", 3), 0);
    EXPECT_EQ(lookUp(1, "CW", 2), 1);
}

TEST_F(DataAreas, AnEditIsSeenByLaterReaders) {
    dataArea(1, "CW", 4).value[0] = 0x34;
    dataArea(1, "CW", 4).value[1] = 0x12;
    EXPECT_EQ(keys(), (ItemsList{{1, "CW", 4, 0}}));
    EXPECT_EQ(driver.dataAreas.at(0).value[1], 0x12);
    EXPECT_EQ(dataArea(1, "CW", 4).value[0], 0x34);
    EXPECT_EQ(dataArea(1, "CW", 5).value[0], 0);
    EXPECT_EQ(driver.dataAreas.size(), 2);
}

TEST_F(MonitorFlags, BitsAreMarkedInTheAreasOfTheirGroups) {
    EXPECT_EQ(_setDataAreaMonitorFlag(1, "DO", 6, 4), 0);
    EXPECT_EQ(keys(), (ItemsList{{1, "DO", 0, 0}, {1, "DO", 8, 0}}));
    EXPECT_EQ(driver.dataAreas.at(0).bitMonitorMask, 0xC0);
    EXPECT_EQ(driver.dataAreas.at(1).bitMonitorMask, 0x03);
}

TEST_F(MonitorFlags, EveryBitTypeUsesTheMaskAndEveryWordTypeTheFlag) {
    for (const char* type : BIT_TYPES) {
        driver.dataAreas.clear();
        EXPECT_EQ(_setDataAreaMonitorFlag(2, type, 13, 1), 0);
        EXPECT_EQ(keys(), (ItemsList{{2, type, 8, 0}}));
        EXPECT_EQ(driver.dataAreas.at(0).bitMonitorMask, 0x20) << type;
        EXPECT_EQ(driver.dataAreas.at(0).wordMonitorFlags, 0) << type;
    }
    for (const char* type : WORD_TYPES) {
        driver.dataAreas.clear();
        EXPECT_EQ(_setDataAreaMonitorFlag(2, type, 13, 2), 0);
        EXPECT_EQ(keys(), (ItemsList{{2, type, 13, 0}, {2, type, 14, 0}}));
        EXPECT_EQ(driver.dataAreas.at(1).wordMonitorFlags, 1) << type;
        EXPECT_EQ(driver.dataAreas.at(1).bitMonitorMask, 0) << type;
    }
}

TEST_F(MonitorFlags, FasAndUnknownTypesAreNeverMonitored) {
    EXPECT_EQ(_setDataAreaMonitorFlag(1, "FAS", 0, 1), 0);
    for (const char* type : otherTypes)
        EXPECT_EQ(_setDataAreaMonitorFlag(1, type, 0, 1), 0);
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(MonitorFlags, ALengthBelowOneMarksNothing) {
    for (int length : {0, -1, INT_MIN}) {
        EXPECT_EQ(_setDataAreaMonitorFlag(1, "CW", 0, length), 0);
        EXPECT_EQ(_setDataAreaMonitorFlag(1, "DO", 0, length), 0);
    }
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(MonitorFlags, MarksAddUpAndKeepWhatWasSet) {
    driver.dataAreas << area(1, "CW", 0) << area(1, "DO", 0);
    driver.dataAreas[0].wordMonitorFlags = 6;
    driver.dataAreas[0].bitMonitorMask = 0x8000;
    driver.dataAreas[1].bitMonitorMask = 0x01;
    driver.dataAreas[1].wordMonitorFlags = 1;
    for (int times = 0; times < 2; ++times) {
        _setDataAreaMonitorFlag(1, "CW", 0, 1);
        _setDataAreaMonitorFlag(1, "DO", 7, 1);
    }
    EXPECT_EQ(driver.dataAreas.at(0).wordMonitorFlags, 7);
    EXPECT_EQ(driver.dataAreas.at(0).bitMonitorMask, 0x8000);
    EXPECT_EQ(driver.dataAreas.at(1).bitMonitorMask, 0x81);
    EXPECT_EQ(driver.dataAreas.at(1).wordMonitorFlags, 1);
}

TEST_F(MonitorFlags, ClearingThemLeavesTheAreas) {
    _setDataAreaMonitorFlag(1, "CW", 0, 1);
    _setDataAreaMonitorFlag(1, "DO", 1, 1);
    driver.dataAreas[0].value[0] = 9;
    clearMonitorFlags();
    EXPECT_EQ(keys(), (ItemsList{{1, "CW", 0, 0}, {1, "DO", 0, 0}}));
    EXPECT_EQ(driver.dataAreas.at(0).wordMonitorFlags, 0);
    EXPECT_EQ(driver.dataAreas.at(1).bitMonitorMask, 0);
    EXPECT_EQ(driver.dataAreas.at(0).value[0], 9);
}

TEST_F(MonitorFlags, NothingIsReportedByMarking) {
    _setDataAreaMonitorFlag(1, "CW", 0, 5);
    _setDataAreaMonitorFlag(1, "DO", 0, 20);
    EXPECT_TRUE(reports.empty());
}

class Reading : public DriverTest {
protected:
    /// What intf_getData writes into a buffer of `size` bytes that all were 0xEE.
    QByteArray read(const QString& regType, int address, int count, int size) {
        QByteArray buffer(size, '\xEE');
        EXPECT_EQ(intf_getData(1, regType, address, count, reinterpret_cast<unsigned char*>(buffer.data())),
                  DX7_DONE);
        return buffer;
    }

    /// Stores an area with two bytes read and two written.
    void store(const QString& regType, int address, bool pending) {
        _DATA_ data = area(1, regType, address);
        const unsigned char value[] = {0x11, 0x22, 0x33, 0x44}, written[] = {0x55, 0x66, 0x77, 0x88};
        std::memcpy(data.value, value, sizeof value);
        std::memcpy(data.writtenValue, written, sizeof written);
        data.writePending = pending;
        driver.dataAreas << data;
    }
};

TEST_F(Reading, WordsNeverReadAreZeroAndHaveAnAreaAfterwards) {
    EXPECT_EQ(read("CW", 4, 3, 8), hex("00 00 00 00 00 00 ee ee"));
    EXPECT_EQ(keys(), (ItemsList{{1, "CW", 4, 0}, {1, "CW", 5, 0}, {1, "CW", 6, 0}}));
}

TEST_F(Reading, EveryWordTypeGivesTwoBytesPerItem) {
    for (const char* type : WORD_TYPES) {
        store(type, 8, false);
        store(type, 9, true);
        EXPECT_EQ(read(type, 8, 2, 6), hex("11 22 55 66 ee ee")) << type;
    }
}

TEST_F(Reading, EveryBitTypeAndFasGiveOneBytePerItem) {
    for (const char* type : {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI", "FAS"}) {
        store(type, 9, false);
        store(type, 10, true);
        EXPECT_EQ(read(type, 9, 3, 5), hex("11 55 00 ee ee")) << type;
    }
}

TEST_F(Reading, BitsAreTakenFromTheirOwnAreasNotFromTheirGroup) {
    store("DO", 8, true);
    EXPECT_EQ(read("DO", 11, 1, 1), hex("00"));
    EXPECT_EQ(keys(), (ItemsList{{1, "DO", 8, 0}, {1, "DO", 11, 0}}));
}

TEST_F(Reading, AnyPendingFlagThatIsSetCounts) {
    store("CW", 0, true);
    driver.dataAreas[0].writePending = 0x80;
    EXPECT_EQ(read("CW", 0, 1, 2), hex("55 66"));
}

TEST_F(Reading, UnknownTypesAndCountsBelowOneStoreNothing) {
    for (const char* type : otherTypes)
        EXPECT_EQ(read(type, 0, 2, 4), hex("ee ee ee ee")) << type;
    for (int count : {0, -1, INT_MIN}) {
        EXPECT_EQ(read("CW", 0, count, 2), hex("ee ee"));
        EXPECT_EQ(read("DO", 0, count, 2), hex("ee ee"));
    }
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(Reading, AWordJustWrittenIsServedUntilItsWriteCompletes) {
    store("CW", 5, false);
    unsigned char word[] = {0xCD, 0xAB};
    intf_setData(1, "CW", 5, 1, word, 2);
    EXPECT_EQ(read("CW", 5, 1, 2), hex("cd ab"));
    driver.dataAreas[0].writePending = 0;
    EXPECT_EQ(read("CW", 5, 1, 2), hex("11 22"));
}

TEST_F(Reading, ABitJustWrittenIsServedAtItsGroupBase) {
    driver.dataAreas << area(1, "DO", 11);
    driver.dataAreas[0].value[0] = 7;
    unsigned char on = 1;
    intf_setData(1, "DO", 11, 1, &on, 2);
    EXPECT_EQ(read("DO", 11, 1, 1), hex("07"));
    EXPECT_EQ(read("DO", 8, 1, 1), hex("01"));
}

TEST_F(Reading, StationsAreKeptApart) {
    store("CW", 5, false);
    unsigned char word[2] = {9, 9};
    intf_getData(2, "CW", 5, 1, word);
    EXPECT_EQ(word[0], 0);
    EXPECT_EQ(driver.dataAreas.size(), 2);
}

TEST_F(Reading, AddressesBeyondTheTopWrap) {
    store("CW", INT_MIN, false);
    EXPECT_EQ(read("CW", INT_MAX, 2, 4), hex("00 00 11 22"));
}

TEST_F(Reading, NothingIsReportedOrMonitoredByReading) {
    read("CW", 0, 3, 6);
    read("DO", 0, 3, 3);
    EXPECT_TRUE(reports.empty());
    for (const _DATA_& data : std::as_const(driver.dataAreas))
        EXPECT_EQ(data.wordMonitorFlags | data.bitMonitorMask, 0);
}

}  // namespace
}  // namespace dx7test
