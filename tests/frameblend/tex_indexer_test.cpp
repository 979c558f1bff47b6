#include <gtest/gtest.h>

#include <algorithm>

#include "frameblend/maps/tex_indexer.h"

namespace {

using namespace RX_Engine;

// The rules written plainly: the region [first, first + c) repeated,
// reflected or held beyond its ends.
int32_t reference_cell(int32_t mode, int32_t first, int32_t c, int32_t p) {
  const int32_t d = p - first;
  switch (mode) {
    case kBorderClamp:
      return first + std::clamp(d, 0, c - 1);
    case kBorderMirror: {
      // Unfold: a period of 2c runs the region forward, then backward.
      const int32_t m = ((d % (2 * c)) + 2 * c) % (2 * c);
      return first + (m < c ? m : 2 * c - 1 - m);
    }
    case kBorderWrap:
      return first + ((d % c) + c) % c;
    default:
      return d >= 0 && d < c ? p : kNoCell;
  }
}

FnTexAxis axis_of(int32_t size, int32_t first, int32_t last, int32_t mode) {
  FnTexIndexer indexer;
  indexer.setSize(size, 1);
  indexer.setRegion(first, last, 0, 0);
  indexer.setBorderModes(mode, mode);
  return indexer.xAxis();
}

TEST(BorderRules, EveryRuleMatchesItsReferenceFarBeyondTheRegion) {
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    for (int32_t size : {1, 2, 3, 5, 8}) {
      for (int32_t first = 0; first < size; ++first) {
        for (int32_t last = first; last < size; ++last) {
          const FnTexAxis axis = axis_of(size, first, last, mode);
          const int32_t c = last - first + 1;
          for (int32_t p = -60; p <= 60; ++p) {
            ASSERT_EQ(FnAxisWrap(axis, p), reference_cell(mode, first, c, p))
                << "mode " << mode << " size " << size << " region " << first << ".." << last
                << " p " << p;
          }
        }
      }
    }
  }
}

TEST(BorderRules, MirrorOnThreeCellsRepeatsTheEdgeCell) {
  const FnTexAxis axis = axis_of(3, 0, 2, kBorderMirror);
  EXPECT_EQ(FnAxisWrap(axis, -1), 0);
  EXPECT_EQ(FnAxisWrap(axis, -3), 2);
  EXPECT_EQ(FnAxisWrap(axis, -4), 2);
  EXPECT_EQ(FnAxisWrap(axis, 3), 2);
}

TEST(BorderRules, WrapOnThreeCells) {
  const FnTexAxis axis = axis_of(3, 0, 2, kBorderWrap);
  EXPECT_EQ(FnAxisWrap(axis, -1), 2);
  EXPECT_EQ(FnAxisWrap(axis, 3), 0);
}

TEST(BorderRules, FarPositionsDoNotOverflow) {
  for (int32_t mode : {kBorderClamp, kBorderMirror, kBorderWrap}) {
    const FnTexAxis axis = axis_of(7, 1, 5, mode);
    for (int32_t p : {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX}) {
      const int32_t cell = FnAxisWrap(axis, p);
      EXPECT_GE(cell, 1);
      EXPECT_LE(cell, 5);
    }
  }
  EXPECT_EQ(FnAxisWrap(axis_of(7, 1, 5, kBorderNone), INT32_MIN), kNoCell);
}

TEST(BorderRules, EmptyAxisGivesNoCell) {
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    const FnTexAxis axis = axis_of(0, 0, 0, mode);
    EXPECT_EQ(axis.count, 0);
    EXPECT_EQ(FnAxisWrap(axis, 0), kNoCell);
    EXPECT_EQ(FnAxisRunAt(axis, 3).cell, kNoCell);
  }
}

TEST(BorderRules, RunsFollowTheRuleForTheirWholeLength) {
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    for (int32_t size : {1, 3, 6}) {
      for (int32_t first = 0; first < size; ++first) {
        for (int32_t last = first; last < size; ++last) {
          const FnTexAxis axis = axis_of(size, first, last, mode);
          const int32_t c = last - first + 1;
          for (int32_t p = -30; p <= 30; ++p) {
            const FnAxisRun run = FnAxisRunAt(axis, p);
            ASSERT_GE(run.length, 1);
            ASSERT_EQ(run.cell, reference_cell(mode, first, c, p));
            const int32_t checked = std::min(run.length, 40);
            for (int32_t k = 0; k < checked; ++k) {
              const int32_t expected = reference_cell(mode, first, c, p + k);
              const int32_t from_run = run.cell == kNoCell ? kNoCell : run.cell + k * run.step;
              ASSERT_EQ(from_run, expected) << "mode " << mode << " p " << p << " k " << k;
            }
          }
        }
      }
    }
  }
}

TEST(BorderRules, NoneLeftOfTheRegionRunsToItsEdge) {
  const FnTexAxis axis = axis_of(10, 4, 7, kBorderNone);
  const FnAxisRun run = FnAxisRunAt(axis, -3);
  EXPECT_EQ(run.cell, kNoCell);
  EXPECT_EQ(run.length, 7);
}

TEST(BorderRules, BilinearPairIsTwoNeighboursAndAdjacentInside) {
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    const FnTexAxis axis = axis_of(9, 2, 6, mode);
    for (int32_t p = -20; p <= 20; ++p) {
      const FnAxisPair pair = FnAxisBilinearPair(axis, p);
      EXPECT_EQ(pair.lower, reference_cell(mode, 2, 5, p));
      EXPECT_EQ(pair.upper, reference_cell(mode, 2, 5, p + 1));
      EXPECT_EQ(pair.adjacent, pair.lower != kNoCell && pair.upper == pair.lower + 1);
      if (p >= 2 && p < 6) {
        EXPECT_TRUE(pair.adjacent);
      }
    }
  }
  const FnAxisPair edge = FnAxisBilinearPair(axis_of(9, 2, 6, kBorderClamp), 6);
  EXPECT_EQ(edge.lower, 6);
  EXPECT_EQ(edge.upper, 6);
  EXPECT_FALSE(edge.adjacent);
}

TEST(TexIndexer, FreshIndexerHasZerosAndLastMinusOne) {
  FnTexIndexer indexer;
  for (const FnTexAxis* axis : {&indexer.xAxis(), &indexer.yAxis()}) {
    EXPECT_EQ(axis->size, 0);
    EXPECT_EQ(axis->floatOrigin, 0.0f);
    EXPECT_EQ(axis->intOrigin, 0);
    EXPECT_EQ(axis->borderMode, 0);
    EXPECT_EQ(axis->first, 0);
    EXPECT_EQ(axis->last, -1);
    EXPECT_EQ(axis->count, 0);
    EXPECT_EQ(axis->windowOrigin, 0);
    EXPECT_EQ(axis->flags, 0u);
  }
}

TEST(TexIndexer, SettingTheSizeTakesTheWholeAxis) {
  FnTexIndexer indexer;
  indexer.setSize(7, 3);
  EXPECT_EQ(indexer.xAxis().first, 0);
  EXPECT_EQ(indexer.xAxis().last, 6);
  EXPECT_EQ(indexer.xAxis().count, 7);
  EXPECT_EQ(indexer.yAxis().count, 3);
}

TEST(TexIndexer, RegionWithLastBelowFirstIsSortedBeforeClipping) {
  FnTexIndexer indexer;
  indexer.setSize(10, 10);
  indexer.setRegion(7, 2, 12, -5);
  EXPECT_EQ(indexer.xAxis().first, 2);
  EXPECT_EQ(indexer.xAxis().last, 7);
  EXPECT_EQ(indexer.xAxis().count, 6);
  EXPECT_EQ(indexer.yAxis().first, 0);
  EXPECT_EQ(indexer.yAxis().last, 9);
}

TEST(TexIndexer, FloatOriginGivesTheRoundedIntegerOrigin) {
  FnTexIndexer indexer;
  indexer.setFloatOrigin(1.5f, -2.5f);
  EXPECT_EQ(indexer.xAxis().intOrigin, 2);
  EXPECT_EQ(indexer.yAxis().intOrigin, -2);
  indexer.setFloatOrigin(0.49f, -0.51f);
  EXPECT_EQ(indexer.xAxis().intOrigin, 0);
  EXPECT_EQ(indexer.yAxis().intOrigin, -1);
  indexer.setIntOrigin(3, -4);
  EXPECT_EQ(indexer.xAxis().floatOrigin, 3.0f);
  EXPECT_EQ(indexer.yAxis().floatOrigin, -4.0f);
}

}  // namespace
