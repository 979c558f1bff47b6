// Plane moves: RX_InsertPlanes and RX_ExtractPlanes between 8-bit pixels
// and one interleaved buffer, every mask, their refusals and allocation
// failure; RX_Deinterleave1 and RX_Interleave1to4 for each value type.
#include <vector>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;
using rxtest::TestWorld;

constexpr int32_t kInsertLocation = 0x250005;
constexpr int32_t kExtractLocation = 0x250006;
const char* const kBadParameterText = "bad parameter passed to effect callback";

// Channel k of an 8-bit pixel: 0 alpha, 1 red, 2 green, 3 blue.
uint8_t channel(const RX_Pixel8& p, int32_t k) {
  const uint8_t all[4] = {p.alpha, p.red, p.green, p.blue};
  return all[k];
}

RX_Pixel8 marker(int32_t x, int32_t y) {
  return {uint8_t(10 + x + 16 * y), uint8_t(60 + x + 16 * y), uint8_t(110 + x + 16 * y),
          uint8_t(160 + x + 16 * y)};
}

void paint(TestWorld<RX_Pixel8>& world) {
  for (int32_t y = 0; y < world.height(); ++y) {
    for (int32_t x = 0; x < world.width(); ++x) world.at(x, y) = marker(x, y);
  }
}

// Channels of a mask in plane order.
std::vector<int32_t> channels_of(int32_t mask) {
  std::vector<int32_t> out;
  for (int32_t k = 0; k < 4; ++k) {
    if (mask & (1 << k)) out.push_back(k);
  }
  return out;
}

// A plane byte that tells where it belongs.
uint8_t plane_byte(int32_t x, int32_t y, int32_t k) { return uint8_t(200 + 7 * x + 3 * y + k); }

class Planes : public rxtest::BornPackage {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    BornPackage::TearDown();
  }
};

// ---- insert ----

TEST_F(Planes, InsertCopiesEachMasksChannelsAndKeepsTheOthers) {
  for (int32_t mask = 0; mask < 16; ++mask) {
    SCOPED_TRACE(mask);
    TestWorld<RX_Pixel8> world(5, 3, 12, 4);
    paint(world);
    const std::vector<int32_t> chans = channels_of(mask);
    const int32_t plane_stride = int32_t(chans.size()) * 5 + 3;  // with spare bytes
    std::vector<uint8_t> buffer(size_t(plane_stride) * 3, 0xEE);
    for (int32_t y = 0; y < 3; ++y) {
      for (int32_t x = 0; x < 5; ++x) {
        for (size_t i = 0; i < chans.size(); ++i) {
          buffer[size_t(y * plane_stride) + x * chans.size() + i] = plane_byte(x, y, chans[i]);
        }
      }
    }
    void* planes[1] = {buffer.data()};
    ReportCapture capture;
    ASSERT_EQ(RX_InsertPlanes(nullptr, planes, plane_stride, mask, world.def()), RX_Result_OK);
    EXPECT_TRUE(capture.errors().empty());
    for (int32_t y = 0; y < 3; ++y) {
      for (int32_t x = 0; x < 5; ++x) {
        for (int32_t k = 0; k < 4; ++k) {
          const uint8_t expected =
              (mask & (1 << k)) ? plane_byte(x, y, k) : channel(marker(x, y), k);
          ASSERT_EQ(channel(world.at(x, y), k), expected) << x << ", " << y << " channel " << k;
        }
      }
    }
  }
}

TEST_F(Planes, InsertWithMaskZeroPassesTheChecksAndChangesNoPixel) {
  TestWorld<RX_Pixel8> world(4, 2);
  paint(world);
  uint8_t byte = 0;
  void* planes[1] = {&byte};
  ReportCapture capture;
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 1, 0, world.def()), RX_Result_OK);
  EXPECT_TRUE(capture.errors().empty());
  for (int32_t y = 0; y < 2; ++y) {
    for (int32_t x = 0; x < 4; ++x) EXPECT_TRUE(rxtest::same_pixel(world.at(x, y), marker(x, y)));
  }
}

TEST_F(Planes, InsertReadsRowsByAnyStrideSign) {
  // Plane rows bottom up: the buffer's first row is the world's last.
  TestWorld<RX_Pixel8> world(3, 2);
  paint(world);
  std::vector<uint8_t> buffer = {1, 2, 3, 4, 5, 6};  // two rows of three alpha bytes
  void* planes[1] = {buffer.data() + 3};
  ASSERT_EQ(RX_InsertPlanes(nullptr, planes, -3, RX_PlaneMask_Alpha, world.def()), RX_Result_OK);
  EXPECT_EQ(world.at(0, 0).alpha, 4);
  EXPECT_EQ(world.at(2, 1).alpha, 3);
}

TEST_F(Planes, InsertIntoAnEmptyWorldDoesNothing) {
  TestWorld<RX_Pixel8> world(3, 2);
  RX_LayerDef flat = *world.def();
  flat.height = 0;
  void* planes[1] = {world.def()->data};
  ReportCapture capture;
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 12, 15, &flat), RX_Result_OK);
  flat.height = 2;
  flat.width = -1;
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 12, 15, &flat), RX_Result_OK);
  EXPECT_TRUE(capture.errors().empty());
}

void expect_bad_parameter(const ReportCapture& capture, size_t count, int32_t where) {
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), count);
  for (const auto& r : reports) {
    EXPECT_EQ(r.kind, RXHost_Report_ErrString);
    EXPECT_EQ(r.report_class, 8);
    EXPECT_EQ(r.location, where);
    EXPECT_EQ(r.text, kBadParameterText);
  }
}

TEST_F(Planes, InsertRefusals) {
  TestWorld<RX_Pixel8> world(3, 2);
  paint(world);
  std::vector<uint8_t> buffer(64, 9);
  void* planes[1] = {buffer.data()};
  void* no_plane[1] = {nullptr};
  RX_LayerDef no_pixels = *world.def();
  no_pixels.data = nullptr;
  ReportCapture capture;
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 12, 16, world.def()), RX_Result_Internal);
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 12, -1, world.def()), RX_Result_Internal);
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 0, 15, world.def()), RX_Result_Internal);
  EXPECT_EQ(RX_InsertPlanes(nullptr, nullptr, 12, 15, world.def()), RX_Result_Internal);
  EXPECT_EQ(RX_InsertPlanes(nullptr, no_plane, 12, 15, world.def()), RX_Result_Internal);
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 12, 15, &no_pixels), RX_Result_Internal);
  EXPECT_EQ(RX_InsertPlanes(nullptr, planes, 12, 15, nullptr), RX_Result_Internal);
  expect_bad_parameter(capture, 7, kInsertLocation);
  for (int32_t y = 0; y < 2; ++y) {
    for (int32_t x = 0; x < 3; ++x) EXPECT_TRUE(rxtest::same_pixel(world.at(x, y), marker(x, y)));
  }
}

// ---- extract ----

TEST_F(Planes, ExtractGivesPackedRowsOfEachMasksChannels) {
  for (int32_t mask = 0; mask < 16; ++mask) {
    SCOPED_TRACE(mask);
    TestWorld<RX_Pixel8> world(6, 4, 8, 12);
    paint(world);
    const std::vector<int32_t> chans = channels_of(mask);
    KO_Handle handle = nullptr;
    int32_t row_stride = -1;
    ASSERT_EQ(RX_ExtractPlanes(nullptr, world.def(), mask, &handle, &row_stride), RX_Result_OK);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(row_stride, int32_t(chans.size()) * 6);
    EXPECT_EQ(KO_GetHandleSize(handle), chans.size() * 6 * 4);
    const auto* bytes = static_cast<const uint8_t*>(*handle);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 6; ++x) {
        for (size_t i = 0; i < chans.size(); ++i) {
          ASSERT_EQ(bytes[size_t(y * row_stride) + x * chans.size() + i],
                    channel(marker(x, y), chans[i]));
        }
      }
    }
    KO_FreeHandle(handle);
  }
}

TEST_F(Planes, ExtractThenInsertRebuildsTheChannels) {
  TestWorld<RX_Pixel8> from(7, 3, 4, 4);
  TestWorld<RX_Pixel8> to(7, 3);
  paint(from);
  const int32_t mask = RX_PlaneMask_Alpha | RX_PlaneMask_Green | RX_PlaneMask_Blue;
  KO_Handle handle = nullptr;
  int32_t row_stride = 0;
  ASSERT_EQ(RX_ExtractPlanes(nullptr, from.def(), mask, &handle, &row_stride), RX_Result_OK);
  // The handle serves as the plane array.
  ASSERT_EQ(RX_InsertPlanes(nullptr, handle, row_stride, mask, to.def()), RX_Result_OK);
  KO_FreeHandle(handle);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 7; ++x) {
      const RX_Pixel8 expected = {marker(x, y).alpha, 0, marker(x, y).green, marker(x, y).blue};
      ASSERT_TRUE(rxtest::same_pixel(to.at(x, y), expected)) << x << ", " << y;
    }
  }
}

TEST_F(Planes, ExtractLabelsItsBufferImagePlaneBuffer) {
  TestWorld<RX_Pixel8> world(5, 2);
  KO_Handle handle = reinterpret_cast<KO_Handle>(&handle);  // must be overwritten
  int32_t row_stride = 77;
  ReportCapture capture;
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_ExtractPlanes(nullptr, world.def(), 3, &handle, &row_stride), RX_Result_OutOfMemory);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(row_stride, 0);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].kind, RXHost_Report_OutOfMemory);
  EXPECT_EQ(reports[0].text, "out of memory for image plane buffer (20 bytes)");
}

TEST_F(Planes, ExtractLeaksNothingWhenAllocationsFail) {
  TestWorld<RX_Pixel8> world(9, 5);
  paint(world);
  const int64_t bytes_before = RXHost_LiveBytes();
  const int64_t blocks_before = RXHost_LiveBlocks();
  for (int32_t n = 1; n <= 3; ++n) {
    KO_Handle handle = nullptr;
    int32_t row_stride = 0;
    ReportCapture capture;
    RXHost_FailNthAllocation(n);
    const RX_Err err = RX_ExtractPlanes(nullptr, world.def(), 15, &handle, &row_stride);
    RXHost_FailNthAllocation(0);
    if (n == 1) {
      EXPECT_EQ(err, RX_Result_OutOfMemory);
      EXPECT_EQ(handle, nullptr);
    } else {
      // The one allocation came before the failure was due.
      EXPECT_EQ(err, RX_Result_OK);
      ASSERT_NE(handle, nullptr);
      EXPECT_EQ(RXHost_LiveBytes(), bytes_before + 9 * 4 * 5 + int64_t(sizeof(void*)));
      KO_FreeHandle(handle);
    }
    EXPECT_EQ(RXHost_LiveBytes(), bytes_before) << n;
    EXPECT_EQ(RXHost_LiveBlocks(), blocks_before) << n;
  }
}

TEST_F(Planes, ExtractOfAnEmptyWorldGivesNoHandle) {
  TestWorld<RX_Pixel8> world(3, 2);
  RX_LayerDef empty = *world.def();
  empty.width = 0;
  KO_Handle handle = reinterpret_cast<KO_Handle>(&handle);
  int32_t row_stride = 5;
  const int64_t bytes_before = RXHost_LiveBytes();
  EXPECT_EQ(RX_ExtractPlanes(nullptr, &empty, 15, &handle, &row_stride), RX_Result_OK);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(row_stride, 0);
  EXPECT_EQ(RXHost_LiveBytes(), bytes_before);
}

TEST_F(Planes, ExtractRefusals) {
  TestWorld<RX_Pixel8> world(3, 2);
  RX_LayerDef no_pixels = *world.def();
  no_pixels.data = nullptr;
  KO_Handle handle = nullptr;
  int32_t row_stride = 0;
  const int64_t bytes_before = RXHost_LiveBytes();
  ReportCapture capture;
  EXPECT_EQ(RX_ExtractPlanes(nullptr, world.def(), 16, &handle, &row_stride), RX_Result_Internal);
  EXPECT_EQ(RX_ExtractPlanes(nullptr, world.def(), -2, &handle, &row_stride), RX_Result_Internal);
  EXPECT_EQ(RX_ExtractPlanes(nullptr, &no_pixels, 15, &handle, &row_stride), RX_Result_Internal);
  EXPECT_EQ(RX_ExtractPlanes(nullptr, nullptr, 15, &handle, &row_stride), RX_Result_Internal);
  EXPECT_EQ(RX_ExtractPlanes(nullptr, world.def(), 15, nullptr, &row_stride), RX_Result_Internal);
  EXPECT_EQ(RX_ExtractPlanes(nullptr, world.def(), 15, &handle, nullptr), RX_Result_Internal);
  expect_bad_parameter(capture, 6, kExtractLocation);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(RXHost_LiveBytes(), bytes_before);
}

// ---- one channel between pixels and a plane ----

template <class V>
struct ValuePixel;
template <>
struct ValuePixel<uint8_t> {
  using type = RX_Pixel8;
};
template <>
struct ValuePixel<uint16_t> {
  using type = RX_Pixel16;
};
template <>
struct ValuePixel<float> {
  using type = RX_PixelFloat;
};

template <class V>
V value_at(int32_t x, int32_t y, int32_t k) {
  return V(1 + x + 10 * y + 60 * k);
}

template <class V>
class OneChannel : public ::testing::Test {};
using ValueTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(OneChannel, ValueTypes);

TYPED_TEST(OneChannel, DeinterleaveCopiesOneChannelBetweenOffsets) {
  using V = TypeParam;
  using Px = typename ValuePixel<V>::type;
  TestWorld<Px> world(8, 6, 12, 4);
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 8; ++x) {
      world.at(x, y) = {value_at<V>(x, y, 0), value_at<V>(x, y, 1), value_at<V>(x, y, 2),
                        value_at<V>(x, y, 3)};
    }
  }
  // A 5 x 3 block of green, read from pixel (2, 1), written at value 1 of
  // row 1 of a plane of 7 values by 4 rows.
  constexpr int32_t kPlaneValues = 7;
  std::vector<V> plane(size_t(kPlaneValues) * 4, V(0));
  const int32_t plane_stride = kPlaneValues * int32_t(sizeof(V));
  RX_Deinterleave1<V>(&world.at(0, 0).green, int32_t(sizeof(Px)), world.def()->row_stride,
                      plane_stride, RX_PlaneSize{5, 3}, GE_LPoint{2, 1}, GE_LPoint{1, 1},
                      plane.data());
  for (int32_t py = 0; py < 4; ++py) {
    for (int32_t px = 0; px < kPlaneValues; ++px) {
      const bool written = px >= 1 && px < 6 && py >= 1 && py < 4;
      const V expected = written ? value_at<V>(px - 1 + 2, py - 1 + 1, 2) : V(0);
      ASSERT_EQ(plane[size_t(py * kPlaneValues + px)], expected) << px << ", " << py;
    }
  }
}

TYPED_TEST(OneChannel, InterleaveScattersAPlaneIntoOneChannel) {
  using V = TypeParam;
  using Px = typename ValuePixel<V>::type;
  TestWorld<Px> world(6, 5, 8, 8);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 6; ++x) world.at(x, y) = {V(1), V(2), V(3), V(4)};
  }
  constexpr int32_t kPlaneValues = 9;
  std::vector<V> plane(size_t(kPlaneValues) * 4);
  for (int32_t py = 0; py < 4; ++py) {
    for (int32_t px = 0; px < kPlaneValues; ++px)
      plane[size_t(py * kPlaneValues + px)] = value_at<V>(px, py, 0);
  }
  // Plane block from (3, 1), 3 x 2, into pixels from (2, 2) of the alpha channel.
  RX_Interleave1to4<V>(plane.data(), kPlaneValues * int32_t(sizeof(V)), world.def()->row_stride,
                       RX_PlaneSize{3, 2}, GE_LPoint{3, 1}, GE_LPoint{2, 2}, &world.at(0, 0).alpha);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 6; ++x) {
      const bool written = x >= 2 && x < 5 && y >= 2 && y < 4;
      const Px expected = {written ? value_at<V>(x - 2 + 3, y - 2 + 1, 0) : V(1), V(2), V(3), V(4)};
      ASSERT_TRUE(rxtest::same_pixel(world.at(x, y), expected)) << x << ", " << y;
    }
  }
}

TYPED_TEST(OneChannel, InterleaveUndoesDeinterleave) {
  using V = TypeParam;
  using Px = typename ValuePixel<V>::type;
  TestWorld<Px> from(5, 4, 4, 4);
  TestWorld<Px> to(5, 4);
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 5; ++x) {
      from.at(x, y) = {value_at<V>(x, y, 0), value_at<V>(x, y, 1), value_at<V>(x, y, 2),
                       value_at<V>(x, y, 3)};
    }
  }
  std::vector<V> plane(20);
  const int32_t plane_stride = 5 * int32_t(sizeof(V));
  for (int32_t k = 0; k < 4; ++k) {
    const V* src = reinterpret_cast<const V*>(&from.at(0, 0)) + k;
    V* dst = reinterpret_cast<V*>(&to.at(0, 0)) + k;
    RX_Deinterleave1<V>(src, int32_t(sizeof(Px)), from.def()->row_stride, plane_stride,
                        RX_PlaneSize{5, 4}, GE_LPoint{0, 0}, GE_LPoint{0, 0}, plane.data());
    RX_Interleave1to4<V>(plane.data(), plane_stride, to.def()->row_stride, RX_PlaneSize{5, 4},
                         GE_LPoint{0, 0}, GE_LPoint{0, 0}, dst);
  }
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 5; ++x) ASSERT_TRUE(rxtest::same_pixel(to.at(x, y), from.at(x, y)));
  }
}

}  // namespace
