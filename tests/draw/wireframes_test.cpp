// Wireframes from discs, rings, bars, empty and full bitmaps at several
// grids and point limits, against a plain generator written here (every
// sample of each step, the first step whose points fit); the points lie on
// the shapes' edges within one step; transforms against the matrix
// formulas; the lists' failures, each leaving nothing behind.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "rx_test_support.h"

namespace {

using Alpha = std::function<uint8_t(int32_t x, int32_t y)>;

struct Books {
  int64_t bytes = RXHost_LiveBytes();
  int64_t blocks = RXHost_LiveBlocks();
  bool unchanged() const { return RXHost_LiveBytes() == bytes && RXHost_LiveBlocks() == blocks; }
};

struct FailNth {
  explicit FailNth(int32_t n) { RXHost_FailNthAllocation(n); }
  ~FailNth() { RXHost_FailNthAllocation(0); }
};

// A 32-bit bitmap whose alpha is given; the colours are junk, so that a
// generator reading another channel is caught. bgra puts alpha last.
ZW_World make_bitmap(int16_t width, int16_t height, const Alpha& alpha, bool bgra = false) {
  const GE_Rect bounds{0, 0, height, width};
  ZW_World image = nullptr;
  EXPECT_EQ(ZW_NewWorld(0, 0, &bounds, 32, 0, 0, &image), KO_Err_None);
  if (bgra) ZW_SetChannelOrder(image, 1);
  for (int32_t y = 0; y < height; ++y) {
    auto* row = static_cast<uint8_t*>((*image)->pixels) + intptr_t{y} * (*image)->row_bytes;
    for (int32_t x = 0; x < width; ++x) {
      const uint8_t a = alpha(x, y);
      const uint8_t junk = uint8_t(255 - a);
      const uint8_t argb[4] = {a, junk, uint8_t(x * 13), junk};
      const uint8_t bgra_bytes[4] = {junk, uint8_t(x * 13), junk, a};
      std::memcpy(row + 4 * x, bgra ? bgra_bytes : argb, 4);
    }
  }
  return image;
}

Alpha disc(double cx, double cy, double r) {
  return [=](int32_t x, int32_t y) { return uint8_t(std::hypot(x - cx, y - cy) < r ? 255 : 0); };
}
Alpha ring(double cx, double cy, double r_in, double r_out) {
  return [=](int32_t x, int32_t y) {
    const double d = std::hypot(x - cx, y - cy);
    return uint8_t(d >= r_in && d < r_out ? 200 : 10);
  };
}
Alpha bar(int32_t left, int32_t right) {
  return [=](int32_t x, int32_t) { return uint8_t(x >= left && x < right ? 128 : 127); };
}
Alpha constant(uint8_t a) {
  return [=](int32_t, int32_t) { return a; };
}

// The plain generator: at each step from grid up, every sample whose
// neighbours' alpha top bits differ; the first step whose points fit, or
// finds none. Corners first.
struct Reference {
  std::vector<GE_LPoint> points;
  int32_t step;
};

Reference reference(const Alpha& alpha, GE_LRect r, int32_t grid, int32_t max_points, bool corners) {
  std::vector<GE_LPoint> head;
  if (corners) head = {{r.left, r.top}, {r.right - 1, r.top}, {r.right - 1, r.bottom - 1}, {r.left, r.bottom - 1}};
  auto top_bit = [&](int32_t x, int32_t y) { return alpha(x, y) >= 128; };
  for (int32_t step = grid;; ++step) {
    const int32_t grown = step - grid;
    const int32_t margin = step, right = r.right - grown, bottom = r.bottom - grown;
    const int32_t half = std::max(step / 2, 1), rest = std::max(step - half, 1);
    std::vector<GE_LPoint> samples;
    for (int32_t y = r.top + margin; y < bottom - margin; y += step) {
      for (int32_t x = r.left + margin; x < right - margin; x += step) {
        if (top_bit(x - half, y) != top_bit(x + rest, y) || top_bit(x, y - half) != top_bit(x, y + rest)) {
          samples.push_back({x, y});
        }
      }
    }
    if (samples.empty() || int64_t(head.size() + samples.size()) <= max_points) {
      Reference out{head, step};
      out.points.insert(out.points.end(), samples.begin(), samples.end());
      return out;
    }
  }
}

std::vector<GE_LPoint> points_of(const RX_Wireframe& w) {
  std::vector<GE_LPoint> out;
  for (int32_t i = 0; i < SEQ_Count(w.points); ++i) out.push_back(*static_cast<GE_LPoint*>(SEQ_GetAddress(w.points, i)));
  return out;
}

void expect_points(const std::vector<GE_LPoint>& got, const std::vector<GE_LPoint>& want, const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_TRUE(got[i].x == want[i].x && got[i].y == want[i].y)
        << what << " point " << i << ": " << got[i].x << ", " << got[i].y << " wanted " << want[i].x << ", " << want[i].y;
  }
}

struct Shape {
  const char* name;
  Alpha alpha;
  // Distance of a point from the shape's edge, for the shapes that have one.
  std::function<double(int32_t, int32_t)> edge_distance;
};

TEST(GenerateWireframe, ShapesAtSeveralGridsAndLimitsMatchThePlainGenerator) {
  const int16_t w = 64, h = 48;
  const Shape shapes[] = {
      {"disc", disc(30.5, 22.5, 15.0), [](int32_t x, int32_t y) { return std::fabs(std::hypot(x - 30.5, y - 22.5) - 15.0); }},
      {"ring", ring(32.0, 24.0, 8.0, 18.0),
       [](int32_t x, int32_t y) {
         const double d = std::hypot(x - 32.0, y - 24.0);
         return std::min(std::fabs(d - 8.0), std::fabs(d - 18.0));
       }},
      {"bar", bar(20, 37), [](int32_t x, int32_t) { return std::min(std::fabs(x - 19.5), std::fabs(x - 36.5)); }},
      {"empty", constant(0), nullptr},
      {"full", constant(255), nullptr},
  };
  for (const Shape& shape : shapes) {
    ZW_World image = make_bitmap(w, h, shape.alpha);
    for (int32_t grid : {1, 2, 3, 4, 7, 16}) {
      for (int32_t max_points : {0, 1, 5, 20, 60, 100000}) {
        for (bool corners : {false, true}) {
          const std::string what = std::string(shape.name) + " grid " + std::to_string(grid) + " max " +
                                   std::to_string(max_points) + (corners ? " corners" : "");
          RX_Wireframe wf;
          ASSERT_EQ(RX_GenerateWireframe(nullptr, image, grid, max_points, corners ? RX_Wireframe_Corners : 0,
                                         nullptr, &wf),
                    RX_Result_OK)
              << what;
          const Reference ref = reference(shape.alpha, {0, 0, w, h}, grid, max_points, corners);
          expect_points(points_of(wf), ref.points, what);
          EXPECT_EQ(wf.point_count, ref.points.size()) << what;
          EXPECT_EQ(wf.flags, RX_Wireframe_Finished) << what;
          EXPECT_EQ(wf.reserved, 0u);
          for (const auto& extra : wf.extra) EXPECT_EQ(extra.list, nullptr);
          // The sampled points lie on the shape's edge within one step.
          for (size_t i = corners ? 4 : 0; i < ref.points.size(); ++i) {
            ASSERT_TRUE(shape.edge_distance) << what << ": an edge point on a shape without edges";
            EXPECT_LE(shape.edge_distance(ref.points[i].x, ref.points[i].y), ref.step + 1.0) << what;
          }
          if (max_points >= 100000) EXPECT_EQ(ref.step, grid) << what;  // nothing to thin
          EXPECT_EQ(RX_DisposeWireframe(&wf), RX_Result_OK);
          if (HasFailure()) break;
        }
      }
    }
    ZW_DisposeWorld(image);
  }
}

TEST(GenerateWireframe, EdgesAreFoundAllRoundTheDiscAtTheFinestGrid) {
  ZW_World image = make_bitmap(40, 40, disc(20.0, 20.0, 12.0));
  RX_Wireframe wf;
  ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 2, 100000, 0, nullptr, &wf), RX_Result_OK);
  // Points in all four quadrants, and every one within a step of the rim.
  int quadrants[4] = {};
  for (const GE_LPoint& p : points_of(wf)) {
    EXPECT_LE(std::fabs(std::hypot(p.x - 20.0, p.y - 20.0) - 12.0), 3.0);
    ++quadrants[(p.x >= 20) + 2 * (p.y >= 20)];
  }
  for (int q : quadrants) EXPECT_GT(q, 3);
  RX_DisposeWireframe(&wf);
  ZW_DisposeWorld(image);
}

TEST(GenerateWireframe, AlphaAllOnOneSideOfTheMiddleGivesOnlyTheCorners) {
  std::mt19937 rng(2504);
  for (bool upper : {false, true}) {
    std::vector<uint8_t> alphas(30 * 20);
    std::uniform_int_distribution<int> a(upper ? 128 : 0, upper ? 255 : 127);
    for (auto& v : alphas) v = uint8_t(a(rng));
    ZW_World image = make_bitmap(30, 20, [&](int32_t x, int32_t y) { return alphas[size_t(y) * 30 + x]; });
    RX_Wireframe wf;
    ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 1, 1000, RX_Wireframe_Corners, nullptr, &wf), RX_Result_OK);
    expect_points(points_of(wf), {{0, 0}, {29, 0}, {29, 19}, {0, 19}}, upper ? "upper" : "lower");
    EXPECT_EQ(wf.point_count, 4u);
    RX_DisposeWireframe(&wf);
    ZW_DisposeWorld(image);
  }
}

TEST(GenerateWireframe, LimitsOfZeroOrOneGrowTheStepUntilNothingIsSampled) {
  ZW_World image = make_bitmap(50, 50, disc(25, 25, 10));
  for (int32_t max_points : {0, 1, -3}) {
    RX_Wireframe wf;
    ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 2, max_points, 0, nullptr, &wf), RX_Result_OK);
    EXPECT_EQ(wf.point_count, 0u);
    EXPECT_EQ(SEQ_Count(wf.points), 0);
    EXPECT_EQ(wf.flags, RX_Wireframe_Finished);
    RX_DisposeWireframe(&wf);
    ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 2, max_points, RX_Wireframe_Corners, nullptr, &wf), RX_Result_OK);
    EXPECT_EQ(wf.point_count, 4u);  // the corners stay, even above the limit
    RX_DisposeWireframe(&wf);
  }
  ZW_DisposeWorld(image);
}

TEST(GenerateWireframe, ARectangleLimitsSamplingAndGivesTheCorners) {
  const Alpha shape = disc(30, 20, 12);
  ZW_World image = make_bitmap(60, 40, shape);
  const GE_LRect rect{25, 5, 58, 30};
  RX_Wireframe wf;
  ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 3, 1000, RX_Wireframe_Corners, &rect, &wf), RX_Result_OK);
  const Reference ref = reference(shape, rect, 3, 1000, true);
  expect_points(points_of(wf), ref.points, "rect");
  EXPECT_GT(ref.points.size(), 8u);
  for (const GE_LPoint& p : ref.points) {
    EXPECT_GE(p.x, 25);
    EXPECT_LT(p.x, 58);
    EXPECT_GE(p.y, 5);
    EXPECT_LT(p.y, 30);
  }
  RX_DisposeWireframe(&wf);
  // A rectangle over the bitmap's edges is cut to it.
  const GE_LRect over{-10, -10, 100, 100};
  ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 3, 1000, RX_Wireframe_Corners, &over, &wf), RX_Result_OK);
  expect_points(points_of(wf), reference(shape, {0, 0, 60, 40}, 3, 1000, true).points, "over");
  RX_DisposeWireframe(&wf);
  ZW_DisposeWorld(image);
}

TEST(GenerateWireframe, BgraBitmapsAreReadAtTheirAlpha) {
  const Alpha shape = ring(20, 20, 6, 14);
  ZW_World argb = make_bitmap(40, 40, shape), bgra = make_bitmap(40, 40, shape, true);
  RX_Wireframe a, b;
  ASSERT_EQ(RX_GenerateWireframe(nullptr, argb, 2, 1000, 0, nullptr, &a), RX_Result_OK);
  ASSERT_EQ(RX_GenerateWireframe(nullptr, bgra, 2, 1000, 0, nullptr, &b), RX_Result_OK);
  expect_points(points_of(b), points_of(a), "bgra");
  EXPECT_GT(a.point_count, 10u);
  RX_DisposeWireframe(&a);
  RX_DisposeWireframe(&b);
  ZW_DisposeWorld(argb);
  ZW_DisposeWorld(bgra);
}

TEST(GenerateWireframe, TheBitmapIsUnlockedAfterwardsAndTheListCompacted) {
  ZW_World image = make_bitmap(32, 32, disc(16, 16, 9));
  const Books before;
  RX_Wireframe wf;
  ASSERT_EQ(RX_GenerateWireframe(nullptr, image, 2, 1000, 0, nullptr, &wf), RX_Result_OK);
  EXPECT_EQ((*image)->lock_count, 0);
  EXPECT_EQ((*image)->base_address, nullptr);
  // The list's room is its count: the bytes alive are the record and the points.
  const int64_t points_bytes = int64_t{wf.point_count} * int64_t(sizeof(GE_LPoint));
  EXPECT_LT(RXHost_LiveBytes() - before.bytes, points_bytes + 128);
  EXPECT_GE(RXHost_LiveBytes() - before.bytes, points_bytes);
  RX_DisposeWireframe(&wf);
  EXPECT_TRUE(before.unchanged());
  ZW_DisposeWorld(image);
}

TEST(GenerateWireframe, BadParametersAreReported) {
  rxtest::ReportCapture reports;
  ZW_World image = make_bitmap(8, 8, constant(0));
  const GE_Rect bounds{0, 0, 8, 8};
  ZW_World deep = nullptr;
  ASSERT_EQ(ZW_NewWorld(0, 0, &bounds, 64, 0, 0, &deep), KO_Err_None);
  ZW_Bitmap* no_record = nullptr;
  RX_Wireframe wf;
  EXPECT_EQ(RX_GenerateWireframe(nullptr, nullptr, 2, 10, 0, nullptr, &wf), RX_Result_Internal);
  EXPECT_EQ(RX_GenerateWireframe(nullptr, &no_record, 2, 10, 0, nullptr, &wf), RX_Result_Internal);
  EXPECT_EQ(RX_GenerateWireframe(nullptr, image, 0, 10, 0, nullptr, &wf), RX_Result_Internal);
  EXPECT_EQ(RX_GenerateWireframe(nullptr, image, 2, 10, 0, nullptr, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_GenerateWireframe(nullptr, deep, 2, 10, 0, nullptr, &wf), RX_Result_Internal);
  ASSERT_EQ(reports.size(), 5u);
  for (const auto& r : reports.reports()) {
    EXPECT_EQ(r.location, 0x25000C);
    EXPECT_EQ(r.text, "bad parameter passed to effect callback");
  }
  ZW_DisposeWorld(image);
  ZW_DisposeWorld(deep);
}

TEST(GenerateWireframe, AllocationFailureLeavesNothingBehind) {
  ZW_World image = make_bitmap(32, 32, disc(16, 16, 9));
  for (int32_t n : {1, 2}) {
    const Books before;
    RX_Wireframe wf;
    std::memset(&wf, 0x77, sizeof wf);
    {
      FailNth fail(n);
      EXPECT_EQ(RX_GenerateWireframe(nullptr, image, 2, 1000, RX_Wireframe_Corners, nullptr, &wf),
                RX_Result_OutOfMemory)
          << n;
    }
    EXPECT_EQ(wf.points, nullptr);
    EXPECT_EQ(wf.point_count, 0u);
    EXPECT_EQ(wf.flags, 0u);
    EXPECT_EQ((*image)->lock_count, 0);
    EXPECT_TRUE(before.unchanged()) << n;
  }
  ZW_DisposeWorld(image);
}

TEST(AllocWireframe, GivesAListOfZeroPointsOfTheCount) {
  const Books before;
  RX_Wireframe wf;
  ASSERT_EQ(RX_AllocWireframe(37, 0x55, &wf), RX_Result_OK);
  EXPECT_EQ(wf.point_count, 37u);
  EXPECT_EQ(wf.flags, 0x55u);
  ASSERT_EQ(SEQ_Count(wf.points), 37);
  for (const GE_LPoint& p : points_of(wf)) EXPECT_TRUE(p.x == 0 && p.y == 0);
  EXPECT_EQ(RX_DisposeWireframe(&wf), RX_Result_OK);
  EXPECT_EQ(wf.points, nullptr);
  EXPECT_TRUE(before.unchanged());
  ASSERT_EQ(RX_AllocWireframe(0, 0, &wf), RX_Result_OK);
  EXPECT_EQ(SEQ_Count(wf.points), 0);
  RX_DisposeWireframe(&wf);
  EXPECT_TRUE(before.unchanged());
}

TEST(AllocWireframe, FailuresLeaveTheRecordClearAndNothingBehind) {
  for (int32_t n : {1, 2}) {
    const Books before;
    RX_Wireframe wf;
    std::memset(&wf, 0x77, sizeof wf);
    {
      FailNth fail(n);
      EXPECT_EQ(RX_AllocWireframe(10, 1, &wf), RX_Result_OutOfMemory) << n;
    }
    EXPECT_EQ(wf.points, nullptr);
    EXPECT_EQ(wf.point_count, 0u);
    EXPECT_TRUE(before.unchanged()) << n;
  }
  rxtest::ReportCapture reports;
  EXPECT_EQ(RX_AllocWireframe(1, 0, nullptr), RX_Result_Internal);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports.last().location, 0x25000C);
  RX_Wireframe wf;
  EXPECT_EQ(RX_AllocWireframe(0x80000000u, 0, &wf), RX_Result_OutOfMemory);
  EXPECT_EQ(wf.points, nullptr);
}

TEST(DisposeWireframe, DisposesTheOtherListsAndClears) {
  const Books before;
  RX_Wireframe wf;
  ASSERT_EQ(RX_AllocWireframe(3, 1, &wf), RX_Result_OK);
  ASSERT_EQ(SEQ_New(0, 4, 2, 2, &wf.extra[0].list), KO_Err_None);
  ASSERT_EQ(SEQ_New(0, 4, 2, 2, &wf.extra[2].list), KO_Err_None);
  wf.extra[1].reserved = 9;
  EXPECT_EQ(RX_DisposeWireframe(&wf), RX_Result_OK);
  EXPECT_TRUE(before.unchanged());
  const RX_Wireframe zero{};
  EXPECT_EQ(std::memcmp(&wf, &zero, sizeof wf), 0);
  EXPECT_EQ(RX_DisposeWireframe(&wf), RX_Result_OK);  // all null: nothing to do
  EXPECT_EQ(RX_DisposeWireframe(nullptr), RX_Result_OK);
}

// The matrix formulas, written plainly: column vectors, divided by w,
// rounded half away from zero.
GE_LPoint map2(const GE_Matrix3& m, GE_LPoint p) {
  const double w = m.m[2][0] * p.x + m.m[2][1] * p.y + m.m[2][2];
  const double x = (m.m[0][0] * p.x + m.m[0][1] * p.y + m.m[0][2]) / w;
  const double y = (m.m[1][0] * p.x + m.m[1][1] * p.y + m.m[1][2]) / w;
  return {int32_t(std::round(x)), int32_t(std::round(y))};
}
GE_LPoint map3(const GE_Matrix4& m, GE_LPoint p) {
  const double w = m.m[3][0] * p.x + m.m[3][1] * p.y + m.m[3][3];
  const double x = (m.m[0][0] * p.x + m.m[0][1] * p.y + m.m[0][3]) / w;
  const double y = (m.m[1][0] * p.x + m.m[1][1] * p.y + m.m[1][3]) / w;
  return {int32_t(std::round(x)), int32_t(std::round(y))};
}

class TransformWireframe : public ::testing::Test {
 protected:
  void SetUp() override {
    image_ = make_bitmap(64, 64, ring(32, 32, 10, 24));
    ASSERT_EQ(RX_GenerateWireframe(nullptr, image_, 2, 10000, RX_Wireframe_Corners, nullptr, &src_), RX_Result_OK);
    ASSERT_GT(src_.point_count, 20u);
  }
  void TearDown() override {
    RX_DisposeWireframe(&src_);
    ZW_DisposeWorld(image_);
  }
  ZW_World image_ = nullptr;
  RX_Wireframe src_{};
};

TEST_F(TransformWireframe, TwoDimensionalMatchesTheMatrixIntoANewWireframe) {
  std::mt19937 rng(2505);
  std::uniform_real_distribution<double> u(-2.0, 2.0), t(-50.0, 50.0), p(-0.004, 0.004);
  for (int i = 0; i < 20; ++i) {
    GE_Matrix3 m{{{u(rng), u(rng), t(rng)}, {u(rng), u(rng), t(rng)}, {i % 2 ? p(rng) : 0.0, i % 2 ? p(rng) : 0.0, 1.0}}};
    RX_Wireframe out;
    ASSERT_EQ(RX_TransformWireframe2D(nullptr, &src_, nullptr, &m, nullptr, &out), RX_Result_OK);
    EXPECT_EQ(out.point_count, src_.point_count);
    EXPECT_EQ(out.flags, src_.flags);
    std::vector<GE_LPoint> want;
    for (const GE_LPoint& q : points_of(src_)) want.push_back(map2(m, q));
    expect_points(points_of(out), want, "2d " + std::to_string(i));
    RX_DisposeWireframe(&out);
  }
}

TEST_F(TransformWireframe, ThreeDimensionalMatchesTheMatrixIntoAGivenWireframe) {
  std::mt19937 rng(2506);
  std::uniform_real_distribution<double> u(-2.0, 2.0), t(-50.0, 50.0), p(-0.004, 0.004);
  RX_Wireframe dst;
  ASSERT_EQ(RX_AllocWireframe(src_.point_count, 0, &dst), RX_Result_OK);
  for (int i = 0; i < 20; ++i) {
    GE_Matrix4 m{{{u(rng), u(rng), u(rng), t(rng)},
                  {u(rng), u(rng), u(rng), t(rng)},
                  {u(rng), u(rng), u(rng), t(rng)},
                  {p(rng), p(rng), u(rng), 1.0}}};
    RX_Wireframe untouched{};
    ASSERT_EQ(RX_TransformWireframe3D(nullptr, &src_, nullptr, &m, &dst, &untouched), RX_Result_OK);
    EXPECT_EQ(untouched.points, nullptr);  // out is for a new wireframe only
    std::vector<GE_LPoint> want;
    for (const GE_LPoint& q : points_of(src_)) want.push_back(map3(m, q));
    expect_points(points_of(dst), want, "3d " + std::to_string(i));
  }
  RX_DisposeWireframe(&dst);
}

TEST_F(TransformWireframe, BothListsAreUnlockedAfterwards) {
  RX_Wireframe out;
  GE_Matrix3 identity{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  ASSERT_EQ(RX_TransformWireframe2D(nullptr, &src_, nullptr, &identity, nullptr, &out), RX_Result_OK);
  expect_points(points_of(out), points_of(src_), "identity");
  EXPECT_EQ(SEQ_Unlock(src_.points), KO_Err_Internal);  // not locked
  EXPECT_EQ(SEQ_Unlock(out.points), KO_Err_Internal);
  RX_DisposeWireframe(&out);
}

TEST_F(TransformWireframe, ADestinationOfAnotherCountIsRefusedUntouched) {
  rxtest::ReportCapture reports;
  RX_Wireframe dst;
  ASSERT_EQ(RX_AllocWireframe(src_.point_count - 1, 0, &dst), RX_Result_OK);
  GE_Matrix3 m{{{1, 0, 5}, {0, 1, 5}, {0, 0, 1}}};
  GE_Matrix4 m4{{{1, 0, 0, 5}, {0, 1, 0, 5}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  EXPECT_EQ(RX_TransformWireframe2D(nullptr, &src_, nullptr, &m, &dst, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_TransformWireframe3D(nullptr, &src_, nullptr, &m4, &dst, nullptr), RX_Result_Internal);
  ASSERT_EQ(reports.size(), 2u);
  for (const auto& r : reports.reports()) {
    EXPECT_EQ(r.location, 0x250034);
    EXPECT_EQ(r.text, "bad parameter passed to effect callback");
    EXPECT_EQ(r.report_class, 8);
  }
  for (const GE_LPoint& p : points_of(dst)) EXPECT_TRUE(p.x == 0 && p.y == 0);
  RX_DisposeWireframe(&dst);
}

TEST_F(TransformWireframe, MissingArgumentsAreBadParameters) {
  rxtest::ReportCapture reports;
  GE_Matrix3 m{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  RX_Wireframe out;
  EXPECT_EQ(RX_TransformWireframe2D(nullptr, nullptr, nullptr, &m, nullptr, &out), RX_Result_Internal);
  EXPECT_EQ(RX_TransformWireframe2D(nullptr, &src_, nullptr, nullptr, nullptr, &out), RX_Result_Internal);
  EXPECT_EQ(RX_TransformWireframe2D(nullptr, &src_, nullptr, &m, nullptr, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_TransformWireframe3D(nullptr, &src_, nullptr, nullptr, nullptr, &out), RX_Result_Internal);
  ASSERT_EQ(reports.size(), 4u);
  for (const auto& r : reports.reports()) EXPECT_EQ(r.location, 0x25000C);
}

TEST_F(TransformWireframe, AllocationFailureOfTheNewListLeavesNothingBehind) {
  GE_Matrix3 m{{{1, 0, 3}, {0, 1, 3}, {0, 0, 1}}};
  GE_Matrix4 m4{{{1, 0, 0, 3}, {0, 1, 0, 3}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  for (int32_t n : {1, 2}) {
    for (bool three_d : {false, true}) {
      const Books before;
      RX_Wireframe out;
      std::memset(&out, 0x77, sizeof out);
      {
        FailNth fail(n);
        const RX_Err err = three_d ? RX_TransformWireframe3D(nullptr, &src_, nullptr, &m4, nullptr, &out)
                                   : RX_TransformWireframe2D(nullptr, &src_, nullptr, &m, nullptr, &out);
        EXPECT_EQ(err, RX_Result_OutOfMemory) << n;
      }
      EXPECT_EQ(out.points, nullptr);
      EXPECT_TRUE(before.unchanged()) << n;
      EXPECT_EQ(SEQ_Unlock(src_.points), KO_Err_Internal);  // never left locked
    }
  }
}

TEST(TransformWireframeLists, AClearedSourceGivesTheListCode) {
  RX_Wireframe empty{};
  RX_Wireframe out;
  GE_Matrix3 m{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  const Books before;
  EXPECT_EQ(RX_TransformWireframe2D(nullptr, &empty, nullptr, &m, nullptr, &out), KO_Err_Internal);
  EXPECT_EQ(out.points, nullptr);  // the new wireframe went again
  EXPECT_TRUE(before.unchanged());
}

}  // namespace
