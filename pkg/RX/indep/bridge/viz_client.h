// The colour engine as the package reaches it: the "VIZInterface2" method
// table of 142 methods and "VIZBitDepthConverterInterface", resolved by
// name through the bridge.
#pragma once

#include <cstddef>

#include "RX_Config.h"
#include "TIN/NEX.h"
#include "VIZ/VIZ.h"

namespace rx::viz {

// Positions in "VIZInterface2" of the methods the package calls.
enum Method : size_t {
  kPurgeCaches = 5,
  kProfileFromCode = 14,
  kMainMonitorProfile = 22,
  kMakeColorTransform = 48,
  kReferenceTransform = 50,
  kUnReferenceTransform = 51,
  kApplyTransform = 56,
  kConcatTransforms = 58,
  kOptimizeTransform = 60,
  kExtractCalRGB = 71,
  kMonitorProfileN = 136,
  kMethodCount = 142
};

// The engine's method table, made sure of before each call: throws
// std::runtime_error("couldn't init CVIZ") when it cannot be had (no
// bridge), CNEXError("Missing Interface") when the engine is not there.
NEX_Proc* engine();

// A method of the engine; null only if the table had a hole.
template <class Proc>
Proc method(Method which) {
  return reinterpret_cast<Proc>(engine()[which]);
}

// "VIZBitDepthConverterInterface": NewColorSpaceConverter, NewProfileConverter, Convert.
NEX_Proc* depth_converter();

}  // namespace rx::viz

// For tests and benchmarks: the engine's table as the package resolves it
// (throws as rx::viz::engine does), and the name at a position.
NEX_Proc* RXp_VIZMethods();
const char* RXp_VIZMethodName(size_t index);
NEX_Proc* RXp_VIZDepthConverterMethods();
