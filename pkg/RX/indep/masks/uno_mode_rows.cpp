// The plain rows of the uno modes at 8 and 16 bits, one body over the
// depth's white and multiply, the 8-into-16 Add row, the plain dithered
// Screen, and the rows with opacity. Every rule is exact: rnd8(p) =
// (p + 128 + ((p + 128) >> 8)) >> 8 at 8 bits, (p + 16383) >> 15 at 16.
#include "masks/uno_mode_rows.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "masks/uno_access.h"
#include "worlds/depth_arith.h"
#include "worlds/value_conversions.h"

namespace rx::uno {
namespace {

// A value of the buffer and the depth's multiply, the package's one.
struct Uno8 : DepthArith<RX_Pixel8> {
  using V = uint8_t;
};

struct Uno16 : DepthArith<RX_Pixel16> {
  using V = uint16_t;
};

template <class D, int Mode>
int32_t combine(int32_t s, int32_t d) {
  constexpr int32_t W = D::white;
  if constexpr (Mode == 2) {
    return D::mul(W - s, d);
  } else if constexpr (Mode == 3) {
    return D::mul(s, d);
  } else if constexpr (Mode == 4) {
    return std::max(s, d);
  } else if constexpr (Mode == 5) {
    return std::min(s, d);
  } else if constexpr (Mode == 6) {
    return std::abs(s - d);
  } else if constexpr (Mode == 7) {
    return std::min(s + d, W);
  } else {  // Screen
    return W - D::mul(W - s, W - d);
  }
}

template <class D, int Mode>
void mode_row(int32_t count, const typename D::V* src, typename D::V* dst) {
  using V = typename D::V;
  for (int32_t i = 0; i < count; ++i) dst[i] = V(combine<D, Mode>(src[i], dst[i]));
}

// Modes -1 to 7 at index mode + 1; index 1 (mode 0) is filled per depth.
constexpr int kFirstMode = -1;
constexpr int kModeCount = 9;

template <class D, class Row, size_t... I>
constexpr std::array<Row, kModeCount> make_table(std::index_sequence<I...>) {
  return {&mode_row<D, int(I) + kFirstMode>...};
}

const auto kTable8 = make_table<Uno8, Row8>(std::make_index_sequence<kModeCount>{});
const auto kTable16 = make_table<Uno16, Row16>(std::make_index_sequence<kModeCount>{});

ChosenForm<void(int32_t, const uint8_t*, uint8_t*)> g_dithered_row8(dithered_screen_row8);

int32_t noise_byte(uint32_t word) { return int32_t(word & 0xff); }

}  // namespace

Row8 mode_row8(int32_t mode) {
  if (mode == RX_UnoMode_DitheredScreen) return g_dithered_row8.get();
  if (mode < RX_UnoMode_Screen || mode > RX_UnoMode_Add) return kTable8[RX_UnoMode_Screen - kFirstMode];
  return kTable8[mode - kFirstMode];
}

Row16 mode_row16(int32_t mode) {
  if (mode == 0 || mode < kFirstMode || mode > RX_UnoMode_Add) return nullptr;
  return kTable16[mode - kFirstMode];
}

void dithered_screen_row8(int32_t count, const uint8_t* src, uint8_t* dst) {
  DitherCursor cursor;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t p = (kWhite8 - src[i]) * (kWhite8 - dst[i]) + noise_byte(cursor.next());
    dst[i] = uint8_t(kWhite8 - ((p + (p >> 8)) >> 8));
  }
}

void opacity_row8(int32_t count, const uint8_t* src, uint8_t* dst, int32_t mode, uint16_t opacity,
                  uint16_t limit) {
  if (mode == RX_UnoMode_Screen) {
    for (int32_t i = 0; i < count; ++i) {
      const int64_t c = rnd8(int64_t(src[i]) * opacity);
      const int64_t d = dst[i];
      if (d < limit) dst[i] = uint8_t(d + rnd8((limit - d) * c));
    }
  } else if (mode == RX_UnoMode_DitheredScreen) {
    DitherCursor cursor;
    for (int32_t i = 0; i < count; ++i) {
      const int64_t c = rnd8(int64_t(src[i]) * opacity);
      const int64_t d = dst[i];
      const int64_t v = noise_byte(cursor.next()) + (limit - d) * c;
      if (d <= limit) dst[i] = uint8_t(d + ((v + (v >> 8)) >> 8));
    }
  } else {
    for (int32_t i = 0; i < count; ++i) {
      const int64_t c = rnd8(int64_t(src[i]) * opacity);
      dst[i] = uint8_t(std::min<int64_t>(dst[i] + c, kWhite8));
    }
  }
}

template <class Src>
void opacity_row16(int32_t count, const Src* src, uint16_t* dst, int32_t mode, uint16_t opacity,
                   uint16_t limit) {
  const bool screen = mode == RX_UnoMode_Screen || mode == RX_UnoMode_DitheredScreen;
  for (int32_t i = 0; i < count; ++i) {
    const int64_t c = ((uint32_t(src[i]) * opacity + 16383) >> 15) & 0xffff;
    const int64_t d = dst[i];
    if (screen) {
      if (d < limit) dst[i] = uint16_t(d + ((c * (limit - d)) >> 15));
    } else {
      dst[i] = uint16_t(std::min<int64_t>(d + c, kWhite16));
    }
  }
}

template void opacity_row16<uint8_t>(int32_t, const uint8_t*, uint16_t*, int32_t, uint16_t,
                                     uint16_t);
template void opacity_row16<uint16_t>(int32_t, const uint16_t*, uint16_t*, int32_t, uint16_t,
                                      uint16_t);

}  // namespace rx::uno

namespace rx {

VariantList uno_mode_rows_variants() {
  static const Variant list[] = {
      {"uno_mode_rows.dithered_screen8", uno::g_dithered_row8.place(), as_form(&uno::dithered_screen_row8),
       as_form(&uno::dithered_screen_row8_sse2), kNeedsSSE2},
  };
  return list;
}

}  // namespace rx

void RX_UnoAddRow8To16_S(int32_t count, const uint8_t* src, uint16_t* dst) {
  // Unclamped: 65535 + 1 wraps to 0.
  for (int32_t i = 0; i < count; ++i) dst[i] = uint16_t(dst[i] + src[i]);
}
