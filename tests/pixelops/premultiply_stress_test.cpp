// Many random premultiply operations (worlds, rectangles, mattes, alpha
// combines, byte runs) folded into one checksum, run once with the
// processor variants the machine has and once on the plain forms: the
// operations whose variants must be exact have to agree to the bit.
#include <random>

#include "cpu_words.h"
#include "pixelops/premultiply_scans.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

struct Checksum {
  uint64_t value = 1469598103934665603ull;
  void add(const void* data, size_t bytes) {
    const auto* p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < bytes; ++i) value = (value ^ p[i]) * 1099511628211ull;
  }
};

template <class Px>
void fill_random(rxtest::TestWorld<Px>& world, std::mt19937& rng) {
  for (int32_t y = 0; y < world.height(); ++y) {
    for (int32_t x = 0; x < world.width(); ++x) {
      Px& p = world.at(x, y);
      if constexpr (sizeof(Px) == 16) {
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        p = {unit(rng), unit(rng), unit(rng), unit(rng)};
      } else {
        using Cv = decltype(p.red);
        const uint32_t white = sizeof(Px) == 4 ? 255 : 32768;
        p = {Cv(rng() % (white + 1)), Cv(rng() % (white + 1)), Cv(rng() % (white + 1)),
             Cv(rng() % (white + 1))};
      }
    }
  }
}

template <class Px>
void fold(Checksum& sum, rxtest::TestWorld<Px>& world) {
  for (int32_t y = 0; y < world.height(); ++y) sum.add(&world.at(0, y), world.width() * sizeof(Px));
}

// The exact family: premultiplying against black, white and grey through
// the table's scans, alpha combines, byte-run mattes and matte colours.
template <class Px, class Cv>
void run_depth(std::mt19937& rng, Checksum& sum, int first_scan_slot, int alpha_slot) {
  using Scan = RX_Err (*)(int32_t, const Px*, Px*);
  using Combine = RX_Err (*)(int32_t, const Px*, Cv, const Px*, Px*);
  for (int round = 0; round < 30; ++round) {
    const int32_t w = int32_t(1 + rng() % 37), h = int32_t(1 + rng() % 9);
    rxtest::TestWorld<Px> world(w, h, int32_t(rng() % 3) * 4, int32_t(rng() % 4) * 4);
    fill_random(world, rng);
    const GE_LRect rect{int32_t(rng() % w), int32_t(rng() % h), w, h};
    EXPECT_EQ(RX_PremulRect(nullptr, 1, &rect, world.def()), RX_Result_OK);
    // White and grey premultiplies, straight from their slots, in place.
    for (int matte = 1; matte < 3; ++matte) {
      const auto scan = reinterpret_cast<Scan>(RXp_G_OverFuncs[first_scan_slot + 2 * matte]);
      const int32_t y = int32_t(rng() % h);
      scan(w, nullptr, &world.at(0, y));
    }
    // Mask rows: the alpha holds the mask value, the colours junk that
    // no combine may read.
    std::vector<Px> mask(static_cast<size_t>(w)), mask2(static_cast<size_t>(w));
    const auto mask_value = [&rng]() {
      return Cv(sizeof(Px) == 16 ? float(rng() % 1000) / 999.0f
                                 : float(rng() % (sizeof(Px) == 4 ? 256 : 32769)));
    };
    const auto junk = [&rng]() {
      if constexpr (sizeof(Px) == 16) return Cv(float(int32_t(rng() % 2001) - 1000) / 7.0f);
      else return Cv(rng());
    };
    for (auto* row : {&mask, &mask2}) {
      for (auto& m : *row) m = {mask_value(), junk(), junk(), junk()};
    }
    const Cv opacity = Cv(sizeof(Px) == 16 ? 0.75f : sizeof(Px) == 4 ? 200.0f : 20000.0f);
    const auto combine = reinterpret_cast<Combine>(RXp_G_OverFuncs[alpha_slot]);
    combine(w, mask.data(), opacity, (round % 2) ? mask2.data() : nullptr, &world.at(0, 0));
    fold(sum, world);
  }
}

uint64_t run_all(uint64_t seed) {
  std::mt19937 rng{static_cast<uint32_t>(seed)};
  Checksum sum;
  run_depth<RX_Pixel8, uint8_t>(rng, sum, RX_Slot_PremulScanBlack8, RX_Slot_AlphaCombineScan8);
  run_depth<RX_Pixel16, uint16_t>(rng, sum, RX_Slot_PremulScanBlack16, RX_Slot_AlphaCombineScan16);
  run_depth<RX_PixelFloat, float>(rng, sum, RX_Slot_PremulScanBlackFloat,
                                  RX_Slot_AlphaCombineScanFloat);
  // Byte runs and matte colours, alpha first and last.
  for (int round = 0; round < 40; ++round) {
    const int32_t count = int32_t(rng() % 41);
    std::vector<uint8_t> bytes(static_cast<size_t>(count) * 4 + 4);
    for (auto& b : bytes) b = uint8_t(rng() % 3 == 0 ? (rng() % 2) * 255 : rng());
    RX_BlackMatteARGB(nullptr, count, bytes.data());
    RX_DeBlackMatteARGB(nullptr, count, bytes.data());
    RX_BlackMatteBGRA(nullptr, count, bytes.data());
    sum.add(bytes.data(), bytes.size());
    rxtest::TestWorld<RX_Pixel8> world(int32_t(1 + rng() % 20), 3, 4, 4);
    fill_random(world, rng);
    const RX_Pixel8 colour{0, uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
    RX_MatteBlackToMatteColorARGB(world.def(), colour, 0);
    RX_MatteBlackToMatteColorBGRA(world.def(), colour, 0);
    fold(sum, world);
  }
  return sum.value;
}

class PremultiplyStress : public ::testing::Test {
 protected:
  void TearDown() override { RXHost_ResetCpuWords(); }
};

TEST_F(PremultiplyStress, ProcessorVariantsAgreeWithThePlainFormsOnRandomWork) {
  RXHost_ResetCpuWords();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  const uint64_t with_variants = run_all(20261122);
  ASSERT_EQ(RX_Death(), RX_Result_OK);

  RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 0);
  RXHost_SetCpuWord(rxtest::kCpuWordSSSE3, 0);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  // The plain forms are in the table now.
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_PremulScanBlack8], rxtest::form<RX_OverFunc>(RX_Slot_PremulScanBlack8, false));
  const uint64_t plain = run_all(20261122);
  ASSERT_EQ(RX_Death(), RX_Result_OK);

  EXPECT_EQ(with_variants, plain);
}

}  // namespace
