#include "model/Array.h"

#include <utility>

#include <gtest/gtest.h>

#include "model/Faults.h"
#include "model/Int16.h"

using namespace quillane;

TEST(Array1, IndexOutsideEitherEndOrOfAnUnsizedArrayRaisesAndRedimZeroFills) {
    Array1<double> a("a", 1, 5);
    EXPECT_NO_THROW(a(5));
    for (int bad : {0, 6, -32768}) {
        EXPECT_THROW(a(bad), SubscriptFault) << bad;
    }
    a(2) = 7.5;
    a.redim(0, 6); // growing keeps nothing
    EXPECT_TRUE(a == Array1<double>("a", 0, 6));
    EXPECT_THROW(a(7), SubscriptFault);
    EXPECT_THROW(a.redim(1, 0), SubscriptFault); // upper below lower
    a.clear();
    EXPECT_THROW(a(0), SubscriptFault);
    EXPECT_THROW(Array1<double>("never sized")(0), SubscriptFault);
}

TEST(Array2, BoundsOffsetsAndRedimWithNonZeroLowerBounds) {
    Array2<int> a("a", -2, 3, 1, 4);
    const std::pair<int, int> outside[] = {{-3, 1}, {4, 1}, {-2, 0}, {-2, 5}, {4, 5}};
    for (const auto& [i, j] : outside) {
        EXPECT_THROW(a(i, j), SubscriptFault) << i << "," << j;
    }
    for (int i = -2; i <= 3; ++i) {
        for (int j = 1; j <= 4; ++j) {
            a(i, j) = 100 * i + j;
        }
    }
    for (int i = -2; i <= 3; ++i) {
        for (int j = 1; j <= 4; ++j) {
            EXPECT_EQ(a(i, j), 100 * i + j);
        }
    }
    EXPECT_EQ(a.stride(), 6);
    EXPECT_EQ(a.column(2)[5], a(3, 2));
    a.redim(1, 3, 1, 3);
    EXPECT_TRUE(a == (Array2<int>("a", 1, 3, 1, 3)));
    EXPECT_THROW(a.redim(1, 0, 1, 3), SubscriptFault);
    EXPECT_THROW(a.redim(1, 3, 1, 0), SubscriptFault);
}

TEST(Int16, ArithmeticOverflowsAtBothEdges) {
    EXPECT_EQ(add16(32766, 1), 32767);
    EXPECT_EQ(add16(-32767, -1), -32768);
    EXPECT_EQ(sub16(-32767, 1), -32768);
    EXPECT_EQ(mul16(181, 181), 32761);
    EXPECT_EQ(mul16(-128, 256), -32768);
    EXPECT_THROW(add16(32767, 1), OverflowFault);
    EXPECT_THROW(add16(-32768, -1), OverflowFault);
    EXPECT_THROW(sub16(-32768, 1), OverflowFault);
    EXPECT_THROW(sub16(0, -32768), OverflowFault);
    EXPECT_THROW(mul16(182, 181), OverflowFault);
    EXPECT_THROW(mul16(-32768, -1), OverflowFault);
    EXPECT_THROW(mul16(128, 256), OverflowFault);
}
