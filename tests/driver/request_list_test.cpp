// The insertion rule of the request lists.

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <utility>

#include "request_lists.h"
#include "support.h"

namespace dx7test {
namespace {

using RequestList = DriverTest;

/// Stations of the requests of a list, which tell them apart.
QList<int> stations(const QList<VARIABLE>& list) {
    QList<int> numbers;
    for (const VARIABLE& var : list)
        numbers << var.station;
    return numbers;
}

TEST_F(RequestList, AnEmptyListTakesTheRequest) {
    QList<VARIABLE> list;
    addVarToList(list, request(1, "CW", 2, 3, 4));
    EXPECT_EQ(itemsOf(list), (ItemsList{{1, "CW", 2, 3}}));
}

TEST_F(RequestList, EntryZeroIsLeftOutOfTheDuplicateSearch) {
    QList<VARIABLE> list = {request(1, "CW", 2, 3)};
    addVarToList(list, request(1, "CW", 2, 3));
    EXPECT_EQ(list.size(), 2);
    addVarToList(list, request(1, "CW", 2, 3));
    EXPECT_EQ(list.size(), 2);
}

TEST_F(RequestList, ADuplicateIsOverwrittenWhollyInItsPlace) {
    QList<VARIABLE> list = {request(9, "A", 0, 1), request(1, "CW", 2, 3, 5, QByteArray(1024, 'a')),
                            request(8, "B", 0, 1)};
    addVarToList(list, request(1, "CW", 2, 3, 6, QByteArray(1024, 'b')));
    EXPECT_EQ(stations(list), (QList<int>{9, 1, 8}));
    EXPECT_EQ(list.at(1).opKind, 6);
    EXPECT_EQ(QByteArray(reinterpret_cast<const char*>(list.at(1).data), 1024), QByteArray(1024, 'b'));
}

TEST_F(RequestList, TheLastOfTwoDuplicatesIsOverwritten) {
    QList<VARIABLE> list(QList<VARIABLE>() << request(1, "CW", 2, 3, 10) << request(1, "CW", 2, 3, 11)
                                           << request(7, "CW", 2, 3, 12) << request(1, "CW", 2, 3, 13)
                                           << request(8, "CW", 2, 3, 14));
    addVarToList(list, request(1, "CW", 2, 3, 99));
    QList<int> kinds;
    for (const VARIABLE& var : std::as_const(list))
        kinds << var.opKind;
    EXPECT_EQ(kinds, (QList<int>{10, 11, 12, 99, 14}));
}

TEST_F(RequestList, ARequestThatDiffersInOneFieldIsNoDuplicate) {
    QList<VARIABLE> list = {request(0, "", 0, 0), request(1, "CW", 2, 3)};
    for (const VARIABLE& other :
         {request(2, "CW", 2, 3), request(1, "cw", 2, 3), request(1, "CW", 3, 3), request(1, "CW", 2, 2)}) {
        EXPECT_FALSE(sameItems(list.at(1), other));
        const int size = list.size();
        addVarToList(list, other);
        EXPECT_EQ(list.size(), size + 1);
    }
    EXPECT_TRUE(sameItems(list.at(1), request(1, "CW", 2, 3, 77, "data")));
}

/// A list of `size` requests, told apart by their stations 0, 1, 2, ...
QList<VARIABLE> requests(int size) {
    QList<VARIABLE> list;
    for (int i = 0; i < size; ++i)
        list << request(i, "CW", 0, 1);
    return list;
}

TEST_F(RequestList, TheFiveHundredFourteenthRequestOverwritesEntry512) {
    QList<VARIABLE> list = requests(512);
    addVarToList(list, request(1000, "CW", 0, 1));
    EXPECT_EQ(list.size(), 513);
    EXPECT_EQ(list.at(512).station, 1000);
    for (int station : {1001, 1002}) {
        addVarToList(list, request(station, "CW", 0, 1, 5, QByteArray(1024, 'x')));
        EXPECT_EQ(list.size(), 513);
        EXPECT_EQ(list.at(512).station, station);
        EXPECT_EQ(list.at(512).opKind, 5);
        EXPECT_EQ(list.at(512).data[1023], 'x');
        EXPECT_EQ(list.at(511).station, 511);
    }
}

TEST_F(RequestList, InAFullListADuplicateStillComesFirst) {
    QList<VARIABLE> list = requests(513);
    addVarToList(list, request(300, "CW", 0, 1, 5));
    EXPECT_EQ(list.at(300).opKind, 5);
    EXPECT_EQ(list.at(512).station, 512);
    addVarToList(list, request(0, "CW", 0, 1, 6));
    EXPECT_EQ(list.at(0).opKind, 0);
    EXPECT_EQ(list.at(512).station, 0);
    EXPECT_EQ(list.size(), 513);
}

TEST_F(RequestList, AnOverfullListKeepsItsSizeAndGivesUpEntry512) {
    QList<VARIABLE> list = requests(600);
    addVarToList(list, request(1000, "CW", 0, 1));
    EXPECT_EQ(list.size(), 600);
    EXPECT_EQ(list.at(512).station, 1000);
    EXPECT_EQ(list.last().station, 599);
}

}  // namespace
}  // namespace dx7test
