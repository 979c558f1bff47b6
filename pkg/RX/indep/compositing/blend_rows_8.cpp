// The row functions of the 8-bit depth, their four look-ups, and the
// processor forms birth may put into the tables: Copy on SSE2 (its gamma
// row serves the linear look-up too), Over and the matte modes without
// tables on SSSE3, then AVX2.
#include <string>
#include <vector>

#include "compositing/blend_row_tables.h"

RX_INSTANTIATE_ROW_LOOKUPS(RX_Pixel8)

namespace rx {
namespace {

using blend::RowForm;
using blend::gamma_row;
using blend::row_place;

template <int Mode, bool HasMask>
RX_OverFunc row_form(RowForm form) {
  switch (form) {
    case RowForm::SSE2: return as_form(&gamma_row<RX_Pixel8, Mode, HasMask, RowForm::SSE2>);
    case RowForm::SSSE3: return as_form(&gamma_row<RX_Pixel8, Mode, HasMask, RowForm::SSSE3>);
    case RowForm::AVX2: return as_form(&gamma_row<RX_Pixel8, Mode, HasMask, RowForm::AVX2>);
    default: return as_form(&gamma_row<RX_Pixel8, Mode, HasMask, RowForm::Plain>);
  }
}

struct RowVariants {
  std::vector<std::string> names;  // the entries point into these
  std::vector<Variant> list;
};

// Over and the matte modes: the SSSE3 form, then the AVX2 form of the same
// place, with and without a mask.
template <int Mode>
void add_wide_rows(RowVariants& rows, const char* mode_name) {
  for (const bool mask : {false, true}) {
    RX_OverFunc* place = mask ? row_place<RX_Pixel8, true, false>(Mode) : row_place<RX_Pixel8, false, false>(Mode);
    const RX_OverFunc plain = mask ? row_form<Mode, true>(RowForm::Plain) : row_form<Mode, false>(RowForm::Plain);
    const std::string name = std::string("blend_rows8.") + mode_name + (mask ? ".mask" : "");
    auto form = [&](RowForm f) { return mask ? row_form<Mode, true>(f) : row_form<Mode, false>(f); };
    rows.names.push_back(name);
    rows.list.push_back({nullptr, place, plain, form(RowForm::SSSE3), kNeedsSSSE3});
    rows.names.push_back(name + ".avx2");
    rows.list.push_back({nullptr, place, plain, form(RowForm::AVX2), kNeedsAVX2});
  }
}

RowVariants make_row_variants() {
  RowVariants rows;
  for (const bool linear : {false, true}) {
    for (const bool mask : {false, true}) {
      RX_OverFunc* place = linear ? (mask ? row_place<RX_Pixel8, true, true>(RX_Xfer_Copy)
                                          : row_place<RX_Pixel8, false, true>(RX_Xfer_Copy))
                                  : (mask ? row_place<RX_Pixel8, true, false>(RX_Xfer_Copy)
                                          : row_place<RX_Pixel8, false, false>(RX_Xfer_Copy));
      rows.names.push_back(std::string("blend_rows8.copy") + (mask ? ".mask" : "") + (linear ? ".linear" : ""));
      rows.list.push_back({nullptr, place,
                           mask ? row_form<RX_Xfer_Copy, true>(RowForm::Plain)
                                : row_form<RX_Xfer_Copy, false>(RowForm::Plain),
                           mask ? row_form<RX_Xfer_Copy, true>(RowForm::SSE2)
                                : row_form<RX_Xfer_Copy, false>(RowForm::SSE2),
                           kNeedsSSE2});
    }
  }
  add_wide_rows<RX_Xfer_Over>(rows, "over");
  add_wide_rows<RX_Xfer_Add>(rows, "add");
  add_wide_rows<RX_Xfer_Multiply>(rows, "multiply");
  add_wide_rows<RX_Xfer_Screen>(rows, "screen");
  add_wide_rows<RX_Xfer_Overlay>(rows, "overlay");
  add_wide_rows<RX_Xfer_HardLight>(rows, "hardlight");
  add_wide_rows<RX_Xfer_Darken>(rows, "darken");
  add_wide_rows<RX_Xfer_Lighten>(rows, "lighten");
  add_wide_rows<RX_Xfer_Difference>(rows, "difference");
  add_wide_rows<RX_Xfer_Exclusion>(rows, "exclusion");
  for (size_t i = 0; i < rows.list.size(); ++i) rows.list[i].name = rows.names[i].c_str();
  return rows;
}

}  // namespace

VariantList blend_rows8_variants() {
  static const RowVariants rows = make_row_variants();
  return rows.list;
}

}  // namespace rx
