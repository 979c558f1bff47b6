// Process-wide tables: byte-to-float, soft-light curves, vector constants,
// the zero block, the multiply and divide table pointers, the counters.
#include "frame/process_tables.h"

#include <cmath>
#include <cstring>

const uint8_t* RXp_G_fcm_table = nullptr;
const uint8_t* RXp_G_fcd_table = nullptr;
float RX_ByteFloatTable[256];

float RXp_G_SoftLightDeltaF[RX_SoftLightTableSize];
float RXp_G_SoftLightParabolaF[RX_SoftLightTableSize];
uint16_t RXp_G_SoftLightDelta16[RX_SoftLightTableSize];
uint16_t RXp_G_SoftLightParabola16[RX_SoftLightTableSize];

RX_Vec128 RX_G_AlphaMask32;
RX_Vec128 RX_G_BGRMask32;
RX_Vec128 RX_G_vf255;
RX_Vec128 RX_G_vfHalf;
RX_Vec128 RX_G_vi128_32;
RX_Vec128 RX_G_viLoByteMask32;
RX_Vec128 RX_G_viLoWordMask;

const uint8_t RX_G_ZeroData[RX_ZeroDataSize] = {};

int32_t RXp_G_LiveWorldCount = 0;
int32_t RXp_G_ChunkCount = 0;

namespace rx {

void fill_byte_float_table() {
  for (int i = 0; i < 256; ++i) RX_ByteFloatTable[i] = static_cast<float>(i);
}

void build_soft_light_tables() {
  constexpr double kStep = 0.000244140625;  // 1 / 4096
  for (int i = 0; i < RX_SoftLightTableSize; ++i) {
    const double x = i * kStep;
    const double d = x <= 0.25 ? ((16.0 * x - 12.0) * x + 4.0) * x : std::sqrt(x);
    const double delta = d - x;
    const double parabola = x * (1.0 - x);
    RXp_G_SoftLightDeltaF[i] = static_cast<float>(delta);
    RXp_G_SoftLightDelta16[i] = static_cast<uint16_t>(static_cast<int32_t>(32768.0 * delta + 0.5));
    RXp_G_SoftLightParabolaF[i] = static_cast<float>(parabola);
    RXp_G_SoftLightParabola16[i] =
        static_cast<uint16_t>(static_cast<int32_t>(32768.0 * parabola + 0.5));
  }
}

namespace {

void set_u32(RX_Vec128& v, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  v.u32[0] = a, v.u32[1] = b, v.u32[2] = c, v.u32[3] = d;
}
void splat_u32(RX_Vec128& v, uint32_t value) { set_u32(v, value, value, value, value); }
void splat_f32(RX_Vec128& v, float value) {
  for (float& lane : v.f32) lane = value;
}

}  // namespace

void fill_vector_constants() {
  set_u32(RX_G_AlphaMask32, 0xFFFFFFFFu, 0, 0, 0);
  set_u32(RX_G_BGRMask32, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu);
  splat_f32(RX_G_vf255, 255.0f);
  splat_f32(RX_G_vfHalf, 0.5f);
  splat_u32(RX_G_vi128_32, 128);
  splat_u32(RX_G_viLoByteMask32, 255);
  splat_u32(RX_G_viLoWordMask, 65535);
}

}  // namespace rx
