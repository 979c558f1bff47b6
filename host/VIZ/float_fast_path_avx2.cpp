// The float path's kernels compiled for AVX2: the same bodies as the plain
// form, eight lanes to a register.
#define RX_VIZ_LANES 8
#include "VIZ/float_kernels.h"

namespace rxhost::viz::fast {

Kernels avx2_kernels() { return {&shape_block, &matrix_block}; }

}  // namespace rxhost::viz::fast
