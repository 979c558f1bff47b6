// The life of mask buffers, the damage check, fills, fade, invert and the
// conversion of 16-bit buffers.
#include <cmath>
#include <limits>

#include "uno_test_support.h"

namespace {

using namespace unotest;

// ---- life ----

TEST_F(MaskTest, NewUnoBufferIsEightBitsWithPackedRows) {
  RX_UnoBuffer* b = nullptr;
  ASSERT_EQ(RX_NewUnoBuffer(13, 7, &b), RX_Result_OK);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->magic, 0xfeedabbau);
  EXPECT_EQ(b->width, 13);
  EXPECT_EQ(b->height, 7);
  EXPECT_EQ(b->depth, 8);
  ASSERT_NE(b->pixels, nullptr);
  EXPECT_EQ(KO_GetHandleSize(b->pixels), 13u * 7u);
  EXPECT_EQ(RX_DisposeUnoBuffer(b), RX_Result_OK);
  EXPECT_EQ(damaged_reports(reports), 0u);
}

TEST_F(MaskTest, NewDeepUnoBufferIsSixteenBits) {
  RX_UnoBuffer* b = nullptr;
  ASSERT_EQ(RX_NewDeepUnoBuffer(5, 3, &b), RX_Result_OK);
  EXPECT_EQ(b->depth, 16);
  EXPECT_EQ(KO_GetHandleSize(b->pixels), 5u * 3u * 2u);
  EXPECT_EQ(RX_DisposeUnoBuffer(b), RX_Result_OK);
}

TEST_F(MaskTest, DisposeOfNullReturnsZero) {
  EXPECT_EQ(RX_DisposeUnoBuffer(nullptr), RX_Result_OK);
  EXPECT_EQ(reports.errors().size(), 0u);
}

TEST_F(MaskTest, DisposeLeavesTheBooksAsTheyWere) {
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  RX_UnoBuffer* b = nullptr;
  ASSERT_EQ(RX_NewDeepUnoBuffer(64, 64, &b), RX_Result_OK);
  EXPECT_GT(RXHost_LiveBytes(), bytes + 64 * 64 * 2 - 1);
  RX_DisposeUnoBuffer(b);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST_F(MaskTest, ConstructorTakesEveryDepthItKnows) {
  const int32_t depths[] = {0, 1, 8, 16, 32};
  const size_t bytes[] = {2, 1, 1, 2, 4};
  for (int i = 0; i < 5; ++i) {
    Buffer b = make(9, 4, depths[i]);
    EXPECT_EQ(b->magic, RX_UnoBufferMagic);
    EXPECT_EQ(b->depth, depths[i]);
    EXPECT_EQ(KO_GetHandleSize(b->pixels), 9u * 4u * bytes[i]) << depths[i];
  }
  EXPECT_EQ(damaged_reports(reports), 0u);
}

TEST_F(MaskTest, ConstructorRefusesAnUnknownDepthOrANegativeSide) {
  const int64_t blocks = RXHost_LiveBlocks();
  try {
    RX_UnoBuffer b(4, 4, 12);
    FAIL() << "constructed";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  try {
    RX_UnoBuffer b(-1, 4, 8);
    FAIL() << "constructed";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  ASSERT_EQ(reports.errors().size(), 2u);
  EXPECT_EQ(reports.errors()[0].text, "bad parameter passed to effect callback");
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST_F(MaskTest, DestructorFreesTheHandleAndKeepsMagic) {
  alignas(RX_UnoBuffer) unsigned char storage[sizeof(RX_UnoBuffer)];
  auto* b = new (storage) RX_UnoBuffer(8, 8, 8);
  b->~RX_UnoBuffer();
  EXPECT_EQ(b->pixels, nullptr);
  EXPECT_EQ(b->magic, RX_UnoBufferMagic);
  EXPECT_EQ(damaged_reports(reports), 0u);
  // A second destruction finds no handle: reported, and harmless.
  b->~RX_UnoBuffer();
  EXPECT_EQ(damaged_reports(reports), 1u);
}

TEST_F(MaskTest, NullOutPointerIsReported) {
  EXPECT_EQ(RX_NewUnoBuffer(4, 4, nullptr), RX_Result_Internal);
  ASSERT_EQ(reports.errors().size(), 1u);
  EXPECT_EQ(reports.errors()[0].text, "bad parameter passed to effect callback");
}

TEST_F(MaskTest, OversizedBufferIsOutOfMemory) {
  RX_UnoBuffer* b = reinterpret_cast<RX_UnoBuffer*>(1);
  EXPECT_EQ(RX_NewDeepUnoBuffer(65536, 65536, &b), RX_Result_OutOfMemory);
  EXPECT_EQ(b, nullptr);
}

// ---- allocation failure ----

class MaskAllocation : public MaskTest {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    MaskTest::TearDown();
  }
};

TEST_F(MaskAllocation, RecordOrBlockFailureGivesOutOfMemoryAndNoLeak) {
  for (int n = 1; n <= 2; ++n) {
    const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
    RX_UnoBuffer* b = reinterpret_cast<RX_UnoBuffer*>(1);
    RXHost_FailNthAllocation(n);
    EXPECT_EQ(RX_NewUnoBuffer(100, 100, &b), RX_Result_OutOfMemory) << n;
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(RXHost_LiveBytes(), bytes);
    EXPECT_EQ(RXHost_LiveBlocks(), blocks);
  }
  // The out-of-memory report names the mask buffer.
  bool named = false;
  for (const auto& r : reports.errors()) {
    if (r.kind == RXHost_Report_OutOfMemory &&
        r.text.rfind("out of memory for memory for mask buffer (", 0) == 0) {
      named = true;
    }
  }
  EXPECT_TRUE(named);
}

TEST_F(MaskAllocation, ConstructorThrowsOutOfMemory) {
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  RXHost_FailNthAllocation(1);
  try {
    RX_UnoBuffer b(50, 50, 16);
    FAIL() << "constructed";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_OutOfMemory);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST_F(MaskAllocation, NewOfARecordFailsWithBadAlloc) {
  const int64_t blocks = RXHost_LiveBlocks();
  RXHost_FailNthAllocation(1);
  EXPECT_THROW(new RX_UnoBuffer(10, 10, 8), std::bad_alloc);
  RXHost_FailNthAllocation(2);  // the record is had, the block is not
  EXPECT_THROW(new RX_UnoBuffer(10, 10, 8), RX_Err);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

// ---- the damage check ----

TEST_F(MaskTest, WrongMagicIsReportedAndTheOperationGoesOn) {
  Buffer b = make(4, 2, 8);
  b->magic = 0x12345678;
  EXPECT_EQ(RX_FillUnoBuffer(77, b.get()), RX_Result_OK);
  EXPECT_EQ(at<uint8_t>(b.get(), 3, 1), 77);
  ASSERT_EQ(damaged_reports(reports), 1u);
  EXPECT_EQ(reports.errors()[0].location, 0x2503E7);
  b->magic = RX_UnoBufferMagic;
}

TEST_F(MaskTest, NullBufferOrHandleIsReportedAndNothingIsDone) {
  EXPECT_EQ(RX_FillUnoBuffer(1, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_FadeUnoBuffer(nullptr, 0.5f, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_InvertUnoBuffer(nullptr, nullptr), RX_Result_Internal);
  RX_UnoBuffer* b = nullptr;
  ASSERT_EQ(RX_NewUnoBuffer(3, 3, &b), RX_Result_OK);
  KO_Handle handle = b->pixels;
  b->pixels = nullptr;
  EXPECT_EQ(RX_FillUnoBuffer(1, b), RX_Result_Internal);
  EXPECT_EQ(damaged_reports(reports), 4u);
  b->pixels = handle;
  RX_DisposeUnoBuffer(b);
}

TEST_F(MaskTest, EveryOperationChecksEachOfItsBuffers) {
  Buffer good = make(4, 4, 8), bad = make(4, 4, 8);
  Buffer deep = make(4, 4, 16);
  bad->magic = 0;
  const GE_LRect all{0, 0, 4, 4};
  RX_AccumulateUnoBuffers(nullptr, bad.get(), 1, all, good.get());
  RX_AccumulateUnoBuffers(nullptr, good.get(), 1, all, bad.get());
  RX_TransferUnoBuffers(nullptr, good.get(), bad.get(), 1, all, nullptr, good.get());
  RX_ConvertDeepUnoBuffer(nullptr, deep.get(), all, 1, bad.get());
  RX_InvertAndFadeUnoBuffer(nullptr, 0x8000, bad.get());
  RX_FadeUnoBuffer(nullptr, 1.0f, bad.get());
  RX_FillUnoBuffer(0, all, bad.get());
  EXPECT_EQ(damaged_reports(reports), 7u);
  bad->magic = RX_UnoBufferMagic;
}

// ---- fills ----

TEST_F(MaskTest, FillCoversTheWholeBuffer) {
  Buffer b8 = make(7, 5, 8), b16 = make(7, 5, 16), bf = make(7, 5, 32);
  ASSERT_EQ(RX_FillUnoBuffer(200, b8.get()), RX_Result_OK);
  ASSERT_EQ(RX_FillDeepUnoBuffer(31000, b16.get()), RX_Result_OK);
  ASSERT_EQ(RX_FillFloatUnoBuffer(0.25f, bf.get()), RX_Result_OK);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 7; ++x) {
      EXPECT_EQ(at<uint8_t>(b8.get(), x, y), 200);
      EXPECT_EQ(at<uint16_t>(b16.get(), x, y), 31000);
      EXPECT_EQ(at<float>(bf.get(), x, y), 0.25f);
    }
  }
}

TEST_F(MaskTest, FillOfARectTouchesOnlyTheRect) {
  std::mt19937 rng(11);
  for (int depth : {8, 16}) {
    for (int trial = 0; trial < 40; ++trial) {
      const int w = 1 + int(rng() % 17), h = 1 + int(rng() % 9);
      Buffer b = make(w, h, depth);
      randomise(b.get(), rng);
      GE_LRect r;
      r.left = int(rng() % w);
      r.right = r.left + int(rng() % (w - r.left + 1));
      r.top = int(rng() % h);
      r.bottom = r.top + int(rng() % (h - r.top + 1));
      if (trial % 4 == 0) {  // full width: one run
        r.left = 0;
        r.right = w;
      }
      const auto before8 = depth == 8 ? snapshot<uint8_t>(b.get()) : std::vector<uint8_t>{};
      const auto before16 = depth == 16 ? snapshot<uint16_t>(b.get()) : std::vector<uint16_t>{};
      ASSERT_EQ(depth == 8 ? RX_FillUnoBuffer(99, r, b.get()) : RX_FillDeepUnoBuffer(4321, r, b.get()),
                RX_Result_OK);
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
          const bool in = x >= r.left && x < r.right && y >= r.top && y < r.bottom;
          if (depth == 8) {
            EXPECT_EQ(at<uint8_t>(b.get(), x, y), in ? 99 : before8[y * w + x]);
          } else {
            EXPECT_EQ(at<uint16_t>(b.get(), x, y), in ? 4321 : before16[y * w + x]);
          }
        }
      }
    }
  }
}

TEST_F(MaskTest, ByteFillClearsAFloatBuffer) {
  Buffer b = make(6, 3, 32);
  RX_FillFloatUnoBuffer(0.75f, b.get());
  ASSERT_EQ(RX_FillUnoBuffer(0, GE_LRect{1, 1, 4, 2}, b.get()), RX_Result_OK);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 6; ++x) {
      const bool in = y == 1 && x >= 1 && x < 4;
      EXPECT_EQ(at<float>(b.get(), x, y), in ? 0.0f : 0.75f);
    }
  }
}

TEST_F(MaskTest, FillOfAnEmptyRectDoesNothing) {
  Buffer b = make(4, 4, 8);
  RX_FillUnoBuffer(5, b.get());
  EXPECT_EQ(RX_FillUnoBuffer(9, GE_LRect{3, 1, 3, 4}, b.get()), RX_Result_OK);
  EXPECT_EQ(RX_FillUnoBuffer(9, GE_LRect{0, 3, 4, 1}, b.get()), RX_Result_OK);
  for (uint8_t v : snapshot<uint8_t>(b.get())) EXPECT_EQ(v, 5);
}

TEST_F(MaskTest, FillOfARectOutsideTheBufferIsRefused) {
  Buffer b = make(4, 4, 8);
  RX_FillUnoBuffer(5, b.get());
  EXPECT_EQ(RX_FillUnoBuffer(9, GE_LRect{2, 2, 5, 4}, b.get()), RX_Result_Internal);
  EXPECT_EQ(RX_FillUnoBuffer(9, GE_LRect{-1, 0, 2, 2}, b.get()), RX_Result_Internal);
  for (uint8_t v : snapshot<uint8_t>(b.get())) EXPECT_EQ(v, 5);
  ASSERT_EQ(reports.errors().size(), 2u);
  EXPECT_EQ(reports.errors()[0].location, 0x250090);
}

TEST_F(MaskTest, WordFillsRefuseABufferOfAnotherDepth) {
  Buffer b = make(4, 4, 8);
  RX_FillUnoBuffer(5, b.get());
  EXPECT_EQ(RX_FillDeepUnoBuffer(9, b.get()), RX_Result_Internal);
  EXPECT_EQ(RX_FillFloatUnoBuffer(1.0f, b.get()), RX_Result_Internal);
  for (uint8_t v : snapshot<uint8_t>(b.get())) EXPECT_EQ(v, 5);
}

// ---- fade ----

TEST_F(MaskTest, FadeByOneKeepsEveryEightBitValue) {
  Buffer b = make(256, 1, 8);
  for (int v = 0; v < 256; ++v) at<uint8_t>(b.get(), v, 0) = uint8_t(v);
  ASSERT_EQ(RX_FadeUnoBuffer(nullptr, 1.0f, b.get()), RX_Result_OK);
  for (int v = 0; v < 256; ++v) EXPECT_EQ(at<uint8_t>(b.get(), v, 0), v);
}

TEST_F(MaskTest, FadeMultipliesWithTheDepthsRounding) {
  std::mt19937 rng(5);
  const float opacities[] = {0.0f, 0.3f, 0.5f, 0.999f, 1.0f};
  for (float opacity : opacities) {
    Buffer b8 = make(31, 3, 8), b16 = make(31, 3, 16);
    randomise(b8.get(), rng);
    randomise(b16.get(), rng);
    const auto v8 = snapshot<uint8_t>(b8.get());
    const auto v16 = snapshot<uint16_t>(b16.get());
    RX_FadeUnoBuffer(nullptr, opacity, b8.get());
    RX_FadeUnoBuffer(nullptr, opacity, b16.get());
    const int64_t o8 = int64_t(double(opacity) * 255.0 + 0.5);
    const int64_t o16 = int64_t(double(opacity) * 32768.0 + 0.5);
    for (size_t i = 0; i < v8.size(); ++i) {
      EXPECT_EQ(values<uint8_t>(b8.get())[i], rnd8(v8[i] * o8));
      EXPECT_EQ(values<uint16_t>(b16.get())[i], rnd16(v16[i] * o16));
    }
  }
}

TEST_F(MaskTest, FadeOfAFloatBufferWorksOnItsFirstBytes) {
  Buffer b = make(4, 2, 32);
  RX_FillFloatUnoBuffer(1.0f, b.get());  // bytes 00 00 80 3f
  ASSERT_EQ(RX_FadeUnoBuffer(nullptr, 0.5f, b.get()), RX_Result_OK);
  const uint8_t* bytes = values<uint8_t>(b.get());
  // Eight values (width * height) of the 32 bytes are faded as 8-bit.
  const uint8_t one[4] = {0x00, 0x00, 0x80, 0x3f};
  for (int i = 0; i < 32; ++i) {
    const int64_t expected = i < 8 ? rnd8(one[i % 4] * 128) : one[i % 4];
    EXPECT_EQ(bytes[i], expected) << i;
  }
}

// ---- invert ----

TEST_F(MaskTest, InvertIsWhiteMinusValue) {
  Buffer b8 = make(9, 4, 8), b16 = make(9, 4, 16), bf = make(9, 4, 32);
  std::mt19937 rng(2);
  randomise(b8.get(), rng);
  randomise(b16.get(), rng);
  randomise(bf.get(), rng);
  const auto v8 = snapshot<uint8_t>(b8.get());
  const auto v16 = snapshot<uint16_t>(b16.get());
  const auto vf = snapshot<float>(bf.get());
  EXPECT_EQ(RX_InvertUnoBuffer(nullptr, b8.get()), RX_Result_OK);
  EXPECT_EQ(RX_InvertUnoBuffer(nullptr, b16.get()), RX_Result_OK);
  EXPECT_EQ(RX_InvertUnoBuffer(nullptr, bf.get()), RX_Result_OK);
  for (size_t i = 0; i < v8.size(); ++i) {
    EXPECT_EQ(values<uint8_t>(b8.get())[i], 255 - v8[i]);
    EXPECT_EQ(values<uint16_t>(b16.get())[i], 32768 - v16[i]);
    EXPECT_EQ(values<float>(bf.get())[i], 1.0f - vf[i]);
  }
}

TEST_F(MaskTest, InvertAndFadeMultipliesTheInverse) {
  std::mt19937 rng(3);
  const int32_t fades[] = {0, 0x4000, 0x8000, 0xff00, 0xffff, 0x10000, 0x18000};
  for (int32_t fade : fades) {
    Buffer b8 = make(17, 3, 8), b16 = make(17, 3, 16);
    randomise(b8.get(), rng);
    randomise(b16.get(), rng, true);  // values past white too
    const auto v8 = snapshot<uint8_t>(b8.get());
    const auto v16 = snapshot<uint16_t>(b16.get());
    ASSERT_EQ(RX_InvertAndFadeUnoBuffer(nullptr, fade, b8.get()), RX_Result_OK);
    ASSERT_EQ(RX_InvertAndFadeUnoBuffer(nullptr, fade, b16.get()), RX_Result_OK);
    const double f = fade * 1.52587890625e-5;
    const int64_t o8 = int64_t(f * 255.0 + 0.5), o16 = int64_t(f * 32768.0 + 0.5);
    for (size_t i = 0; i < v8.size(); ++i) {
      const int64_t e8 = o8 >= 255 ? 255 - v8[i] : rnd8((255 - v8[i]) * o8);
      const int64_t e16 = o16 == 32768 ? 32768 - v16[i] : rnd16(((32768 - v16[i]) & 0xffff) * o16);
      EXPECT_EQ(values<uint8_t>(b8.get())[i], uint8_t(e8)) << fade;
      EXPECT_EQ(values<uint16_t>(b16.get())[i], uint16_t(e16)) << fade;
    }
  }
}

TEST_F(MaskTest, InvertStopsWhenAborted) {
  Buffer b = make(5, 5, 8);
  RX_FillUnoBuffer(10, b.get());
  Aborter aborter;
  RX_ProgressInfo info = aborter.info();
  EXPECT_EQ(RX_InvertUnoBuffer(&info, b.get()), RX_Result_Interrupted);
  EXPECT_EQ(aborter.asked, 1);
  for (uint8_t v : snapshot<uint8_t>(b.get())) EXPECT_EQ(v, 10);
}

// ---- depth conversion ----

TEST_F(MaskTest, ConversionDividesWithRoundingAtEveryDepth) {
  std::mt19937 rng(8);
  const uint16_t divisors[] = {1, 2, 3, 4, 8, 16, 128, 129, 257, 65535};
  for (uint16_t divisor : divisors) {
    Buffer src = make(12, 5, 16);
    randomise(src.get(), rng, true);
    Buffer d16 = make(12, 5, 16), d8 = make(12, 5, 8), df = make(12, 5, 32);
    RX_FillDeepUnoBuffer(7, d16.get());
    RX_FillUnoBuffer(7, d8.get());
    RX_FillFloatUnoBuffer(-1.0f, df.get());
    const GE_LRect r{2, 1, 11, 4};
    ASSERT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), r, divisor, d16.get()), RX_Result_OK);
    ASSERT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), r, divisor, d8.get()), RX_Result_OK);
    ASSERT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), r, divisor, df.get()), RX_Result_OK);
    for (int y = 0; y < 5; ++y) {
      for (int x = 0; x < 12; ++x) {
        const bool in = x >= 2 && x < 11 && y >= 1 && y < 4;
        const uint32_t v = at<uint16_t>(src.get(), x, y);
        const uint32_t q = (v + divisor / 2) / divisor;
        EXPECT_EQ(at<uint16_t>(d16.get(), x, y), in ? uint16_t(q) : 7);
        EXPECT_EQ(at<uint8_t>(d8.get(), x, y), in ? uint8_t(q) : 7);
        EXPECT_EQ(at<float>(df.get(), x, y), in ? float(v) * (1.0f / float(divisor)) : -1.0f);
      }
    }
  }
}

TEST_F(MaskTest, ConversionByOneKeepsTheLowByte) {
  Buffer src = make(3, 1, 16), dst = make(3, 1, 8);
  at<uint16_t>(src.get(), 0, 0) = 0x1234;
  at<uint16_t>(src.get(), 1, 0) = 0x00ff;
  at<uint16_t>(src.get(), 2, 0) = 0x8000;
  ASSERT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), GE_LRect{0, 0, 3, 1}, 1, dst.get()), RX_Result_OK);
  EXPECT_EQ(at<uint8_t>(dst.get(), 0, 0), 0x34);
  EXPECT_EQ(at<uint8_t>(dst.get(), 1, 0), 0xff);
  EXPECT_EQ(at<uint8_t>(dst.get(), 2, 0), 0x00);
}

TEST_F(MaskTest, ConversionOfAnotherSourceDepthReturnsAtOnce) {
  Buffer src = make(3, 3, 8), dst = make(3, 3, 8);
  RX_FillUnoBuffer(200, src.get());
  RX_FillUnoBuffer(1, dst.get());
  EXPECT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), GE_LRect{0, 0, 3, 3}, 4, dst.get()), RX_Result_OK);
  for (uint8_t v : snapshot<uint8_t>(dst.get())) EXPECT_EQ(v, 1);
  Buffer deep = make(3, 3, 16), odd = make(3, 3, 1);
  RX_FillUnoBuffer(1, odd.get());
  EXPECT_EQ(RX_ConvertDeepUnoBuffer(nullptr, deep.get(), GE_LRect{0, 0, 3, 3}, 4, odd.get()), RX_Result_OK);
  for (uint8_t v : snapshot<uint8_t>(odd.get())) EXPECT_EQ(v, 1);
}

TEST_F(MaskTest, ConversionRefusesARectOutsideOrADivisorOfZero) {
  Buffer src = make(4, 4, 16), dst = make(3, 4, 16);
  EXPECT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), GE_LRect{0, 0, 4, 4}, 2, dst.get()), RX_Result_Internal);
  EXPECT_EQ(RX_ConvertDeepUnoBuffer(nullptr, src.get(), GE_LRect{0, 0, 3, 4}, 0, dst.get()), RX_Result_Internal);
  EXPECT_EQ(reports.errors().size(), 2u);
}

TEST_F(MaskTest, ConversionStopsWhenAborted) {
  Buffer src = make(4, 4, 16), dst = make(4, 4, 8);
  RX_FillDeepUnoBuffer(1000, src.get());
  RX_FillUnoBuffer(3, dst.get());
  Aborter aborter;
  RX_ProgressInfo info = aborter.info();
  EXPECT_EQ(RX_ConvertDeepUnoBuffer(&info, src.get(), GE_LRect{0, 0, 4, 4}, 8, dst.get()), RX_Result_Interrupted);
  for (uint8_t v : snapshot<uint8_t>(dst.get())) EXPECT_EQ(v, 3);
}

}  // namespace
