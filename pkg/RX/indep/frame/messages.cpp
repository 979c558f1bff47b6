// The indexed string table and RX_G_zref, in the record form the lookup
// cache of the utilities library reads.
#include "RX_Messages.h"

namespace {

constexpr KO_LStrEntry kEntries[RX_StringCount + 1] = {
    {"$$$/ZQ/RX/LStr/0000=invalid callback selector", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0001=invalid parameter", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0002=effects modules should only dispose worlds they have allocated", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0003=image plane buffer", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0004=bad parameter passed to effect callback", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0005=problem opening plug-in acceleration module.", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0006=unimplemented blending mode.", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0007=noise table.", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0008=Unable to guess alpha channel.", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0009=Obsolete routine", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0010=memory for blurring", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0011=memory for mask buffer", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0012=damaged mask buffer", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0013=can#{rsquo}t unlock RX Mask Buffer", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0014=gaussian weight array", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0015=blending scratch buffer", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0016=can#{rsquo}t copy different channel worlds", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0017=out of memory for channel chunk", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0018=image buffer", {0, 0, 0}},
    {"$$$/ZQ/RX/LStr/0019=effect plug-in passed invalid world to get_platform_refs", {0, 0, 0}},
    // The terminator: no text and two all-ones words.
    {nullptr, {~uint64_t{0}, ~uint64_t{0}, 0}},
};

}  // namespace

const KO_LStrCacheRef RX_G_zref = {&RX_G_zref.record, {"RX", RX_StringCount + 1, kEntries}};

const char* RXp_String(RX_StringIndex index) {
  return KO_ZLookupLStrCache(&RX_G_zref, index, 0, 0);
}
