#include <gtest/gtest.h>

#include "GE/GE.h"

namespace {

bool same(const GE_LRect& a, const GE_LRect& b) { return GE_EqualLRect(&a, &b) != 0; }

TEST(Rects, EmptyWhenRightOrBottomDoesNotPassLeftOrTop) {
  const GE_LRect full{0, 0, 1, 1}, flat{0, 0, 5, 0}, thin{3, 0, 3, 9}, inverted{5, 5, 1, 1};
  EXPECT_FALSE(GE_EmptyLRect(&full));
  EXPECT_TRUE(GE_EmptyLRect(&flat));
  EXPECT_TRUE(GE_EmptyLRect(&thin));
  EXPECT_TRUE(GE_EmptyLRect(&inverted));
}

TEST(Rects, IntersectionOfOverlappingRects) {
  const GE_LRect a{0, 0, 10, 10}, b{5, -3, 20, 7};
  GE_LRect out{};
  EXPECT_TRUE(GE_SectLRect(&a, &b, &out));
  EXPECT_TRUE(same(out, GE_LRect{5, 0, 10, 7}));
}

TEST(Rects, IntersectionOfDisjointOrTouchingRectsIsEmpty) {
  const GE_LRect a{0, 0, 10, 10}, touching{10, 0, 20, 10}, far{50, 50, 60, 60};
  GE_LRect out{1, 2, 3, 4};
  EXPECT_FALSE(GE_SectLRect(&a, &touching, &out));
  EXPECT_TRUE(GE_EmptyLRect(&out));
  EXPECT_FALSE(GE_SectLRect(&a, &far, &out));
  EXPECT_TRUE(GE_EmptyLRect(&out));
}

TEST(Rects, IntersectionMayWriteOverAnOperand) {
  GE_LRect a{0, 0, 10, 10};
  const GE_LRect b{2, 3, 4, 5};
  EXPECT_TRUE(GE_SectLRect(&a, &b, &a));
  EXPECT_TRUE(same(a, b));
}

TEST(Rects, UnionHoldsBoth) {
  const GE_LRect a{0, 0, 2, 2}, b{5, -1, 6, 1};
  GE_LRect out{};
  GE_UnionLRect(&a, &b, &out);
  EXPECT_TRUE(same(out, GE_LRect{0, -1, 6, 2}));
}

TEST(Rects, UnionIgnoresAnEmptyOperand) {
  const GE_LRect a{3, 3, 4, 4}, empty{-100, -100, -100, 100};
  GE_LRect out{};
  GE_UnionLRect(&a, &empty, &out);
  EXPECT_TRUE(same(out, a));
  GE_UnionLRect(&empty, &a, &out);
  EXPECT_TRUE(same(out, a));
  GE_UnionLRect(&empty, &empty, &out);
  EXPECT_TRUE(GE_EmptyLRect(&out));
}

TEST(Rects, OffsetMovesAllEdges) {
  GE_LRect r{1, 2, 3, 4};
  GE_OffsetLRect(&r, 10, -20);
  EXPECT_TRUE(same(r, GE_LRect{11, -18, 13, -16}));
}

TEST(Rects, InsetShrinksAndNegativeInsetGrows) {
  GE_LRect r{0, 0, 10, 10};
  GE_InsetLRect(&r, 2, 3);
  EXPECT_TRUE(same(r, GE_LRect{2, 3, 8, 7}));
  GE_InsetLRect(&r, -2, -3);
  EXPECT_TRUE(same(r, GE_LRect{0, 0, 10, 10}));
}

TEST(Rects, EqualComparesEveryField) {
  const GE_LRect a{1, 2, 3, 4};
  for (int field = 0; field < 4; ++field) {
    GE_LRect b = a;
    (&b.left)[field] += 1;
    EXPECT_FALSE(GE_EqualLRect(&a, &b)) << field;
  }
}

TEST(Rects, PointInsideIsHalfOpen) {
  const GE_LRect r{0, 0, 2, 2};
  const GE_LPoint inside{1, 1}, corner{0, 0}, right{2, 0}, below{0, 2}, left{-1, 1};
  EXPECT_TRUE(GE_PtInLRect(&inside, &r));
  EXPECT_TRUE(GE_PtInLRect(&corner, &r));
  EXPECT_FALSE(GE_PtInLRect(&right, &r));
  EXPECT_FALSE(GE_PtInLRect(&below, &r));
  EXPECT_FALSE(GE_PtInLRect(&left, &r));
}

TEST(Rects, ConversionGoesFieldForFieldByName) {
  const GE_LRect l{1, 2, 3, 4};
  GE_Rect s{};
  GE_LRectToRect(&l, &s);
  EXPECT_EQ(s.left, 1);
  EXPECT_EQ(s.top, 2);
  EXPECT_EQ(s.right, 3);
  EXPECT_EQ(s.bottom, 4);
  GE_LRect back{};
  GE_RectToLRect(&s, &back);
  EXPECT_TRUE(same(back, l));
}

}  // namespace
