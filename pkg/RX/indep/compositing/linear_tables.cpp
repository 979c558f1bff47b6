// The from-linear half of a pair of linear-light tables, made from the
// to-linear half: the 16-bit reading of to_linear at every eighth value is
// made non-decreasing and inverted segment by segment, each linear value u
// (at 8u) landing between the encoded ends 8s and 8s + 8 of its segment.
#include <algorithm>
#include <vector>

#include "RX_Transfer.h"
#include "compositing/transfer_linear.h"

void RXp_FillFromLinear(RX_LinearBlendingTables* tables) {
  if (!tables) return;
  constexpr uint32_t kSteps = 4096;
  std::vector<uint16_t> reading(kSteps + 1);
  for (uint32_t i = 0; i <= kSteps; ++i) reading[i] = rx::xfer::read_to_linear16(*tables, i * 8);
  for (uint32_t i = 1; i <= kSteps; ++i) reading[i] = std::max(reading[i], reading[i - 1]);
  uint32_t s = 0;
  for (uint32_t u = 0; u <= kSteps; ++u) {
    const uint32_t x = u * 8;
    while (s + 1 < kSteps && x >= reading[s + 1]) ++s;
    const uint32_t lo = reading[s], hi = reading[s + 1];
    if (x >= hi) tables->from_linear[u] = uint16_t(8 * s + 8);
    else if (x >= lo) tables->from_linear[u] = uint16_t(((x - lo) * 8 + (hi - lo) / 2) / (hi - lo) + 8 * s);
    else tables->from_linear[u] = uint16_t(8 * s);
  }
}
