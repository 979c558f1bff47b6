// The to-linear half from the curve at each 8-bit value (taken to 16 bits
// by the package's scaling), then the from-linear half by inverting the
// 16-bit reading of it, made non-decreasing first.
#include "gamma_tables.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace rxtool {

RX_LinearBlendingTables gamma_tables(double gamma) {
  RX_LinearBlendingTables t{};
  for (uint32_t i = 0; i < 256; ++i) {
    const uint32_t encoded = (i * 0x808080u + 33200) >> 16;
    t.to_linear[i] = uint16_t(std::lround(32768.0 * std::pow(encoded / 32768.0, gamma)));
  }
  auto read_16 = [&t](uint32_t v) {
    const uint32_t p = v * 255, i = p >> 15, f = p & 0x7fff;
    uint32_t x = t.to_linear[i];
    if (f != 0) x += (f * (uint32_t(t.to_linear[i + 1]) - x) + 16384) >> 15;
    return uint16_t(x);
  };
  std::vector<uint16_t> a(4097);
  for (uint32_t i = 0; i <= 4096; ++i) a[i] = read_16(i * 8);
  for (uint32_t i = 1; i <= 4096; ++i) a[i] = std::max(a[i], a[i - 1]);
  uint32_t s = 0;
  for (uint32_t u = 0; u <= 4096; ++u) {
    const uint32_t x = u * 8;
    while (s + 1 < 4096 && x >= a[s + 1]) ++s;
    const uint32_t lo = a[s], hi = a[s + 1];
    if (x >= hi) t.from_linear[u] = uint16_t(8 * s + 8);
    else if (x >= lo) t.from_linear[u] = uint16_t(((x - lo) * 8 + (hi - lo) / 2) / (hi - lo) + 8 * s);
    else t.from_linear[u] = uint16_t(8 * s);
  }
  t.gamma = float(gamma);
  t.inverse_gamma = float(1.0 / gamma);
  return t;
}

}  // namespace rxtool
