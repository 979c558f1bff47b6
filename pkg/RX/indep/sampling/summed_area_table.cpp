// Summed-area tables: built once from a world, then any box costs four
// reads (sixteen with antialiased edges). Entries hold the mean of the
// premultiplied rectangle up to them rather than its sum, so float entries
// keep the low bits of large sums; readers multiply the integer area back.
// Sums run in double; the SSE2 build agrees with the plain one to the last
// place.
#include <cmath>
#include <cstring>
#include <utility>

#include "frame/exception_boundary.h"
#include "frame/variants.h"
#include "frame/reports.h"
#include "RX_Messages.h"
#include "sampling/area_sample.h"

namespace {

constexpr int32_t kTableLocation = rx::location(0x4C);

// The two running rows of double sums: width + 1 pixels each, the first
// being the zero guard left of column 0.
struct SumRows {
  void* block = nullptr;
  RX_PixelDouble* rows[2] = {nullptr, nullptr};

  explicit SumRows(int32_t width) {
    const size_t row_pixels = size_t(width) + 1;
    block = KO_AllocatePtr(kTableLocation, RXp_String(RX_Str_BlurMemory),
                           2 * row_pixels * sizeof(RX_PixelDouble) + 16);
    if (!block) return;
    const auto aligned = (reinterpret_cast<uintptr_t>(block) + 15) & ~uintptr_t{15};
    rows[0] = reinterpret_cast<RX_PixelDouble*>(aligned);
    rows[1] = rows[0] + row_pixels;
    // The row above row 0 is all zero; the other needs only its guard.
    std::memset(rows[0], 0, row_pixels * sizeof(RX_PixelDouble));
    rows[1][0] = RX_PixelDouble{};
  }
  ~SumRows() {
    if (block) KO_FreePtr(block);
  }
  SumRows(const SumRows&) = delete;
  SumRows& operator=(const SumRows&) = delete;
};

template <class Entry>
Entry* table_block(int32_t width, int32_t height) {
  const size_t bytes = size_t(width) * size_t(height) * sizeof(Entry);
  return static_cast<Entry*>(KO_AllocatePtr(kTableLocation, RXp_String(RX_Str_BlurMemory), bytes));
}

// The row builder of a depth that birth chose.
template <class Px, class Entry>
rx::ChosenForm<std::remove_pointer_t<rx::TableRowBuilder<Px, Entry>>>& chosen_row_builder() {
  static rx::ChosenForm<std::remove_pointer_t<rx::TableRowBuilder<Px, Entry>>> form{
      &rx::build_table_row<Px, Entry>};
  return form;
}

template <class Px, class Entry>
void build(const RX_World& world, Entry* entries, SumRows& rows) {
  const int32_t width = world.Width(), height = world.Height();
  const rx::TableRowBuilder<Px, Entry> build_row = chosen_row_builder<Px, Entry>().get();
  RX_PixelDouble* above = rows.rows[0];
  RX_PixelDouble* current = rows.rows[1];
  for (int32_t y = 0; y < height; ++y) {
    const auto* src = reinterpret_cast<const Px*>(static_cast<const char*>(world.Data()) +
                                                  intptr_t{y} * world.RowStride());
    build_row(src, width, y, above, current, entries + size_t(y) * size_t(width));
    std::swap(above, current);
  }
}

}  // namespace

namespace rx {

VariantList summed_area_table_variants() {
  static const Variant list[] = {
      {"summed_area_table.row8", chosen_row_builder<RX_Pixel8, RX_PixelFloat>().place(),
       as_form(&build_table_row<RX_Pixel8, RX_PixelFloat>), as_form(&build_table_row_sse2<RX_Pixel8, RX_PixelFloat>),
       kNeedsSSE2},
      {"summed_area_table.row16", chosen_row_builder<RX_Pixel16, RX_PixelFloat>().place(),
       as_form(&build_table_row<RX_Pixel16, RX_PixelFloat>),
       as_form(&build_table_row_sse2<RX_Pixel16, RX_PixelFloat>), kNeedsSSE2},
      {"summed_area_table.row_float", chosen_row_builder<RX_PixelFloat, RX_PixelDouble>().place(),
       as_form(&build_table_row<RX_PixelFloat, RX_PixelDouble>),
       as_form(&build_table_row_sse2<RX_PixelFloat, RX_PixelDouble>), kNeedsSSE2},
  };
  return list;
}

}  // namespace rx

RX_SummedAreaTable::RX_SummedAreaTable(const RX_World* world)
    : width_(world->Width()), height_(world->Height()) {
  if (width_ <= 0 || height_ <= 0) return;
  // 8 and 16-bit pictures keep float entries; any other depth takes the
  // double table and is read as float pixels.
  const int16_t depth = world->Depth();
  const bool float_entries = depth == 8 || depth == 16;
  if (float_entries) {
    table_ = table_block<RX_PixelFloat>(width_, height_);
  } else {
    double_table_ = table_block<RX_PixelDouble>(width_, height_);
  }
  if (!table_ && !double_table_) rx::throw_code(RX_Result_OutOfMemory);
  SumRows rows(width_);
  if (!rows.block) {
    KO_FreePtr(float_entries ? static_cast<void*>(table_) : static_cast<void*>(double_table_));
    table_ = nullptr;
    double_table_ = nullptr;
    rx::throw_code(RX_Result_OutOfMemory);
  }
  switch (depth) {
    case 8:
      build<RX_Pixel8>(*world, table_, rows);
      break;
    case 16:
      build<RX_Pixel16>(*world, table_, rows);
      break;
    default:
      build<RX_PixelFloat>(*world, double_table_, rows);
      break;
  }
}

RX_SummedAreaTable::~RX_SummedAreaTable() {
  if (table_) KO_FreePtr(table_);
  if (double_table_) KO_FreePtr(double_table_);
}

namespace {

// Alpha over the unclipped area, colours the alpha-weighted means, each
// limited to 0..white and rounded for integer pixels.
template <class Out>
Out table_result(const RX_PixelDouble& sum, double area) {
  using Cv = typename rx::Depth<Out>::Cv;
  constexpr double white = double(rx::Depth<Out>::white);
  if (!(sum.alpha > 0.0)) return Out{};
  auto channel = [&](double v) {
    v = std::clamp(v, 0.0, white);
    if constexpr (std::is_floating_point_v<Cv>) {
      return Cv(v);
    } else {
      return Cv(v + 0.5);
    }
  };
  return Out{channel(sum.alpha / area), channel(sum.red * white / sum.alpha),
             channel(sum.green * white / sum.alpha), channel(sum.blue * white / sum.alpha)};
}

// Adds entry × factor to the sum.
template <class Acc>
void add_entry(RX_PixelDouble& sum, const Acc& entry, double factor) {
  sum.alpha += double(entry.alpha) * factor;
  sum.red += double(entry.red) * factor;
  sum.green += double(entry.green) * factor;
  sum.blue += double(entry.blue) * factor;
}

template <class Acc>
const Acc& entry_at(const Acc* table, int32_t width, int64_t column, int64_t row) {
  return table[row * width + column];
}

}  // namespace

template <class Out, class Acc>
void RX_SummedAreaTable_SampleDraft(int32_t width, int32_t height, const Acc* table, int32_t x0,
                                    int32_t y0, int32_t x1, int32_t y1, Out* result) {
  const int64_t area = (int64_t{x1} - x0) * (int64_t{y1} - y0);
  const int64_t left = std::max<int64_t>(x0, 0), top = std::max<int64_t>(y0, 0);
  const int64_t right = std::min<int64_t>(x1, width), bottom = std::min<int64_t>(y1, height);
  if (area <= 0 || left >= right || top >= bottom) {
    *result = Out{};
    return;
  }
  // Corner (cx, cy) stands for the sum of the cx × cy pixels before it; a
  // corner on the row or column before the first stands for nothing.
  RX_PixelDouble sum{};
  auto corner = [&](int64_t cx, int64_t cy, double sign) {
    const int64_t pixels = cx * cy;
    if (pixels != 0) add_entry(sum, entry_at(table, width, cx - 1, cy - 1), double(pixels) * sign);
  };
  corner(right, bottom, 1.0);
  corner(left, top, 1.0);
  corner(left, bottom, -1.0);
  corner(right, top, -1.0);
  *result = table_result<Out>(sum, double(area));
}

template <class Out, class Acc>
void RX_SummedAreaTable_SampleAA(int32_t width, int32_t height, const Acc* table, float x0,
                                 float y0, float x1, float y1, Out* result) {
  // Corners name pixel centres; half a pixel more is an edge.
  x0 += 0.5f;
  y0 += 0.5f;
  x1 += 0.5f;
  y1 += 0.5f;
  const double area = (double(x1) - double(x0)) * (double(y1) - double(y0));
  if (!(area > 0.0)) {
    *result = Out{};
    return;
  }
  // The upper limits stay short of the last edge, so that the entries
  // right of and below a corner exist wherever their weight is not 0.
  x0 = std::max(x0, 0.0f);
  y0 = std::max(y0, 0.0f);
  x1 = std::min(x1, float(width) - 1e-5f);
  y1 = std::min(y1, float(height) - 1e-5f);
  if (!(x0 < x1) || !(y0 < y1)) {
    *result = Out{};
    return;
  }
  // Each corner is the bilinear mix of the four whole-pixel corners around
  // it, each of those being entry × its pixel count, as in the draft form.
  RX_PixelDouble sum{};
  auto corner = [&](float cx, float cy, double sign) {
    const double i = std::floor(double(cx)), j = std::floor(double(cy));
    const double fx = double(cx) - i, fy = double(cy) - j;
    const int64_t column = int64_t(i), row = int64_t(j);
    auto tap = [&](int64_t tx, int64_t ty, double weight) {
      const double factor = weight * double(tx * ty) * sign;
      if (factor != 0.0) add_entry(sum, entry_at(table, width, tx - 1, ty - 1), factor);
    };
    tap(column, row, (1.0 - fx) * (1.0 - fy));
    tap(column + 1, row, fx * (1.0 - fy));
    tap(column, row + 1, (1.0 - fx) * fy);
    tap(column + 1, row + 1, fx * fy);
  };
  corner(x1, y1, 1.0);
  corner(x0, y0, 1.0);
  corner(x0, y1, -1.0);
  corner(x1, y0, -1.0);
  *result = table_result<Out>(sum, area);
}

template void RX_SummedAreaTable_SampleAA<RX_Pixel16, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, float, float, float, float, RX_Pixel16*);
template void RX_SummedAreaTable_SampleAA<RX_Pixel8, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, float, float, float, float, RX_Pixel8*);
template void RX_SummedAreaTable_SampleAA<RX_PixelFloat, RX_PixelDouble>(
    int32_t, int32_t, const RX_PixelDouble*, float, float, float, float, RX_PixelFloat*);

template void RX_SummedAreaTable_SampleDraft<RX_Pixel16, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, int32_t, int32_t, int32_t, int32_t, RX_Pixel16*);
template void RX_SummedAreaTable_SampleDraft<RX_Pixel8, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, int32_t, int32_t, int32_t, int32_t, RX_Pixel8*);
template void RX_SummedAreaTable_SampleDraft<RX_PixelFloat, RX_PixelDouble>(
    int32_t, int32_t, const RX_PixelDouble*, int32_t, int32_t, int32_t, int32_t,
    RX_PixelFloat*);
