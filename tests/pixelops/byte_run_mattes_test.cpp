// The byte-run mattes, for 8-bit pixel data that is not a world:
// RX_BlackMatte, RX_DeBlackMatte (alpha first, source and destination),
// RX_BlackMatteARGB, RX_DeBlackMatteARGB (alpha first, in place) and
// RX_BlackMatteBGRA, RX_DeBlackMatteBGRA (alpha last, in place). Every
// (alpha, value) pair; runs of every length from 0 to 40 at every byte
// offset, made of blocks all opaque, all transparent and mixed. Each test
// runs once with the SSE2 word of the CPU data on and once with it off,
// against the same rules, so the two ways give equal results.
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "cpu_words.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::kCpuWordSSE2;
constexpr uint8_t kGuard = 0xC3;

using rxtest::ref::m255;
using rxtest::ref::divide;

// One pixel of four bytes with its alpha at byte `ai`: alpha 0 clears all
// four bytes, alpha 255 leaves them, others take each colour byte by the
// rule.
void matte_pixel(const uint8_t* in, uint8_t* out, int ai, bool forward) {
  const uint32_t a = in[ai];
  for (int i = 0; i < 4; ++i) {
    if (a == 0) {
      out[i] = 0;
    } else if (a == 255 || i == ai) {
      out[i] = in[i];
    } else {
      out[i] = uint8_t(forward ? m255(in[i] * a) : divide(a, in[i]));
    }
  }
}

std::vector<uint8_t> expected(const std::vector<uint8_t>& in, int ai, bool forward) {
  std::vector<uint8_t> out(in.size());
  for (size_t p = 0; p + 4 <= in.size(); p += 4) matte_pixel(&in[p], &out[p], ai, forward);
  return out;
}

// The six operations in one shape: (count, source, destination); the
// in-place ones get the source copied into the destination first.
enum class Op { Black, DeBlack, BlackARGB, DeBlackARGB, BlackBGRA, DeBlackBGRA };
const Op kOps[] = {Op::Black, Op::DeBlack, Op::BlackARGB, Op::DeBlackARGB, Op::BlackBGRA,
                   Op::DeBlackBGRA};

const char* name(Op op) {
  switch (op) {
    case Op::Black: return "RX_BlackMatte";
    case Op::DeBlack: return "RX_DeBlackMatte";
    case Op::BlackARGB: return "RX_BlackMatteARGB";
    case Op::DeBlackARGB: return "RX_DeBlackMatteARGB";
    case Op::BlackBGRA: return "RX_BlackMatteBGRA";
    case Op::DeBlackBGRA: return "RX_DeBlackMatteBGRA";
  }
  return "";
}
int alpha_index(Op op) { return op == Op::BlackBGRA || op == Op::DeBlackBGRA ? 3 : 0; }
bool forward(Op op) { return op == Op::Black || op == Op::BlackARGB || op == Op::BlackBGRA; }
bool separate(Op op) { return op == Op::Black || op == Op::DeBlack; }

int g_unused;

// Runs op over count pixels. For the separate forms, mode 0 reads src
// into dst, mode 1 passes a null source, mode 2 passes dst as its source;
// modes 1 and 2 and the in-place forms start from src copied into dst.
RX_Err run(Op op, int32_t count, const uint8_t* src, uint8_t* dst, int mode) {
  if (!separate(op) || mode != 0) std::memcpy(dst, src, size_t(count) * 4);
  switch (op) {
    case Op::Black:
      return RX_BlackMatte(&g_unused, count, mode == 0 ? src : mode == 1 ? nullptr : dst, dst);
    case Op::DeBlack:
      return RX_DeBlackMatte(&g_unused, count, mode == 0 ? src : mode == 1 ? nullptr : dst, dst);
    case Op::BlackARGB: return RX_BlackMatteARGB(&g_unused, count, dst);
    case Op::DeBlackARGB: return RX_DeBlackMatteARGB(&g_unused, count, dst);
    case Op::BlackBGRA: return RX_BlackMatteBGRA(&g_unused, count, dst);
    case Op::DeBlackBGRA: return RX_DeBlackMatteBGRA(&g_unused, count, dst);
  }
  return -1;
}

std::string bytes_of(const uint8_t* p) {
  std::ostringstream out;
  out << +p[0] << " " << +p[1] << " " << +p[2] << " " << +p[3];
  return out.str();
}

class ByteRunMattes : public rxtest::BornWithSse2Param {};

INSTANTIATE_TEST_SUITE_P(Sse2, ByteRunMattes, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? std::string("On") : std::string("Off");
                         });

// 65536 pixels: alpha i >> 8 at the alpha byte; the colour bytes each meet
// every value under every alpha.
std::vector<uint8_t> every_pair(int ai) {
  std::vector<uint8_t> px(65536 * 4);
  for (uint32_t i = 0; i < 65536; ++i) {
    const uint32_t c = i & 255;
    uint8_t* p = &px[i * 4];
    const uint8_t colour[3] = {uint8_t(c), uint8_t((c + 85) & 255), uint8_t((c + 170) & 255)};
    int k = 0;
    for (int b = 0; b < 4; ++b) p[b] = b == ai ? uint8_t(i >> 8) : colour[k++];
  }
  return px;
}

TEST_P(ByteRunMattes, EveryPairFollowsTheRule) {
  for (Op op : kOps) {
    const auto src = every_pair(alpha_index(op));
    const auto want = expected(src, alpha_index(op), forward(op));
    for (int mode = 0; mode < (separate(op) ? 3 : 1); ++mode) {
      std::vector<uint8_t> dst(src.size(), 0x77);
      const auto src_copy = src;
      EXPECT_EQ(run(op, 65536, src.data(), dst.data(), mode), RX_Result_OK);
      EXPECT_EQ(src, src_copy);
      int bad = 0;
      for (size_t p = 0; p < src.size(); p += 4) {
        if (std::memcmp(&dst[p], &want[p], 4) != 0 && bad++ < 6) {
          ADD_FAILURE() << name(op) << " mode " << mode << ": " << bytes_of(&src[p])
                        << " gave " << bytes_of(&dst[p]) << ", expected " << bytes_of(&want[p]);
        }
      }
      EXPECT_EQ(bad, 0) << name(op) << " mode " << mode;
    }
  }
}

TEST_P(ByteRunMattes, TransparentPixelBecomesZeroBytes) {
  uint8_t bgra[4] = {200, 200, 200, 0};
  EXPECT_EQ(RX_BlackMatteBGRA(nullptr, 1, bgra), RX_Result_OK);
  EXPECT_EQ(bytes_of(bgra), "0 0 0 0");
  uint8_t bgra2[4] = {200, 200, 200, 0};
  EXPECT_EQ(RX_DeBlackMatteBGRA(nullptr, 1, bgra2), RX_Result_OK);
  EXPECT_EQ(bytes_of(bgra2), "0 0 0 0");
  uint8_t argb[4] = {0, 200, 200, 200};
  EXPECT_EQ(RX_BlackMatteARGB(nullptr, 1, argb), RX_Result_OK);
  EXPECT_EQ(bytes_of(argb), "0 0 0 0");
  uint8_t argb2[4] = {0, 200, 200, 200};
  EXPECT_EQ(RX_DeBlackMatteARGB(nullptr, 1, argb2), RX_Result_OK);
  EXPECT_EQ(bytes_of(argb2), "0 0 0 0");
}

TEST_P(ByteRunMattes, OpaquePixelsAreLeftAsTheyAre) {
  for (Op op : kOps) {
    std::vector<uint8_t> src(64 * 4);
    for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(i * 37 + 5);
    for (size_t p = 0; p < src.size(); p += 4) src[p + size_t(alpha_index(op))] = 255;
    std::vector<uint8_t> dst(src.size(), 0);
    EXPECT_EQ(run(op, 64, src.data(), dst.data(), 0), RX_Result_OK);
    EXPECT_EQ(dst, src) << name(op);
  }
}

TEST_P(ByteRunMattes, SeparateSourceAndDestination) {
  // The source is read and left alone; the destination gets the result and
  // nothing past the run.
  for (Op op : {Op::Black, Op::DeBlack}) {
    std::vector<uint8_t> src(21 * 4);
    for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(i * 97 + 3);
    for (size_t p = 0; p < src.size(); p += 12) src[p] = 0;    // some transparent
    for (size_t p = 4; p < src.size(); p += 12) src[p] = 255;  // some opaque
    const auto src_copy = src;
    std::vector<uint8_t> dst(src.size() + 16, kGuard);
    EXPECT_EQ(run(op, 21, src.data(), dst.data(), 0), RX_Result_OK);
    EXPECT_EQ(src, src_copy) << name(op);
    const auto want = expected(src, 0, forward(op));
    EXPECT_EQ(0, std::memcmp(dst.data(), want.data(), want.size())) << name(op);
    for (size_t i = want.size(); i < dst.size(); ++i) EXPECT_EQ(dst[i], kGuard) << name(op);
  }
}

// Alphas of the pixel at index i of a run, by the block of eight it falls
// in (counted from the run's start and from an 8-pixel boundary of memory
// alike, as the offset makes them differ): all opaque, all transparent,
// mixed, opaque but one, transparent but one, alternating.
uint8_t run_alpha(size_t i, uint32_t seed) {
  const uint32_t block = uint32_t(i / 8);
  const uint32_t kind = (block * 7 + seed) % 6;
  const uint32_t h = uint32_t(i * 2654435761u + seed * 97u) >> 7;
  switch (kind) {
    case 0: return 255;
    case 1: return 0;
    case 2: return uint8_t(h);
    case 3: return i % 8 == seed % 8 ? 254 : 255;
    case 4: return i % 8 == seed % 8 ? 1 : 0;
    default: return i % 2 ? 255 : 0;
  }
}

TEST_P(ByteRunMattes, RunsOfEveryLengthAtEveryOffset) {
  alignas(64) static uint8_t src_buf[64 + 41 * 4 + 64];
  alignas(64) static uint8_t dst_buf[64 + 41 * 4 + 64];
  for (Op op : kOps) {
    const int ai = alpha_index(op);
    for (size_t n = 0; n <= 40; ++n) {
      for (uint32_t seed = 0; seed < 6; ++seed) {
        std::vector<uint8_t> pixels(n * 4);
        for (size_t i = 0; i < n; ++i) {
          for (int b = 0; b < 4; ++b) pixels[i * 4 + size_t(b)] = uint8_t(i * 29 + size_t(b) * 71 + seed);
          pixels[i * 4 + size_t(ai)] = run_alpha(i, seed);
        }
        // Whole runs of one kind too.
        if (seed == 4) {
          for (size_t i = 0; i < n; ++i) pixels[i * 4 + size_t(ai)] = 255;
        }
        if (seed == 5) {
          for (size_t i = 0; i < n; ++i) pixels[i * 4 + size_t(ai)] = 0;
        }
        const auto want = expected(pixels, ai, forward(op));
        for (size_t offset = 0; offset < 16; ++offset) {
          for (int mode = 0; mode < (separate(op) ? 3 : 1); ++mode) {
            std::memset(src_buf, kGuard, sizeof src_buf);
            std::memset(dst_buf, kGuard, sizeof dst_buf);
            uint8_t* src = src_buf + (offset * 5 + 3) % 16;
            uint8_t* dst = dst_buf + offset;
            if (n) std::memcpy(src, pixels.data(), n * 4);
            EXPECT_EQ(run(op, int32_t(n), src, dst, mode), RX_Result_OK);
            bool ok = n == 0 || std::memcmp(dst, want.data(), n * 4) == 0;
            for (size_t i = 0; i < sizeof dst_buf && ok; ++i) {
              if (i < offset || i >= offset + n * 4) ok = dst_buf[i] == kGuard;
            }
            if (n) ok = ok && std::memcmp(src, pixels.data(), n * 4) == 0;
            ASSERT_TRUE(ok) << name(op) << ": " << n << " pixels at offset " << offset
                            << ", pattern " << seed << ", mode " << mode;
          }
        }
      }
    }
  }
}

// The same data through a birth with SSE2 and one without gives the same
// bytes.
TEST(ByteRunMattesBothWays, SameBytesWithAndWithoutSSE2) {
  std::vector<uint8_t> data(1000 * 4);
  for (size_t i = 0; i < data.size(); ++i) data[i] = uint8_t((i * 2654435761u) >> 13);
  for (size_t p = 0; p < 400 * 4; p += 4) data[p] = data[p + 3] = (p / 32) % 2 ? 255 : 0;
  std::vector<uint8_t> results[2][6];
  for (int sse2 = 0; sse2 <= 1; ++sse2) {
    RXHost_SetCpuWord(kCpuWordSSE2, uint32_t(sse2));
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
    int k = 0;
    for (Op op : kOps) {
      std::vector<uint8_t> dst(data.size());
      EXPECT_EQ(run(op, 999, data.data() + 4, dst.data(), 0), RX_Result_OK);
      results[sse2][k++] = dst;
    }
    EXPECT_EQ(RX_Death(), RX_Result_OK);
  }
  RXHost_ResetCpuWords();
  for (int k = 0; k < 6; ++k) EXPECT_EQ(results[0][k], results[1][k]) << name(kOps[k]);
}

}  // namespace
