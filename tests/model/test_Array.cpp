#include "model/Array.h"

#include <string>

#include <gtest/gtest.h>

#include "model/Faults.h"
#include "model/Int16.h"

using namespace quillane;

// --- Array1 / Array2 bounds ---

TEST(Array1, IndexOutsideEitherEndRaisesSubscriptFault) {
    Array1<double> a("a", 1, 5);
    EXPECT_NO_THROW(a(1));
    EXPECT_NO_THROW(a(5));
    EXPECT_THROW(a(0), SubscriptFault);
    EXPECT_THROW(a(6), SubscriptFault);
    EXPECT_THROW(a(-32768), SubscriptFault);

    const Array1<int16> zeroBased("z", 0, 3);
    EXPECT_NO_THROW(zeroBased(0));
    EXPECT_THROW(zeroBased(-1), SubscriptFault);
    EXPECT_THROW(zeroBased(4), SubscriptFault);
}

TEST(Array1, NeverSizedArrayHasNoIndexAtAll) {
    Array1<double> a("never sized");
    EXPECT_THROW(a(0), SubscriptFault);
    EXPECT_THROW(a(1), SubscriptFault);
    a.redim(0, 0);
    EXPECT_NO_THROW(a(0));
    a.clear();
    EXPECT_THROW(a(0), SubscriptFault);
}

TEST(Array2, IndexOutsideEitherEndOfEitherDimensionRaises) {
    Array2<int16> a("a", 0, 9, 1, 4);
    EXPECT_NO_THROW(a(0, 1));
    EXPECT_NO_THROW(a(9, 4));
    EXPECT_THROW(a(-1, 1), SubscriptFault);
    EXPECT_THROW(a(10, 1), SubscriptFault);
    EXPECT_THROW(a(0, 0), SubscriptFault);
    EXPECT_THROW(a(0, 5), SubscriptFault);
    EXPECT_THROW(a(10, 5), SubscriptFault);
}

TEST(Array2, EveryIndexPairReachesItsOwnElement) {
    // Guards the offset arithmetic with non-zero lower bounds in both dimensions.
    Array2<int> a("a", -2, 3, 1, 4);
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
}

// --- redim ---

TEST(ArrayRedim, UpperBelowLowerRaisesSubscriptFault) {
    Array1<double> a("a");
    EXPECT_THROW(a.redim(1, 0), SubscriptFault);
    EXPECT_NO_THROW(a.redim(0, 0));
    EXPECT_NO_THROW(a.redim(1, 1));

    Array2<double> b("b");
    EXPECT_THROW(b.redim(1, 0, 1, 3), SubscriptFault);
    EXPECT_THROW(b.redim(1, 3, 1, 0), SubscriptFault);
    EXPECT_NO_THROW(b.redim(0, 0, 0, 0));
}

TEST(ArrayRedim, ZeroFillsAndDropsOldContents) {
    Array1<double> a("a", 0, 3);
    a(2) = 7.5;
    a.redim(0, 3);
    EXPECT_EQ(a(2), 0.0);
    a(3) = 1.0;
    a.redim(0, 5); // growing keeps nothing either
    for (int i = 0; i <= 5; ++i) {
        EXPECT_EQ(a(i), 0.0) << i;
    }
    EXPECT_THROW(a(6), SubscriptFault);

    Array2<int16> b("b", 1, 2, 1, 2);
    b(1, 1) = 3;
    b(2, 2) = -3;
    b.redim(1, 3, 1, 3);
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 3; ++j) {
            EXPECT_EQ(b(i, j), 0) << i << "," << j;
        }
    }
}

// --- 16-bit arithmetic ---

TEST(Int16, AdditionOverflowsAtBothEdges) {
    EXPECT_EQ(add16(32766, 1), 32767);
    EXPECT_THROW(add16(32767, 1), OverflowFault);
    EXPECT_EQ(add16(-32767, -1), -32768);
    EXPECT_THROW(add16(-32768, -1), OverflowFault);
    EXPECT_EQ(sub16(-32767, 1), -32768);
    EXPECT_THROW(sub16(-32768, 1), OverflowFault);
    EXPECT_THROW(sub16(0, -32768), OverflowFault);
}

TEST(Int16, MultiplicationOverflowsAtBothEdges) {
    EXPECT_EQ(mul16(181, 181), 32761);
    EXPECT_THROW(mul16(182, 181), OverflowFault);
    EXPECT_EQ(mul16(-32768, 1), -32768);
    EXPECT_THROW(mul16(-32768, -1), OverflowFault);
    EXPECT_EQ(mul16(-128, 256), -32768);
    EXPECT_THROW(mul16(128, 256), OverflowFault);
}

TEST(Int16, CheckedNarrowingNamesTheQuantity) {
    EXPECT_EQ(checked16(32767), 32767);
    EXPECT_EQ(checked16(-32768), -32768);
    try {
        checked16(40401, "the number of nodes");
        FAIL() << "no fault";
    } catch (const OverflowFault& fault) {
        const std::string text = fault.what();
        EXPECT_NE(text.find("the number of nodes"), std::string::npos) << text;
        EXPECT_NE(text.find("40401"), std::string::npos) << text;
        EXPECT_EQ(fault.kind(), FaultKind::Overflow);
    }
}
