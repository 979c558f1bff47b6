// The box scans chosen at birth: for the premultiplied form, the packed
// SSE2 scans where the processor has SSE2, the scalar ones otherwise; the
// straight form is always scalar.
#include "filters/box_scans.h"

#include "frame/variants.h"

namespace rx {
namespace {

template <class Px, BoxForm F>
ChosenForm<void(const BoxScanArgs*)>& chosen_premultiplied() {
  static ChosenForm<void(const BoxScanArgs*)> form(&box_scan<Px, F>);
  return form;
}

template <class Px, BoxForm F>
Variant premultiplied_entry(const char* name) {
  return {name, chosen_premultiplied<Px, F>().place(), as_form(&box_scan<Px, F>),
          as_form(&box_scan_sse2<Px, F>), kNeedsSSE2};
}

}  // namespace

template <class Px>
BoxScan box_scan_for(RX_BlurChannels channels, int32_t form) {
  if (form != 1) return scalar_box_scan<Px>(channels);
  switch (channels & kBlurAllChannels) {
    case RX_BLUR_ALPHA:
      return chosen_premultiplied<Px, BoxForm::kAlphaOnly>().get();
    case kBlurAllChannels:
      return chosen_premultiplied<Px, BoxForm::kAllFour>().get();
    default:
      return chosen_premultiplied<Px, BoxForm::kSubset>().get();
  }
}

template BoxScan box_scan_for<RX_Pixel8>(RX_BlurChannels, int32_t);
template BoxScan box_scan_for<RX_Pixel16>(RX_BlurChannels, int32_t);
template BoxScan box_scan_for<RX_PixelFloat>(RX_BlurChannels, int32_t);

VariantList box_blur_variants() {
  static const Variant list[] = {
      premultiplied_entry<RX_Pixel8, BoxForm::kAlphaOnly>("box_blur.premultiplied8.alpha"),
      premultiplied_entry<RX_Pixel8, BoxForm::kAllFour>("box_blur.premultiplied8.all"),
      premultiplied_entry<RX_Pixel8, BoxForm::kSubset>("box_blur.premultiplied8.subset"),
      premultiplied_entry<RX_Pixel16, BoxForm::kAlphaOnly>("box_blur.premultiplied16.alpha"),
      premultiplied_entry<RX_Pixel16, BoxForm::kAllFour>("box_blur.premultiplied16.all"),
      premultiplied_entry<RX_Pixel16, BoxForm::kSubset>("box_blur.premultiplied16.subset"),
      premultiplied_entry<RX_PixelFloat, BoxForm::kAlphaOnly>("box_blur.premultiplied_float.alpha"),
      premultiplied_entry<RX_PixelFloat, BoxForm::kAllFour>("box_blur.premultiplied_float.all"),
      premultiplied_entry<RX_PixelFloat, BoxForm::kSubset>("box_blur.premultiplied_float.subset"),
  };
  return list;
}

}  // namespace rx
