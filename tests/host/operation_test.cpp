#include "host/poll/operation.h"

#include <gtest/gtest.h>

#include "loaded_driver.h"

using namespace dx7;

namespace {

TEST(RequestRanges, KeepToTheBlockLimitAndTheSubGroups) {
    const auto lengths = [](const char* type, int address, int count, int block) {
        QVector<int> list;
        for (const ItemRange& range :
             requestRanges(notation().type(QString::fromLatin1(type)), 1, address, count, block)) {
            list += range.count;
        }
        return list;
    };
    EXPECT_EQ(lengths("F", 8, 24, 64), (QVector<int>{2, 10, 10, 2}));
    EXPECT_EQ(lengths("F", 50, 10, 4), (QVector<int>{4, 2, 4}));
    EXPECT_EQ(lengths("SDO", 1, 8, 64), QVector<int>{8});
    EXPECT_EQ(lengths("CW_bit", 0, 16, 1), (QVector<int>{8, 8}));
}

}  // namespace
