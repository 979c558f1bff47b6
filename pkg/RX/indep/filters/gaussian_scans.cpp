// The Gaussian scans chosen at birth: the plain scans of gaussian_scans.h,
// or their AVX2 forms (gaussian_scans_avx2.cpp), which give the same
// results.
#include "filters/gaussian_scans.h"

namespace rx {
namespace {

template <class Px>
ChosenForm<void(const RX_GaussianJob*, const void*, intptr_t, void*, intptr_t)>& chosen_scan() {
  static ChosenForm<void(const RX_GaussianJob*, const void*, intptr_t, void*, intptr_t)> form(
      &gaussian_scan<Px>);
  return form;
}

}  // namespace

template <class Px>
GaussianScan chosen_gaussian_scan() {
  return chosen_scan<Px>().get();
}

template GaussianScan chosen_gaussian_scan<RX_Pixel8>();
template GaussianScan chosen_gaussian_scan<RX_Pixel16>();
template GaussianScan chosen_gaussian_scan<RX_PixelFloat>();

VariantList gaussian_blur_variants() {
  static const Variant list[] = {
      {"gaussian_blur.scan8", chosen_scan<RX_Pixel8>().place(), as_form(&gaussian_scan<RX_Pixel8>),
       as_form(&gaussian_scan_avx2<RX_Pixel8>), kNeedsAVX2},
      {"gaussian_blur.scan16", chosen_scan<RX_Pixel16>().place(),
       as_form(&gaussian_scan<RX_Pixel16>), as_form(&gaussian_scan_avx2<RX_Pixel16>), kNeedsAVX2},
      {"gaussian_blur.scan_float", chosen_scan<RX_PixelFloat>().place(),
       as_form(&gaussian_scan<RX_PixelFloat>), as_form(&gaussian_scan_avx2<RX_PixelFloat>),
       kNeedsAVX2},
  };
  return list;
}

}  // namespace rx
