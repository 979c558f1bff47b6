// An effect's output destination. The defaults only record the world; the
// override slots let a module put a device's memory behind it.
#include <cstring>

#include "RX_EffectWorlds.h"
#include "RX_Frame.h"

RX_Err RX_OpenDestination_S(RX_LayerDef* world, void*, RX_Destination* out) {
  std::memset(out, 0, sizeof *out);
  out->world = world;
  return RX_Result_OK;
}

RX_Err RX_CloseDestination_S(RX_Destination* destination) {
  std::memset(destination, 0, sizeof *destination);
  return RX_Result_OK;
}

RX_Err RX_OpenDestination(RX_LayerDef* world, void* unused, RX_Destination* out) {
  using Open = decltype(&RX_OpenDestination_S);
  return reinterpret_cast<Open>(RXp_G_OverFuncs[RX_Slot_OpenDestination])(world, unused, out);
}

RX_Err RX_CloseDestination(RX_Destination* destination) {
  using Close = decltype(&RX_CloseDestination_S);
  return reinterpret_cast<Close>(RXp_G_OverFuncs[RX_Slot_CloseDestination])(destination);
}
