// The function suites handed to effects through the host's suite registry.
// Each table is a static array filled once, at registration, from the
// override table as acceleration modules left it; the host keeps the tables
// by reference.
#include "frame/suites.h"

#include "ADDN/ADDN.h"
#include "RX_Suites.h"
#include "frame/override_table.h"

namespace rx {
namespace {

constexpr int32_t kIterate8Minor = 1;

RX_Iterate8Suite1 g_iterate8_suite;

struct SuiteEntry {
  const char* name;
  int32_t major_version;
  int32_t minor_version;
  int32_t count;
  const void* table;
};

template <class Table>
constexpr int32_t function_count() {
  return static_cast<int32_t>(sizeof(Table) / sizeof(void (*)(void)));
}

void fill_suite_tables() {
  g_iterate8_suite = {slot<RX_Slot_Iterate>(), slot<RX_Slot_IterateOrigin>(),
                      slot<RX_Slot_IterateLUT>(), slot<RX_Slot_IterateOriginNoClip>(),
                      slot<RX_Slot_IterateGeneric>()};
}

}  // namespace

RX_Err register_suites() {
  fill_suite_tables();
  // In the order effects have always found them registered.
  const SuiteEntry suites[] = {
      {RX_ITERATE8_SUITE_NAME, RX_ITERATE8_SUITE_VERSION, kIterate8Minor,
       function_count<RX_Iterate8Suite1>(), &g_iterate8_suite},
  };
  for (const SuiteEntry& s : suites) {
    // The first refusal ends the sequence; what was registered stays.
    if (RX_Err err = ADDN_AddQLSuite(nullptr, 0, s.name, s.major_version, s.minor_version, s.count,
                                     s.table)) {
      return err;
    }
  }
  return RX_Result_OK;
}

}  // namespace rx
