// Depth dispatch in one place: runs body.template operator()<Px>() for the
// pixel type of a depth, or reports the unknown depth and gives
// RX_Result_Internal.
#pragma once

#include "RX_Results.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/depth_traits.h"

namespace rx {

template <class Body>
RX_Err with_depth(int32_t depth, Body&& body, const char* unknown_depth_text = msg::kUnknownWorldBitdepth) {
  switch (depth) {
    case 8:
      return body.template operator()<RX_Pixel8>();
    case 16:
      return body.template operator()<RX_Pixel16>();
    case 32:
      return body.template operator()<RX_PixelFloat>();
    default:
      report_verification(unknown_depth_text);
      return RX_Result_Internal;
  }
}

}  // namespace rx
