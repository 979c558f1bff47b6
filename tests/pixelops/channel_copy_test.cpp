// RX_ChannelCopy between chunks: whole chunks in one block (or row by row
// with the smaller stride), equal rectangles row by row, other rectangles by
// the replication of the draft copy moving whole elements; refusals of null
// chunks, unlocked chunks, other value sizes and other channel counts.
#include <vector>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

constexpr uint32_t fourcc(const char (&s)[5]) {
  return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 |
         uint32_t(uint8_t(s[2])) << 8 | uint32_t(uint8_t(s[3]));
}

// A chunk made by RX_NewChunk, disposed at the end.
class OwnedChunk {
 public:
  OwnedChunk(int32_t width, int32_t height, int32_t channels, uint32_t type) {
    EXPECT_EQ(RX_NewChunk(width, height, channels, type, &chunk), RX_Result_OK);
  }
  ~OwnedChunk() { RX_DisposeChunk(&chunk); }
  OwnedChunk(const OwnedChunk&) = delete;
  OwnedChunk& operator=(const OwnedChunk&) = delete;
  RX_Chunk chunk{};
};

// A chunk record over memory of the test, with a row stride of its own.
struct HandChunk {
  RX_Chunk chunk{};
  std::vector<uint8_t> memory;
  HandChunk(int32_t width, int32_t height, int32_t channels, uint32_t type, int32_t row_stride) {
    memory.assign(size_t(row_stride) * height, 0);
    chunk.width = width;
    chunk.height = height;
    chunk.channels = channels;
    chunk.row_stride = row_stride;
    chunk.type = type;
    chunk.data = memory.data();
  }
};

int32_t element_bytes(const RX_Chunk& c) {
  int16_t size = 0;
  RX_ChunkDataSize(c.type, &size);
  return size * c.channels;
}

uint8_t* element(const RX_Chunk& c, int32_t x, int32_t y) {
  return static_cast<uint8_t*>(c.data) + intptr_t{y} * c.row_stride + x * element_bytes(c);
}

// Every byte of every row (stride included) gets a value of its own.
void paint(RX_Chunk& c, uint8_t seed) {
  auto* bytes = static_cast<uint8_t*>(c.data);
  for (int32_t i = 0; i < c.height * c.row_stride; ++i) bytes[i] = uint8_t(seed + i * 7 + i / 13);
}

std::vector<uint8_t> bytes_of(const RX_Chunk& c) {
  const auto* bytes = static_cast<const uint8_t*>(c.data);
  return {bytes, bytes + size_t(c.height) * c.row_stride};
}

struct Box {
  int32_t l, t, r, b;
  bool operator==(const Box&) const = default;
};

bool normalise(const GE_LRect* rect, int32_t w, int32_t h, Box& box, bool& whole) {
  box = rect ? Box{rect->left, rect->top, rect->right, rect->bottom} : Box{0, 0, w, h};
  whole = box == Box{0, 0, w, h};
  if (whole) return true;
  return !(box.l == box.r || box.t == box.b || box.l >= w || box.t >= h || box.r < 1 || box.b < 1);
}

// The replication of the draft copy over the rectangles as given, each
// source element emitted f / sw times, each row e / sh times, an element
// written only where source and destination positions both lie inside.
// expected holds the destination's bytes.
void replication_reference(const RX_Chunk& src, const RX_Chunk& dst, std::vector<uint8_t>& expected,
                           const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  Box s, d;
  bool s_whole, d_whole;
  if (!normalise(src_rect, src.width, src.height, s, s_whole)) return;
  if (!normalise(dst_rect, dst.width, dst.height, d, d_whole)) return;
  const int32_t sw = s.r - s.l, sh = s.b - s.t, dw = d.r - d.l, dh = d.b - d.t;
  const int32_t size = element_bytes(src);
  int32_t e = 0, dy = d.t;
  for (int32_t sy = s.t; sy < s.b; ++sy) {
    e += dh;
    for (int32_t n = e / sh; n > 0; --n, e -= sh, ++dy) {
      int32_t f = 0, dx = d.l;
      for (int32_t sx = s.l; sx < s.r; ++sx) {
        f += dw;
        for (int32_t m = f / sw; m > 0; --m, f -= sw, ++dx) {
          const bool inside = sx >= 0 && sy >= 0 && sx < src.width && sy < src.height && dx >= 0 &&
                              dy >= 0 && dx < dst.width && dy < dst.height;
          if (inside) {
            std::memcpy(&expected[size_t(dy) * dst.row_stride + size_t(dx) * size],
                        element(src, sx, sy), size_t(size));
          }
        }
      }
    }
  }
}

class ChannelCopy : public rxtest::BornPackage {};

TEST_F(ChannelCopy, WholeChunksOfOneSizeAreCopiedWhole) {
  OwnedChunk src(5, 4, 3, fourcc("FLT4")), dst(5, 4, 3, fourcc("FLT4"));
  paint(src.chunk, 1);
  paint(dst.chunk, 2);
  ASSERT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(bytes_of(dst.chunk), bytes_of(src.chunk));
}

TEST_F(ChannelCopy, WholeChunksOfOtherStridesCopyTheSmallerStridePerRow) {
  // 5 elements of 3 x 4 bytes: 60 bytes of elements per row.
  HandChunk tight(5, 4, 3, fourcc("FLT4"), 60), loose(5, 4, 3, fourcc("FLT4"), 72);
  paint(tight.chunk, 1);
  paint(loose.chunk, 2);
  std::vector<uint8_t> expected = bytes_of(loose.chunk);
  for (int32_t y = 0; y < 4; ++y) std::memcpy(&expected[size_t(y) * 72], element(tight.chunk, 0, y), 60);
  ASSERT_EQ(RX_ChannelCopy(nullptr, &tight.chunk, &loose.chunk, nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(bytes_of(loose.chunk), expected);

  paint(loose.chunk, 3);
  expected = bytes_of(tight.chunk);
  for (int32_t y = 0; y < 4; ++y) std::memcpy(&expected[size_t(y) * 60], element(loose.chunk, 0, y), 60);
  ASSERT_EQ(RX_ChannelCopy(nullptr, &loose.chunk, &tight.chunk, nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(bytes_of(tight.chunk), expected);
}

TEST_F(ChannelCopy, EqualRectanglesCopyThoseElementsOnly) {
  OwnedChunk src(5, 4, 2, fourcc("SHT2")), dst(6, 5, 2, fourcc("SHT2"));
  paint(src.chunk, 1);
  paint(dst.chunk, 2);
  std::vector<uint8_t> expected = bytes_of(dst.chunk);
  for (int32_t y = 1; y < 3; ++y)
    for (int32_t x = 1; x < 4; ++x)
      std::memcpy(&expected[size_t(y) * dst.chunk.row_stride + size_t(x) * 4], element(src.chunk, x, y), 4);
  const GE_LRect rect{1, 1, 4, 3};
  ASSERT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, &rect, &rect), RX_Result_OK);
  EXPECT_EQ(bytes_of(dst.chunk), expected);
}

TEST_F(ChannelCopy, DoublingATwoElementRowGivesEachElementTwice) {
  OwnedChunk src(2, 1, 1, fourcc("DBL8")), dst(4, 1, 1, fourcc("DBL8"));
  const double values[2] = {1.25, -7.5};
  std::memcpy(src.chunk.data, values, sizeof values);
  ASSERT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, nullptr, nullptr), RX_Result_OK);
  double out[4];
  std::memcpy(out, dst.chunk.data, sizeof out);
  EXPECT_EQ(out[0], 1.25);
  EXPECT_EQ(out[1], 1.25);
  EXPECT_EQ(out[2], -7.5);
  EXPECT_EQ(out[3], -7.5);
}

TEST_F(ChannelCopy, ScaledRectanglesReplicateWholeElementsInsideBothChunks) {
  struct {
    const char* what;
    bool src_null;
    GE_LRect src;
    bool dst_null;
    GE_LRect dst;
  } cases[] = {
      {"whole into whole, enlarging", true, {}, true, {}},
      {"enlarging", false, {0, 0, 3, 2}, false, {1, 1, 8, 6}},
      {"shrinking", false, {0, 0, 6, 5}, false, {2, 1, 5, 3}},
      {"wider and shorter", false, {1, 0, 5, 5}, false, {0, 1, 9, 3}},
      {"moved, same size", false, {1, 1, 4, 3}, false, {3, 2, 6, 4}},
      {"source over the left and top", false, {-2, -1, 4, 3}, false, {0, 0, 9, 6}},
      {"source over the right and bottom", false, {2, 2, 8, 7}, false, {0, 0, 9, 7}},
      {"destination over the left and top", false, {0, 0, 4, 3}, false, {-3, -2, 5, 6}},
      {"destination over the right and bottom", false, {0, 0, 4, 3}, false, {5, 4, 13, 10}},
      {"source rectangle into the whole destination", false, {1, 1, 5, 4}, true, {}},
      {"whole source into a rectangle", true, {}, false, {2, 2, 5, 4}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    // Elements of two 3-byte values: 6 bytes each.
    OwnedChunk src(6, 5, 2, fourcc("RBG ")), dst(9, 7, 2, fourcc("RBG "));
    ASSERT_EQ(element_bytes(src.chunk), 6);
    paint(src.chunk, 1);
    paint(dst.chunk, 2);
    const GE_LRect* sr = c.src_null ? nullptr : &c.src;
    const GE_LRect* dr = c.dst_null ? nullptr : &c.dst;
    std::vector<uint8_t> expected = bytes_of(dst.chunk);
    replication_reference(src.chunk, dst.chunk, expected, sr, dr);
    ASSERT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, sr, dr), RX_Result_OK);
    const std::vector<uint8_t> got = bytes_of(dst.chunk);
    for (size_t i = 0; i < got.size(); ++i) {
      ASSERT_EQ(got[i], expected[i]) << "element " << (i % size_t(dst.chunk.row_stride)) / 6
                                     << ", row " << i / size_t(dst.chunk.row_stride);
    }
  }
}

TEST_F(ChannelCopy, RectanglesThatMissTheirChunkCopyNothing) {
  OwnedChunk src(4, 3, 1, fourcc("LON4")), dst(4, 3, 1, fourcc("LON4"));
  paint(src.chunk, 1);
  paint(dst.chunk, 2);
  const std::vector<uint8_t> before = bytes_of(dst.chunk);
  const GE_LRect at_width{4, 0, 6, 3}, inside{0, 0, 2, 2}, empty{1, 1, 1, 3}, below{0, -3, 2, 0};
  EXPECT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, &at_width, &inside), RX_Result_OK);
  EXPECT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, &inside, &empty), RX_Result_OK);
  EXPECT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, &below, &inside), RX_Result_OK);
  EXPECT_EQ(bytes_of(dst.chunk), before);
}

TEST_F(ChannelCopy, TypesOfOneValueSizeMayBeMixed) {
  OwnedChunk src(3, 2, 1, fourcc("FLT4")), dst(3, 2, 1, fourcc("LON4"));
  paint(src.chunk, 5);
  ASSERT_EQ(RX_ChannelCopy(nullptr, &src.chunk, &dst.chunk, nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(bytes_of(dst.chunk), bytes_of(src.chunk));
}

TEST_F(ChannelCopy, NullChunksUnlockedChunksAndOtherValueSizesAreBadParameters) {
  OwnedChunk a(3, 2, 1, fourcc("FLT4")), b(3, 2, 1, fourcc("FLT4")), shorts(3, 2, 1, fourcc("SHT2"));
  RX_Chunk unlocked = b.chunk;
  unlocked.data = nullptr;
  paint(b.chunk, 9);
  const std::vector<uint8_t> before = bytes_of(b.chunk);
  struct {
    const char* what;
    const RX_Chunk* s;
    RX_Chunk* d;
  } cases[] = {{"null source", nullptr, &b.chunk},
               {"null destination", &a.chunk, nullptr},
               {"source without data", &unlocked, &b.chunk},
               {"destination without data", &a.chunk, &unlocked},
               {"values of 2 bytes into values of 4", &shorts.chunk, &b.chunk}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ReportCapture capture;
    EXPECT_EQ(RX_ChannelCopy(nullptr, c.s, c.d, nullptr, nullptr), RX_Result_Internal);
    const auto errors = capture.errors();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].location, 0x250048);
    EXPECT_EQ(errors[0].report_class, 8);
    EXPECT_EQ(errors[0].text, "bad parameter passed to effect callback");
  }
  EXPECT_EQ(bytes_of(b.chunk), before);
}

TEST_F(ChannelCopy, OtherChannelCountsAreRefusedWithTheirOwnText) {
  OwnedChunk two(3, 2, 2, fourcc("UBT1")), four(3, 2, 4, fourcc("UBT1"));
  paint(four.chunk, 3);
  const std::vector<uint8_t> before = bytes_of(four.chunk);
  ReportCapture capture;
  EXPECT_EQ(RX_ChannelCopy(nullptr, &two.chunk, &four.chunk, nullptr, nullptr), RX_Result_Internal);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].location, 0x250048);
  EXPECT_EQ(errors[0].text, "can#{rsquo}t copy different channel worlds");
  EXPECT_EQ(bytes_of(four.chunk), before);
}

}  // namespace
