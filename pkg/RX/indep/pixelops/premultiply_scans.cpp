// Plain premultiply, unmultiply and alpha combine scans of every depth and
// matte, and the list of scan slots with their processor variants.
#include "pixelops/premultiply_scans.h"

#include <array>

#include "frame/variants.h"

namespace rx {

template <class Px>
RX_Err alpha_combine_scan(int32_t count, const Px* mask, typename Depth<Px>::Cv opacity, const Px* mask2,
                          Px* dst) {
  using A = DepthArith<Px>;
  using Cv = typename A::Cv;
  if (count < 1 || opacity == Cv(0)) return RX_Result_OK;
  for (int32_t i = 0; i < count; ++i) {
    typename A::V b = A::mul(mask[i].alpha, opacity);  // exact at full opacity
    if (mask2) b = A::mul(b, mask2[i].alpha);
    dst[i].alpha = Cv(A::unite(b, dst[i].alpha));  // 1 - (1 - b)(1 - d)
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
  return as_form(&premultiply_scan<Px, M, Forward>);
}

// Per depth: premultiply and unmultiply for black, white and grey, then
// alpha combine, in slot order.
template <class Px>
void add_depth(std::array<Variant, 21>& list, size_t& n, const char* const names[7], int first_slot,
               int alpha_slot, bool last_unmultiply_has_variant, bool first_premultiply_has_variant) {
  const RX_OverFunc plains[6] = {
      plain_scan<Px, Matte::Black, true>(), plain_scan<Px, Matte::Black, false>(),
      plain_scan<Px, Matte::White, true>(), plain_scan<Px, Matte::White, false>(),
      plain_scan<Px, Matte::Grey, true>(),  plain_scan<Px, Matte::Grey, false>()};
  for (int i = 0; i < 6; ++i) {
    const auto slot = static_cast<RX_Slot>(first_slot + i);
    const bool has_variant = (i != 0 || first_premultiply_has_variant) &&
                             (i != 5 || last_unmultiply_has_variant);
    list[n++] = {names[i], &RXp_G_OverFuncs[slot], plains[i],
                 has_variant ? ssse3_premultiply_scan(slot) : nullptr, kNeedsSSSE3};
  }
  const auto alpha = static_cast<RX_Slot>(alpha_slot);
  list[n++] = {names[6], &RXp_G_OverFuncs[alpha], as_form(&alpha_combine_scan<Px>),
               sse2_alpha_combine_scan(alpha), kNeedsSSE2};
}

constexpr const char* kNames8[7] = {
    "premultiply_scans.premultiply_black8", "premultiply_scans.unmultiply_black8",
    "premultiply_scans.premultiply_white8", "premultiply_scans.unmultiply_white8",
    "premultiply_scans.premultiply_grey8",  "premultiply_scans.unmultiply_grey8",
    "premultiply_scans.alpha_combine8"};
constexpr const char* kNames16[7] = {
    "premultiply_scans.premultiply_black16", "premultiply_scans.unmultiply_black16",
    "premultiply_scans.premultiply_white16", "premultiply_scans.unmultiply_white16",
    "premultiply_scans.premultiply_grey16",  "premultiply_scans.unmultiply_grey16",
    "premultiply_scans.alpha_combine16"};
constexpr const char* kNamesFloat[7] = {
    "premultiply_scans.premultiply_black_float", "premultiply_scans.unmultiply_black_float",
    "premultiply_scans.premultiply_white_float", "premultiply_scans.unmultiply_white_float",
    "premultiply_scans.premultiply_grey_float",  "premultiply_scans.unmultiply_grey_float",
    "premultiply_scans.alpha_combine_float"};

std::array<Variant, 21> make_list() {
  std::array<Variant, 21> list{};
  size_t n = 0;
  // The 16-bit black premultiply and the float grey unmultiply have no variant.
  add_depth<RX_Pixel8>(list, n, kNames8, RX_Slot_PremulScanBlack8, RX_Slot_AlphaCombineScan8, true, true);
  add_depth<RX_Pixel16>(list, n, kNames16, RX_Slot_PremulScanBlack16, RX_Slot_AlphaCombineScan16, true, false);
  add_depth<RX_PixelFloat>(list, n, kNamesFloat, RX_Slot_PremulScanBlackFloat, RX_Slot_AlphaCombineScanFloat,
                           false, true);
  return list;
}

}  // namespace

VariantList premultiply_scans_variants() {
  static const std::array<Variant, 21> list = make_list();
  return list;
}

}  // namespace rx
