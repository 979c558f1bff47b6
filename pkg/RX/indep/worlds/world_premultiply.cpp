// Premultiplying a world object in place: against black through the
// override table's premultiply, against a colour through the colour form.
// Premultiplying a float world through the object is not available (the
// flat premultiply of its record is): those throw RX_Result_Internal.
#include <type_traits>

#include "RX_Premul.h"
#include "RX_World.h"
#include "frame/exception_boundary.h"

namespace {

template <class Px>
void refuse_float() {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) rx::throw_code(RX_Result_Internal);
}

void throw_if(RX_Err err) {
  if (err != RX_Result_OK) rx::throw_code(err);
}

}  // namespace

template <class Px>
void RX_WorldX<Px>::Premultiply(const RX_ProgressInfo* progress) {
  refuse_float<Px>();
  throw_if(RX_PremulRect(progress, 1, nullptr, &def_));
}

template <class Px>
void RX_WorldX<Px>::Unmultiply(const RX_ProgressInfo* progress) {
  refuse_float<Px>();
  throw_if(RX_PremulRect(progress, 0, nullptr, &def_));
}

// The colour is converted to the world's depth with all channels clamped.
template <class Px>
void RX_WorldX<Px>::PremulColor(const RX_PixelFloat& colour, const RX_ProgressInfo* progress) {
  refuse_float<Px>();
  throw_if(RX_PremulColorRectFloat(progress, &def_, &colour, 1, nullptr, &def_));
}

template <class Px>
void RX_WorldX<Px>::UnmulColor(const RX_PixelFloat& colour, const RX_ProgressInfo* progress) {
  refuse_float<Px>();
  throw_if(RX_PremulColorRectFloat(progress, &def_, &colour, 0, nullptr, &def_));
}

#define RX_INSTANTIATE_PREMULTIPLY(Px)                                                     \
  template void RX_WorldX<Px>::Premultiply(const RX_ProgressInfo*);                        \
  template void RX_WorldX<Px>::Unmultiply(const RX_ProgressInfo*);                         \
  template void RX_WorldX<Px>::PremulColor(const RX_PixelFloat&, const RX_ProgressInfo*);  \
  template void RX_WorldX<Px>::UnmulColor(const RX_PixelFloat&, const RX_ProgressInfo*);

RX_INSTANTIATE_PREMULTIPLY(RX_Pixel8)
RX_INSTANTIATE_PREMULTIPLY(RX_Pixel16)
RX_INSTANTIATE_PREMULTIPLY(RX_PixelFloat)
