// The to-linear half from the curve at each 8-bit value (taken to 16 bits
// by the package's scaling); the from-linear half by the package's
// inversion.
#include "gamma_tables.h"

#include <cmath>

#include "RX_Transfer.h"

namespace rxtool {

RX_LinearBlendingTables gamma_tables(double gamma) {
  RX_LinearBlendingTables t{};
  for (uint32_t i = 0; i < 256; ++i) {
    const uint32_t encoded = (i * 0x808080u + 33200) >> 16;
    t.to_linear[i] = uint16_t(std::lround(32768.0 * std::pow(encoded / 32768.0, gamma)));
  }
  RXp_FillFromLinear(&t);
  t.gamma = float(gamma);
  t.inverse_gamma = float(1.0 / gamma);
  return t;
}

}  // namespace rxtool
