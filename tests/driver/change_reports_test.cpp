// Which reports a changed byte or word gives, and in which order.

#include <QtCore/QString>
#include <climits>

#include "data_areas.h"
#include "support.h"

namespace dx7test {
namespace {

class BitReports : public DriverTest {
protected:
    Reports change(unsigned char oldValue, unsigned char newValue, int mask, int group = 8) {
        driver.dataAreas.clear();
        driver.dataAreas << area(3, "DO", group);
        driver.dataAreas[0].bitMonitorMask = mask;
        _byteDataChange(&oldValue, &newValue, 3, "DO", group);
        return takeReports();
    }
};

TEST_F(BitReports, OnlyMonitoredBitsThatDifferAreReported) {
    EXPECT_EQ(change(0x0F, 0x1F, 0x11), (Reports{{1, 3, "DO", 12}}));
}

TEST_F(BitReports, EveryMaskAndDifferenceGivesItsBitsInAscendingOrder) {
    for (int mask = 0; mask < 256; ++mask) {
        for (int difference = 0; difference < 256; difference += 3) {
            Reports expected;
            for (int bit = 0; bit < 8; ++bit) {
                if (mask >> bit & difference >> bit & 1)
                    expected.push_back(Report{1, 3, "DO", 8 + bit});
            }
            const auto oldValue = static_cast<unsigned char>(mask * 7);
            ASSERT_EQ(change(oldValue, static_cast<unsigned char>(oldValue ^ difference), mask), expected);
        }
    }
}

TEST_F(BitReports, MaskBitsBeyondTheByteAreNotLookedAt) {
    EXPECT_EQ(change(0x00, 0xFF, 0xFF00), Reports());
}

TEST_F(BitReports, TheAreaIsCreatedEvenWhenNothingChanged) {
    const unsigned char same = 5;
    _byteDataChange(&same, &same, 3, "DO", 16);
    ASSERT_EQ(driver.dataAreas.size(), 1);
    EXPECT_EQ(driver.dataAreas.at(0).address, 16);
    EXPECT_TRUE(reports.empty());
}

TEST_F(BitReports, AnUnmonitoredGroupIsNotReported) {
    const unsigned char zero = 0, ones = 0xFF;
    _byteDataChange(&zero, &ones, 3, "DO", 16);
    EXPECT_EQ(driver.dataAreas.size(), 1);
    EXPECT_TRUE(reports.empty());
}

class WordReports : public DriverTest {
protected:
    Reports change(int oldValue, int newValue, int mask, int flags, int address = 3, int noBitScan = 0) {
        driver.dataAreas.clear();
        driver.dataAreas << area(3, "CW", address);
        driver.dataAreas[0].bitMonitorMask = mask;
        driver.dataAreas[0].wordMonitorFlags = flags;
        _wordDataChange(&oldValue, &newValue, 3, "CW", address, noBitScan);
        return takeReports();
    }
};

TEST_F(WordReports, BitsComeBeforeTheWord) {
    EXPECT_EQ(change(0x0001, 0x0003, 0x0002, 1), (Reports{{1, 3, "CW_bit", 49}, {1, 3, "CW", 3}}));
}

TEST_F(WordReports, AllKindsComeInTheirOrder) {
    EXPECT_EQ(change(0, 0x8001, 0xFFFF, 7), (Reports{{1, 3, "CW_bit", 48},
                                                     {1, 3, "CW_bit", 63},
                                                     {1, 3, "CW", 3},
                                                     {1, 3, "CW_double", 3},
                                                     {1, 3, "CW_double", 2}}));
}

TEST_F(WordReports, EachFlagGivesItsReportAlone) {
    EXPECT_EQ(change(0, 1, 0, 0), Reports());
    EXPECT_EQ(change(0, 1, 0, 1), (Reports{{1, 3, "CW", 3}}));
    EXPECT_EQ(change(0, 1, 0, 2), (Reports{{1, 3, "CW_double", 3}}));
    EXPECT_EQ(change(0, 1, 0, 4), (Reports{{1, 3, "CW_double", 2}}));
    EXPECT_EQ(change(0, 1, 0, ~7), Reports());
    EXPECT_EQ(change(0, 1, 1, 0), (Reports{{1, 3, "CW_bit", 48}}));
}

TEST_F(WordReports, EqualValuesReportNothing) {
    EXPECT_EQ(change(5, 5, 0xFFFF, 7), Reports());
}

TEST_F(WordReports, WithoutBitScanOnlyWordsAreReported) {
    for (int noBitScan : {1, 2, -1})
        EXPECT_EQ(change(0, 1, 0xFFFF, 1, 3, noBitScan), (Reports{{1, 3, "CW", 3}}));
}

TEST_F(WordReports, DoublesNeedAnAddressThatExists) {
    EXPECT_EQ(change(0, 1, 0, 6, 0), (Reports{{1, 3, "CW_double", 0}}));
    EXPECT_EQ(change(0, 1, 0, 6, 1), (Reports{{1, 3, "CW_double", 1}, {1, 3, "CW_double", 0}}));
    EXPECT_EQ(change(0, 1, 0, 6, -1), Reports());
}

TEST_F(WordReports, TheSecondWordFlagAtAddressZeroNeverYieldsAReport) {
    EXPECT_EQ(change(0, 1, 0, 4, 0), Reports());
}

TEST_F(WordReports, EveryBitOfTheWordIsScannedAndNoneBeyond) {
    for (int bit = 0; bit < 16; ++bit)
        EXPECT_EQ(change(0, 1 << bit, 0xFFFF, 0, 5), (Reports{{1, 3, "CW_bit", 80 + bit}}));
    EXPECT_EQ(change(0, 0x10000, -1, 0), Reports());
    EXPECT_EQ(change(0, 0x10000, -1, 1), (Reports{{1, 3, "CW", 3}}));
    EXPECT_EQ(change(0, 1, 0x10000, 1), (Reports{{1, 3, "CW", 3}}));
}

TEST_F(WordReports, BitAddressesWrap) {
    EXPECT_EQ(change(0, 2, 2, 0, 0x08000000), (Reports{{1, 3, "CW_bit", INT_MIN + 1}}));
    EXPECT_EQ(change(0, 2, 2, 0, -1), (Reports{{1, 3, "CW_bit", -15}}));
}

TEST_F(WordReports, FlagsOfTheNeighbouringWordsAreNotRead) {
    driver.dataAreas << area(3, "CW", 2) << area(3, "CW", 4);
    driver.dataAreas[0].wordMonitorFlags = driver.dataAreas[1].wordMonitorFlags = 7;
    const int zero = 0, one = 1;
    _wordDataChange(&zero, &one, 3, "CW", 3, 0);
    EXPECT_TRUE(reports.empty());
}

TEST_F(WordReports, TheAreaIsCreatedEvenWhenNothingChanged) {
    const int same = 5;
    _wordDataChange(&same, &same, 3, "MOD", 2, 0);
    ASSERT_EQ(driver.dataAreas.size(), 1);
    EXPECT_EQ(driver.dataAreas.at(0).regType, "MOD");
}

TEST_F(WordReports, TheReportedNameIsAnyTypesNameWithItsEnding) {
    driver.dataAreas << area(3, "any", 1);
    driver.dataAreas[0].wordMonitorFlags = 3;
    driver.dataAreas[0].bitMonitorMask = 1;
    const int zero = 0, one = 1;
    _wordDataChange(&zero, &one, 3, "any", 1, 0);
    EXPECT_EQ(reports, (Reports{{1, 3, "any_bit", 16}, {1, 3, "any", 1}, {1, 3, "any_double", 1}}));
}

// The host may change what is monitored inside any report; what follows goes by the new flags.
TEST_F(WordReports, FlagsAreLookedUpAnewAfterEveryReport) {
    const auto clearedAfter = [this](const char* type) {
        hook = [type](const Report& report) {
            if (report.regType == QString(type))
                driver.dataAreas[0].wordMonitorFlags = 0;
        };
        return change(0, 1, 1, 7);
    };
    EXPECT_EQ(clearedAfter("CW_bit"), (Reports{{1, 3, "CW_bit", 48}}));
    EXPECT_EQ(clearedAfter("CW"), (Reports{{1, 3, "CW_bit", 48}, {1, 3, "CW", 3}}));
    EXPECT_EQ(clearedAfter("CW_double"),
              (Reports{{1, 3, "CW_bit", 48}, {1, 3, "CW", 3}, {1, 3, "CW_double", 3}}));

    hook = [](const Report& report) {
        driver.dataAreas[0].wordMonitorFlags |= report.regType == QString("CW_bit") ? 1 : 6;
    };
    EXPECT_EQ(
        change(0, 1, 1, 0),
        (Reports{{1, 3, "CW_bit", 48}, {1, 3, "CW", 3}, {1, 3, "CW_double", 3}, {1, 3, "CW_double", 2}}));
}

// An area that the host removes inside a report is made again only by a lookup that a later report needs.
TEST_F(WordReports, NothingIsLookedUpWhereNoReportCanFollow) {
    hook = [](const Report&) { driver.dataAreas.clear(); };
    change(0, 1, 0, 1, -1);
    EXPECT_EQ(driver.dataAreas.size(), 0);
    change(0, 1, 0, 2, 0);
    EXPECT_EQ(driver.dataAreas.size(), 0);
    change(0, 1, 0, 1, 0);
    EXPECT_EQ(driver.dataAreas.size(), 1);
    change(0, 1, 0, 2, 1);
    EXPECT_EQ(driver.dataAreas.size(), 1);
    change(0, 1, 0, 4, 5);
    EXPECT_EQ(driver.dataAreas.size(), 0);
}

TEST_F(WordReports, TheLinkIsTheDriversOwn) {
    driver.linkId = -12;
    EXPECT_EQ(change(0, 1, 0, 1), (Reports{{-12, 3, "CW", 3}}));
}

TEST_F(WordReports, WhatTheHostDoesToTheTextChangesNothing) {
    scribble = "overwritten by the host";
    QString type = "CW";
    driver.dataAreas << area(3, "CW", 1);
    driver.dataAreas[0].wordMonitorFlags = 7;
    driver.dataAreas[0].bitMonitorMask = 3;
    const int zero = 0, three = 3;
    _wordDataChange(&zero, &three, 3, type, 1, 0);
    EXPECT_EQ(reports, (Reports{{1, 3, "CW_bit", 16},
                                {1, 3, "CW_bit", 17},
                                {1, 3, "CW", 1},
                                {1, 3, "CW_double", 1},
                                {1, 3, "CW_double", 0}}));
    EXPECT_EQ(type, "CW");
    EXPECT_EQ(driver.dataAreas.at(0).regType, "CW");
}

TEST_F(WordReports, TheHostMayCallTheDriverInsideEveryReport) {
    int next = 1000;
    hook = [&](const Report&) {
        unsigned char bytes[400];
        intf_getData(3, "F", next, 200, bytes);
        next += 200;
        KEY_ADDRESS key = entry(3, "CW", 3, 1);
        intf_addConditionRead(key, 3);
    };
    EXPECT_EQ(change(0, 0xFFFF, 0xFFFF, 7).size(), 19u);
    EXPECT_EQ(driver.dataAreas.size(), 1 + 19 * 200);
    // The first entry of an empty list, a copy after it, and replacements of that copy.
    EXPECT_EQ(driver.conditionList.size(), 2);
}

TEST_F(BitReports, TheHostMayWriteInsideEveryReport) {
    hook = [this](const Report&) {
        hook = nullptr;
        unsigned char word[2] = {1, 0};
        for (int address = 0; address < 200; ++address)
            intf_setData(3, "MOD", address, 1, word, 2);
    };
    EXPECT_EQ(change(0x00, 0xFF, 0xFF).size(), 8u);
    EXPECT_EQ(driver.dataAreas.size(), 201);
}

}  // namespace
}  // namespace dx7test
