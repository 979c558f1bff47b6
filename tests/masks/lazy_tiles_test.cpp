// Lazy tiles against a model that records which tiles each request made:
// one operator call a gap, nothing outside the extent, the short last row
// and column, offsets, the condition, failures; and the two operators.
#include <algorithm>
#include <memory>

#include "uno_test_support.h"

namespace {

using namespace unotest;

struct Call {
  GE_Rect rect;
};

// Records every rectangle it is asked for; throws the code at call number
// throw_at (1 = the first) when set.
class RecordingOperator : public RX_LazyOperator {
 public:
  RecordingOperator(short w, short h, std::vector<Call>* log, bool* destroyed = nullptr)
      : extent_{w, h}, log_(log), destroyed_(destroyed) {}
  ~RecordingOperator() override {
    if (destroyed_) *destroyed_ = true;
  }
  GE_Vector2T<short> GetExtent() const override { return extent_; }
  int throw_at = 0;

 protected:
  void DoItImp(const GE_Rect& rect) override {
    log_->push_back({rect});
    if (throw_at && int(log_->size()) == throw_at) throw RX_Err{RX_Result_OutOfMemory};
  }

 private:
  GE_Vector2T<short> extent_;
  std::vector<Call>* log_;
  bool* destroyed_;
};

boost::scoped_ptr<RX_LazyOperator> recording(short w, short h, std::vector<Call>* log,
                                             bool* destroyed = nullptr) {
  return boost::scoped_ptr<RX_LazyOperator>(new RecordingOperator(w, h, log, destroyed));
}

GE_Rect rect_of(int left, int top, int right, int bottom) {
  GE_Rect r;
  r.left = short(left);
  r.top = short(top);
  r.right = short(right);
  r.bottom = short(bottom);
  return r;
}

bool operator==(const GE_Rect& a, const GE_Rect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// The model: which tiles are made, and what a request must produce.
class TileModel {
 public:
  TileModel(int w, int h, int size) : w_(w), h_(h), size_(size) {
    cols_ = (w + size - 1) / size;
    rows_ = (h + size - 1) / size;
    made_.assign(size_t(cols_ * rows_), false);
  }

  // Checks the calls of one request (already moved by the offset) and
  // records the tiles they made.
  void check_request(int left, int top, int right, int bottom, const std::vector<Call>& calls) {
    const int x_lo = std::max(left, 0), x_hi = std::min(right, w_);
    const int y_lo = std::max(top, 0), y_hi = std::min(bottom, h_);
    std::vector<bool> wanted(made_.size(), false);
    int expected_calls = 0;
    if (x_hi > x_lo && y_hi > y_lo) {
      for (int ty = 0; ty < rows_; ++ty) {
        bool in_gap = false;
        for (int tx = 0; tx < cols_; ++tx) {
          const bool under = tx * size_ < x_hi && (tx + 1) * size_ > x_lo && ty * size_ < y_hi &&
                             (ty + 1) * size_ > y_lo;
          const bool needed = under && !made_[index(tx, ty)];
          if (needed && !in_gap) ++expected_calls;
          in_gap = needed;
          wanted[index(tx, ty)] = needed;
        }
      }
    }
    ASSERT_EQ(int(calls.size()), expected_calls) << "one call a gap";
    std::vector<bool> got(made_.size(), false);
    for (const Call& c : calls) {
      const GE_Rect& r = c.rect;
      // A run lies in one row of tiles, on tile edges, cut at the extent.
      ASSERT_EQ(r.top % size_, 0);
      ASSERT_EQ(r.left % size_, 0);
      const int ty = r.top / size_;
      ASSERT_EQ(r.bottom, std::min((ty + 1) * size_, h_));
      ASSERT_TRUE(r.right == w_ || r.right % size_ == 0);
      ASSERT_LE(r.right, w_);
      ASSERT_GT(r.right, r.left);
      for (int tx = r.left / size_; tx * size_ < r.right; ++tx) {
        ASSERT_FALSE(got[index(tx, ty)]) << "a tile made twice";
        got[index(tx, ty)] = true;
      }
    }
    ASSERT_EQ(got, wanted);
    for (size_t i = 0; i < made_.size(); ++i) made_[i] = made_[i] || got[i];
  }

  bool made(int tx, int ty) const { return made_[index(tx, ty)]; }
  int cols() const { return cols_; }
  int rows() const { return rows_; }

 private:
  size_t index(int tx, int ty) const { return size_t(ty * cols_ + tx); }
  int w_, h_, size_, cols_, rows_;
  std::vector<bool> made_;
};

TEST_F(MaskTest, LazyTilesMakeEachTileOnceInTheLargestRuns) {
  std::mt19937 rng(301);
  for (int trial = 0; trial < 60; ++trial) {
    const int w = 1 + int(rng() % 300), h = 1 + int(rng() % 200), size = 1 + int(rng() % 40);
    std::vector<Call> log;
    auto op = recording(short(w), short(h), &log);
    RX_LazyTiles tiles(short(size), &op);
    EXPECT_FALSE(op);  // taken by swapping
    ASSERT_EQ(tiles.TilesX(), (w - 1 + size) / size);
    ASSERT_EQ(tiles.TilesY(), (h - 1 + size) / size);
    TileModel model(w, h, size);
    for (int request = 0; request < 25; ++request) {
      const GE_Vector2T<short> offset{short(int(rng() % 41) - 20), short(int(rng() % 41) - 20)};
      tiles.SetOffset(offset);
      const int left = int(rng() % unsigned(w + 60)) - 30, top = int(rng() % unsigned(h + 60)) - 30;
      const int right = left + int(rng() % 120), bottom = top + int(rng() % 90);
      log.clear();
      tiles.MakeValid(rect_of(left, top, right, bottom));
      model.check_request(left + offset.x, top + offset.y, right + offset.x, bottom + offset.y, log);
      if (HasFatalFailure()) return;
      for (int ty = 0; ty < model.rows(); ++ty) {
        for (int tx = 0; tx < model.cols(); ++tx) ASSERT_EQ(tiles.IsTileValid(short(tx), short(ty)), model.made(tx, ty));
      }
    }
  }
}

TEST_F(MaskTest, RectangleOutsideTheExtentCallsNothing) {
  std::vector<Call> log;
  auto op = recording(100, 50, &log);
  RX_LazyTiles tiles(16, &op);
  tiles.MakeValid(rect_of(100, 0, 200, 50));
  tiles.MakeValid(rect_of(-20, -20, 0, 10));
  tiles.MakeValid(rect_of(10, 50, 20, 60));
  tiles.MakeValid(rect_of(30, 10, 30, 40));  // empty
  EXPECT_TRUE(log.empty());
}

TEST_F(MaskTest, PartlyValidRowGivesOneCallForEachGap) {
  std::vector<Call> log;
  auto op = recording(100, 10, &log);
  RX_LazyTiles tiles(10, &op);
  tiles.MakeValid(rect_of(20, 0, 30, 10));  // tile 2
  tiles.MakeValid(rect_of(55, 0, 65, 5));   // tiles 5 and 6
  log.clear();
  tiles.MakeValid(rect_of(0, 0, 100, 10));
  ASSERT_EQ(log.size(), 3u);
  EXPECT_TRUE(log[0].rect == rect_of(0, 0, 20, 10));
  EXPECT_TRUE(log[1].rect == rect_of(30, 0, 50, 10));
  EXPECT_TRUE(log[2].rect == rect_of(70, 0, 100, 10));
}

TEST_F(MaskTest, ShortLastTileEndsAtTheExtent) {
  std::vector<Call> log;
  auto op = recording(25, 17, &log);
  RX_LazyTiles tiles(8, &op);
  tiles.MakeValid(rect_of(20, 15, 30, 30));
  ASSERT_EQ(log.size(), 2u);
  EXPECT_TRUE(log[0].rect == rect_of(16, 8, 25, 16));
  EXPECT_TRUE(log[1].rect == rect_of(16, 16, 25, 17));
}

TEST_F(MaskTest, OffsetMovesTheRequestNotTheGrid) {
  std::vector<Call> log;
  auto op = recording(64, 64, &log);
  RX_LazyTiles tiles(16, &op);
  tiles.SetOffset({10, 20});
  EXPECT_EQ(tiles.GetOffset().x, 10);
  tiles.MakeValid(rect_of(0, 0, 5, 5));  // pixels 10..15, 20..25: one tile
  ASSERT_EQ(log.size(), 1u);
  EXPECT_TRUE(log[0].rect == rect_of(0, 16, 16, 32));
}

TEST_F(MaskTest, OffsetSumsAreTakenInSixteenBits) {
  std::vector<Call> log;
  auto op = recording(64, 64, &log);
  RX_LazyTiles tiles(16, &op);
  tiles.SetOffset({1, 0});
  // 32767 + 1 wraps to -32768: the request becomes empty.
  tiles.MakeValid(rect_of(0, 0, 32767, 10));
  EXPECT_TRUE(log.empty());
}

TEST_F(MaskTest, ConditionOffLeavesTheOperatorAlone) {
  std::vector<Call> log;
  auto op = recording(50, 50, &log);
  RX_LazyTilesCondition tiles(10, &op, false);
  tiles.ConditionalMakeValid(rect_of(0, 0, 50, 50));
  EXPECT_TRUE(log.empty());
  tiles.SetCondition(true);
  tiles.ConditionalMakeValid(rect_of(5, 5, 15, 8));
  ASSERT_EQ(log.size(), 1u);
  EXPECT_TRUE(log[0].rect == rect_of(0, 0, 20, 10));
}

TEST_F(MaskTest, ConditionalRequestIsInTheBuffersCoordinates) {
  // The offset is taken off and put back: the same tiles, whatever it is;
  // the rect is cut to the extent first.
  std::vector<Call> log;
  auto op = recording(40, 40, &log);
  RX_LazyTilesCondition tiles(10, &op, true);
  tiles.SetOffset({-7, 13});
  tiles.ConditionalMakeValid(rect_of(-30, 32, 12, 90));
  ASSERT_EQ(log.size(), 1u);
  EXPECT_TRUE(log[0].rect == rect_of(0, 30, 20, 40));
}

TEST_F(MaskTest, FailedRunStaysMarkedValid) {
  std::vector<Call> log;
  auto op_owner = std::make_unique<RecordingOperator>(40, 20, &log);
  op_owner->throw_at = 2;
  boost::scoped_ptr<RX_LazyOperator> op(op_owner.release());
  RX_LazyTiles tiles(10, &op);
  try {
    tiles.MakeValid(rect_of(0, 0, 40, 20));
    FAIL() << "no throw";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_OutOfMemory);
  }
  ASSERT_EQ(log.size(), 2u);
  EXPECT_TRUE(tiles.IsTileValid(0, 1));  // the failed run, marked before its work
  EXPECT_TRUE(tiles.IsTileValid(3, 1));
  log.clear();
  tiles.MakeValid(rect_of(0, 0, 40, 20));
  EXPECT_TRUE(log.empty());
}

TEST_F(MaskTest, LazyTilesRefuseATileSizeBelowOne) {
  std::vector<Call> log;
  bool destroyed = false;
  auto op = recording(10, 10, &log, &destroyed);
  EXPECT_THROW(RX_LazyTiles(0, &op), RX_Err);
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(reports.errors().size(), 1u);
}

class LazyTileAllocation : public MaskTest {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    MaskTest::TearDown();
  }
};

TEST_F(LazyTileAllocation, FailedTileBitsThrowOutOfMemoryWithoutLeak) {
  for (int n = 1; n <= 4; ++n) {
    const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
    std::vector<Call> log;
    bool destroyed = false;
    auto op = recording(300, 300, &log, &destroyed);
    RXHost_FailNthAllocation(n);
    try {
      RX_LazyTiles tiles(7, &op);
      FAIL() << "built with allocation " << n << " failing";
    } catch (RX_Err err) {
      EXPECT_EQ(err, RX_Result_OutOfMemory);
    }
    RXHost_FailNthAllocation(0);
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(RXHost_LiveBytes(), bytes);
    EXPECT_EQ(RXHost_LiveBlocks(), blocks);
  }
}

TEST_F(MaskTest, LazyTilesGiveTheirBlocksBack) {
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  {
    std::vector<Call> log;
    auto op = recording(1000, 700, &log);
    auto* tiles = new RX_LazyTilesCondition(16, &op, true);
    EXPECT_GT(RXHost_LiveBlocks(), blocks);
    tiles->ConditionalMakeValid(rect_of(0, 0, 1000, 700));
    delete tiles;
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

// ---- the operators ----

TEST_F(MaskTest, LazyFillClearsOnlyTheTilesAsked) {
  for (int depth : {8, 16, 32}) {
    boost::scoped_ptr<RX_UnoBuffer> buffer(new RX_UnoBuffer(50, 30, depth));
    RX_FillUnoBuffer(0xAB, buffer.get());
    RX_UnoBuffer* raw = buffer.get();
    boost::scoped_ptr<RX_LazyOperator> op(new RX_LazyFillUnoBufferOperator(&buffer, 0x1234));
    EXPECT_FALSE(buffer);
    EXPECT_EQ(static_cast<RX_LazyFillUnoBufferOperator*>(op.get())->GetBuffer(), raw);
    EXPECT_EQ(op->GetExtent().x, 50);
    EXPECT_EQ(op->GetExtent().y, 30);
    RX_LazyTiles tiles(16, &op);
    tiles.MakeValid(rect_of(20, 5, 21, 6));  // the tile at (1, 0): 16..31 x 0..15
    const int bytes = depth / 8;
    const uint8_t* data = values<uint8_t>(raw);
    for (int y = 0; y < 30; ++y) {
      for (int x = 0; x < 50; ++x) {
        const bool in = x >= 16 && x < 32 && y < 16;
        for (int b = 0; b < bytes; ++b) {
          const uint8_t v = data[size_t(y * 50 + x) * size_t(bytes) + size_t(b)];
          // 16 bits: the whole value; other depths: the value's low byte in every byte.
          const uint8_t filled = depth == 16 ? (b == 0 ? 0x34 : 0x12) : 0x34;
          ASSERT_EQ(v, in ? filled : 0xAB) << depth << " " << x << "," << y;
        }
      }
    }
  }
}

TEST_F(MaskTest, LazyFillOfADamagedBufferThrows) {
  boost::scoped_ptr<RX_UnoBuffer> buffer(new RX_UnoBuffer(10, 10, 16));
  RX_UnoBuffer* raw = buffer.get();
  KO_Handle handle = raw->pixels;
  boost::scoped_ptr<RX_LazyOperator> op(new RX_LazyFillUnoBufferOperator(&buffer, 1));
  RX_LazyTiles tiles(4, &op);
  raw->pixels = nullptr;
  EXPECT_THROW(tiles.MakeValid(rect_of(0, 0, 2, 2)), RX_Err);
  EXPECT_EQ(damaged_reports(reports), 1u);
  raw->pixels = handle;
}

TEST_F(MaskTest, LazyWorldCopyCopiesTheSameRectangle) {
  rxtest::TestWorld<RX_Pixel8> src(40, 30, 8), dst(40, 30, 0, 4);
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      src.at(x, y) = rxtest::pixel_for<RX_Pixel8>(x, y);
      dst.at(x, y) = {1, 2, 3, 4};
    }
  }
  boost::scoped_ptr<RX_LazyOperator> op(new RX_LazyWorldCopyOperator(src.def(), dst.def()));
  EXPECT_EQ(op->GetExtent().x, 40);
  EXPECT_EQ(op->GetExtent().y, 30);
  RX_LazyTiles tiles(10, &op);
  tiles.MakeValid(rect_of(12, 25, 25, 27));  // tiles 1 and 2 of row 2
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      const bool in = x >= 10 && x < 30 && y >= 20 && y < 30;
      const RX_Pixel8 expected = in ? rxtest::pixel_for<RX_Pixel8>(x, y) : RX_Pixel8{1, 2, 3, 4};
      ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), expected)) << x << "," << y;
    }
  }
  // The operator is copyable and takes another source.
  RX_LazyWorldCopyOperator copy(*static_cast<RX_LazyWorldCopyOperator*>(tiles.GetOperator()));
  rxtest::TestWorld<RX_Pixel8> other(5, 6);
  copy.SetSourceWorld(other.def());
  EXPECT_EQ(copy.GetExtent().x, 5);
  EXPECT_EQ(copy.GetExtent().y, 6);
}

TEST_F(MaskTest, LazyWorldCopyThrowsTheCopysCode) {
  rxtest::TestWorld<RX_Pixel8> src(8, 8);
  boost::scoped_ptr<RX_LazyOperator> op(new RX_LazyWorldCopyOperator(src.def(), nullptr));
  RX_LazyTiles tiles(4, &op);
  EXPECT_THROW(tiles.MakeValid(rect_of(0, 0, 8, 8)), RX_Err);
}

}  // namespace
