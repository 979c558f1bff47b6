// Worlds through the colour engine: a transform between two built-in
// profiles, an engine transform applied to a world (one call for packed
// rows, else row by row with the alpha copied aside), the linearize
// transform of a profile, display profiles and calibrated gammas. Every
// engine result goes through TIN_VIZ_ETX, which throws for a non-zero one.
#include <cstring>

#include "KO/KO.h"
#include "RX_ColorManagement.h"
#include "RX_Fill.h"
#include "bridge/viz_client.h"
#include "colour/engine_calls.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"

namespace rx::colour {
namespace {

constexpr int32_t kProgressRowMask = 63;  // progress at rows 63, 127, ...

VIZ_PixelFormat format_for(int32_t bytes_a_channel) {
  switch (bytes_a_channel) {
    case 1:
      return VIZ_Format_prgb;
    case 2:
      return VIZ_Format_PRGB;
    default:
      return VIZ_Format_fRGB;
  }
}

// The alpha of one row, kept aside in a block of the utilities library.
class AlphaLine {
 public:
  explicit AlphaLine(size_t bytes) : block_(KO_AllocatePtr(kGeneralLocation, "colour engine alpha line", bytes)) {
    if (!block_) throw RX_Err{RX_Result_OutOfMemory};
  }
  AlphaLine(const AlphaLine&) = delete;
  AlphaLine& operator=(const AlphaLine&) = delete;
  ~AlphaLine() { KO_FreePtr(block_); }
  void* data() const { return block_; }

 private:
  void* block_;
};

template <class V>
void save_alpha(const void* row, int32_t width, void* line) {
  RX_Deinterleave1<V>(static_cast<const V*>(row), int32_t(4 * sizeof(V)), 0, 0, {width, 1}, {0, 0}, {0, 0},
                      static_cast<V*>(line));
}

template <class V>
void restore_alpha(const void* line, int32_t width, void* row) {
  RX_Interleave1to4<V>(static_cast<const V*>(line), 0, 0, {width, 1}, {0, 0}, {0, 0}, static_cast<V*>(row));
}

// Chooses the channel type by bytes a channel; another size is the
// package's unknown-depth failure.
template <class Body>
void by_channel(int32_t bytes, Body&& body) {
  switch (bytes) {
    case 1:
      return body.template operator()<uint8_t>();
    case 2:
      return body.template operator()<uint16_t>();
    case 4:
      return body.template operator()<float>();
    default:
      report_verification(msg::kUnknownWorldBitdepth);
      throw RX_Err{RX_Result_Internal};
  }
}

void ask_progress(const RX_ProgressInfo* progress, int32_t row, int32_t height) {
  RX_Err err = RX_Result_OK;
  if (progress->progress_func) {
    err = progress->progress_func(progress->refcon, row, height);
  } else if (progress->abort_func) {
    err = progress->abort_func(progress->refcon);
  }
  if (err != RX_Result_OK) throw err;
}

}  // namespace
}  // namespace rx::colour

using namespace rx::colour;

void RX_VIZApplyTransform(VIZTransform* transform, const RX_World* src, RX_World* dst, bool copy_alpha,
                          const RX_ProgressInfo* progress) {
  const auto apply = engine_method<VIZ_ApplyTransformProc>(rx::viz::kApplyTransform);
  const int32_t width = src->Width(), height = src->Height();
  const int32_t src_bytes = src->Depth() / 8, dst_bytes = dst->Depth() / 8;
  const VIZ_PixelFormat src_format = format_for(src_bytes), dst_format = format_for(dst_bytes);
  const _t_VIZ_Options* options = TIN_GetDefaultVIZOptions();

  if (!copy_alpha && src->RowStride() == width * src_bytes * 4 && dst->RowStride() == width * dst_bytes * 4) {
    // Packed rows: one call, so that the engine may use its large-block paths.
    TIN_VIZ_ETX(apply ? apply(transform, src->Data(), src_format, dst->Data(), dst_format, width * height, options)
                      : VIZ_Err_General);
    return;
  }
  for (int32_t y = 0; y < height; ++y) {
    const void* src_row = static_cast<const char*>(src->Data()) + intptr_t{y} * src->RowStride();
    void* dst_row = static_cast<char*>(dst->Data()) + intptr_t{y} * dst->RowStride();
    std::unique_ptr<AlphaLine> alpha;
    if (copy_alpha) {
      if (src_bytes != dst_bytes) {
        rx::report_verification(rx::msg::kChannelCopyAlphaDepths);
        throw RX_Err{RX_Result_Internal};
      }
      alpha = std::make_unique<AlphaLine>(size_t(width) * size_t(src_bytes));
      by_channel(src_bytes, [&]<class V>() { save_alpha<V>(src_row, width, alpha->data()); });
    }
    TIN_VIZ_ETX(apply ? apply(transform, src_row, src_format, dst_row, dst_format, width, options) : VIZ_Err_General);
    if (copy_alpha) by_channel(src_bytes, [&]<class V>() { restore_alpha<V>(alpha->data(), width, dst_row); });
    if (progress && (y & kProgressRowMask) == kProgressRowMask) ask_progress(progress, y, height);
  }
}

void RX_ConvertProfileToProfile(VIZ_ProfileCode from, VIZ_ProfileCode to, const RX_World* src, RX_World* dst,
                                bool copy_alpha, const RX_ProgressInfo* progress) {
  const auto from_code = engine_method<VIZ_ProfileFromCodeProc>(rx::viz::kProfileFromCode);
  TIN_VIZ_Profile from_profile, to_profile;
  VIZProfile* p = nullptr;
  TIN_VIZ_ETX(from_code ? from_code(from, &p) : VIZ_Err_General);
  from_profile.SetProfile(p);
  p = nullptr;
  TIN_VIZ_ETX(from_code(to, &p));
  to_profile.SetProfile(p);

  VIZTransform* transform = nullptr;
  TIN_VIZ_ETX(make_color_transform(from_profile.Get(), to_profile.Get(), kIntentUsed, TIN_GetDefaultVIZOptions(),
                                   &transform));
  try {
    RX_VIZApplyTransform(transform, src, dst, copy_alpha, progress);
  } catch (...) {
    unreference_quietly(transform);
    throw;
  }
  TIN_VIZ_ETX(engine_method<VIZ_UnReferenceTransformProc>(rx::viz::kUnReferenceTransform)(transform));
}

TIN_VIZ_Transform RX_GetLinearizeTransform(const TIN_VIZ_SharedProfile& from, const TIN_VIZ_SharedProfile& to,
                                           bool towards_linear) {
  const TIN_VIZ_SharedProfile f = from && !from->IsEmpty() ? from : TIN_VIZ_GetDefaultProfile();
  const TIN_VIZ_SharedProfile t = to && !to->IsEmpty() ? to : TIN_VIZ_GetDefaultProfile();
  const TIN_VIZ_SharedProfile linear = TIN_VIZ_GetLinearRGBProfile(towards_linear ? t : f);
  const _t_VIZ_Options* options = TIN_GetDefaultVIZOptions();
  VIZTransform* made = nullptr;
  if (towards_linear) {
    TIN_VIZ_ETX(make_color_transform(f->Get(), linear->Get(), kIntentUsed, options, &made));
  } else {
    TIN_VIZ_ETX(make_color_transform(linear->Get(), t->Get(), kIntentUsed, options, &made));
  }
  TIN_VIZ_Transform result;
  result.Reset(made);
  return result;
}

TIN_VIZ_Profile RX_GetPlatformDisplayProfile(const void* display) {
  VIZProfile* p = nullptr;
  if (display) {
    const auto monitor = engine_method<VIZ_MonitorProfileNProc>(rx::viz::kMonitorProfileN);
    TIN_VIZ_ETX(monitor ? monitor(display, &p) : VIZ_Err_General);
  } else {
    const auto main = engine_method<VIZ_MainMonitorProfileProc>(rx::viz::kMainMonitorProfile);
    TIN_VIZ_ETX(main ? main(&p) : VIZ_Err_General);
  }
  TIN_VIZ_Profile out;
  out.SetProfile(p);
  return out;
}

void RX_GetCalRGBGammas(const TIN_VIZ_Profile* profile, float* r, float* g, float* b) {
  const auto extract = engine_method<VIZ_ExtractCalRGBProc>(rx::viz::kExtractCalRGB);
  // The default profile is held while the engine reads it.
  const TIN_VIZ_SharedProfile fallback = profile ? TIN_VIZ_SharedProfile() : TIN_VIZ_GetDefaultProfile();
  VIZProfile* p = profile ? profile->Get() : fallback->Get();
  VIZ_CalRGB cal{};
  TIN_VIZ_ETX(extract ? extract(p, &cal) : VIZ_Err_General);
  if (r) *r = float(cal.gamma[0]);
  if (g) *g = float(cal.gamma[1]);
  if (b) *b = float(cal.gamma[2]);
}
