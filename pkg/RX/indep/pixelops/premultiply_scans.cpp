// Plain premultiply, unmultiply and alpha combine scans of every depth and
// matte, and the list of scan slots with their processor variants.
#include "pixelops/premultiply_scans.h"

#include <array>

namespace rx {

template <class Px>
RX_Err alpha_combine_scan(int32_t count, const Px* mask, typename Depth<Px>::Cv opacity, const Px* mask2,
                          Px* dst) {
  using Cv = typename Depth<Px>::Cv;
  constexpr auto white = Depth<Px>::white;
  if (count < 1 || opacity == Cv(0)) return RX_Result_OK;
  for (int32_t i = 0; i < count; ++i) {
    if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
      float b = mask[i].alpha * opacity;
      if (mask2) b *= mask2[i].alpha;
      dst[i].alpha = 1.0f - (1.0f - b) * (1.0f - dst[i].alpha);
    } else if constexpr (std::is_same_v<Px, RX_Pixel8>) {
      uint32_t b = opacity == 255 ? mask[i].alpha : m255(uint32_t(mask[i].alpha) * opacity);
      if (mask2) b = m255(b * mask2[i].alpha);
      dst[i].alpha = uint8_t(255 - m255((255 - b) * (255 - dst[i].alpha)));
    } else {
      uint32_t b = opacity == white ? mask[i].alpha : mul16(mask[i].alpha, opacity);
      if (mask2) b = mul16(b, mask2[i].alpha);
      dst[i].alpha = uint16_t(32768 - mul16(uint16_t(32768 - b), uint16_t(32768 - dst[i].alpha)));
    }
  }
  return RX_Result_OK;
}

template RX_Err alpha_combine_scan<RX_Pixel8>(int32_t, const RX_Pixel8*, uint8_t, const RX_Pixel8*, RX_Pixel8*);
template RX_Err alpha_combine_scan<RX_Pixel16>(int32_t, const RX_Pixel16*, uint16_t, const RX_Pixel16*,
                                               RX_Pixel16*);
template RX_Err alpha_combine_scan<RX_PixelFloat>(int32_t, const RX_PixelFloat*, float, const RX_PixelFloat*,
                                                  RX_PixelFloat*);

namespace {

template <class Px, Matte M, bool Forward>
RX_OverFunc plain_scan() {
  return reinterpret_cast<RX_OverFunc>(&premultiply_scan<Px, M, Forward>);
}
template <class Px>
RX_OverFunc plain_alpha_combine() {
  return reinterpret_cast<RX_OverFunc>(&alpha_combine_scan<Px>);
}

// Per depth: premultiply and unmultiply for black, white and grey, then
// alpha combine, in slot order.
template <class Px>
void add_depth(std::array<ScanSlot, 21>& slots, size_t& n, int first_slot, int alpha_slot,
               bool last_unmultiply_has_variant, bool first_premultiply_has_variant) {
  const RX_OverFunc plains[6] = {
      plain_scan<Px, Matte::Black, true>(), plain_scan<Px, Matte::Black, false>(),
      plain_scan<Px, Matte::White, true>(), plain_scan<Px, Matte::White, false>(),
      plain_scan<Px, Matte::Grey, true>(),  plain_scan<Px, Matte::Grey, false>()};
  for (int i = 0; i < 6; ++i) {
    const auto slot = static_cast<RX_Slot>(first_slot + i);
    const bool has_variant = (i != 0 || first_premultiply_has_variant) &&
                             (i != 5 || last_unmultiply_has_variant);
    slots[n++] = {slot, plains[i], has_variant ? ssse3_premultiply_scan(slot) : nullptr, true};
  }
  const auto alpha = static_cast<RX_Slot>(alpha_slot);
  slots[n++] = {alpha, plain_alpha_combine<Px>(), sse2_alpha_combine_scan(alpha), false};
}

std::array<ScanSlot, 21> make_scan_slots() {
  std::array<ScanSlot, 21> slots{};
  size_t n = 0;
  // The 16-bit black premultiply and the float grey unmultiply have no variant.
  add_depth<RX_Pixel8>(slots, n, RX_Slot_PremulScanBlack8, RX_Slot_AlphaCombineScan8, true, true);
  add_depth<RX_Pixel16>(slots, n, RX_Slot_PremulScanBlack16, RX_Slot_AlphaCombineScan16, true,
                        false);
  add_depth<RX_PixelFloat>(slots, n, RX_Slot_PremulScanBlackFloat, RX_Slot_AlphaCombineScanFloat,
                           false, true);
  return slots;
}

}  // namespace

const ScanSlot* scan_slots(size_t* count) {
  static const std::array<ScanSlot, 21> slots = make_scan_slots();
  *count = slots.size();
  return slots.data();
}

}  // namespace rx

RX_OverFunc RXp_ScanForm(int32_t slot, int32_t vector) {
  size_t count = 0;
  const rx::ScanSlot* slots = rx::scan_slots(&count);
  for (size_t i = 0; i < count; ++i) {
    if (slots[i].slot == slot) return vector ? slots[i].vector : slots[i].plain;
  }
  return nullptr;
}
