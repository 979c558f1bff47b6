// Depth dispatch in one place: runs body.template operator()<Px>() for the
// pixel type of a depth. with_depth reports an unknown depth and gives
// RX_Result_Internal; dispatch_depth leaves the unknown case to the caller.
#pragma once

#include "RX_Results.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/depth_traits.h"

namespace rx {

template <class Body, class Unknown>
decltype(auto) dispatch_depth(int32_t depth, Body&& body, Unknown&& unknown) {
  switch (depth) {
    case 8:
      return body.template operator()<RX_Pixel8>();
    case 16:
      return body.template operator()<RX_Pixel16>();
    case 32:
      return body.template operator()<RX_PixelFloat>();
    default:
      return unknown();
  }
}

template <class Body>
RX_Err with_depth(int32_t depth, Body&& body, const char* unknown_depth_text = msg::kUnknownWorldBitdepth) {
  return dispatch_depth(depth, body, [unknown_depth_text] {
    report_verification(unknown_depth_text);
    return RX_Err{RX_Result_Internal};
  });
}

}  // namespace rx
