// Connecting to the bridge and resolving interface tables by name. The
// tables are filled on demand without a lock: a race fills them twice with
// the same addresses.
#include "bridge/nex_client.h"

#include <array>
#include <vector>

#include "bridge/nex_objects.h"

namespace rx::nex {
namespace {

struct BasicProcs {
  NEXRegisterProcAddressProc register_proc_address;
  NEXReportErrorProc report_error;
  NEXUnregisterInterfaceProc unregister_interface;
  NEXGetUnregisterCountAddrProc get_unregister_count_addr;
  NEXIsMultiThreadedProc is_multi_threaded;
};

struct BridgeState {
  NEX_LookupProc lookup = nullptr;
  BasicProcs basics{};
  const int32_t* unregister_count = nullptr;
  bool all_loaded = false;
  bool up = false;
};
BridgeState g_bridge;

constexpr MethodName kContainerMethods[] = {
    {"New", "NEXContainerNewProc"},       {"AddRef", "NEXContainerAddRefProc"},
    {"Release", "NEXContainerReleaseProc"}, {"Count", "NEXContainerCountProc"},
    {"Item", "NEXContainerItemProc"},     {"Append", "NEXContainerAppendProc"},
};
constexpr MethodName kErrorMethods[] = {
    {"New", "NEXErrorNewProc"},         {"AddRef", "NEXErrorAddRefProc"},
    {"Release", "NEXErrorReleaseProc"}, {"Message", "NEXErrorMessageProc"},
    {"Component", "NEXErrorComponentProc"}, {"ID", "NEXErrorIDProc"},
};
constexpr MethodName kStringMethods[] = {
    {"New", "NEXStringNewProc"},
    {"AddRef", "NEXStringAddRefProc"},
    {"Release", "NEXStringReleaseProc"},
    {"UTF8", "NEXStringUTF8Proc"},
};
constexpr MethodName kMemoryMethods[] = {
    {"Allocate", "NEXMemoryAllocateProc"},
    {"Free", "NEXMemoryFreeProc"},
    {"Resize", "NEXMemoryResizeProc"},
};
constexpr MethodName kProgressMethods[] = {
    {"NewNullProgress", "NEXProgressNewNullProgressProc"},
    {"NewClientProgress", "NEXProgressNewClientProgressProc"},
    {"AddRef", "NEXProgressAddRefProc"},
    {"Release", "NEXProgressReleaseProc"},
    {"Update", "NEXProgressUpdateProc"},
};
constexpr MethodName kCacheMethods[] = {
    {"NewID", "NEXCacheNewIDProc"},
    {"AddRef", "NEXCacheAddRefProc"},
    {"Release", "NEXCacheReleaseProc"},
    {"Equal", "NEXCacheEqualProc"},
};
constexpr MethodName kStreamFactoryMethods[] = {
    {"NewMemoryStream", "NEXStreamFactoryNewMemoryStreamProc"},
    {"AddRef", "NEXStreamFactoryAddRefProc"},
    {"Release", "NEXStreamFactoryReleaseProc"},
    {"Size", "NEXStreamFactorySizeProc"},
    {"Read", "NEXStreamFactoryReadProc"},
    {"Signature", "NEXStreamFactorySignatureProc"},
};

std::array<NEX_Proc, std::size(kContainerMethods)> g_container_procs{};
std::array<NEX_Proc, std::size(kErrorMethods)> g_error_procs{};
std::array<NEX_Proc, std::size(kStringMethods)> g_string_procs{};
std::array<NEX_Proc, std::size(kMemoryMethods)> g_memory_procs{};
std::array<NEX_Proc, std::size(kProgressMethods)> g_progress_procs{};
std::array<NEX_Proc, std::size(kCacheMethods)> g_cache_procs{};
std::array<NEX_Proc, std::size(kStreamFactoryMethods)> g_stream_procs{};

// In the order of Interface; the first four are required.
InterfaceTable g_tables[] = {
    {"NEXContainerInterface", kContainerMethods, std::size(kContainerMethods),
     g_container_procs.data()},
    {"NEXErrorInterface", kErrorMethods, std::size(kErrorMethods), g_error_procs.data()},
    {"NEXStringInterface", kStringMethods, std::size(kStringMethods), g_string_procs.data()},
    {"NEXMemoryInterface", kMemoryMethods, std::size(kMemoryMethods), g_memory_procs.data()},
    {"NEXProgressInterface", kProgressMethods, std::size(kProgressMethods), g_progress_procs.data()},
    {"NEXCacheInterface", kCacheMethods, std::size(kCacheMethods), g_cache_procs.data()},
    {"NEXStreamFactoryInterface", kStreamFactoryMethods, std::size(kStreamFactoryMethods),
     g_stream_procs.data()},
};
constexpr size_t kRequiredTables = 4;

InterfaceTable& table(Interface which) { return g_tables[static_cast<int>(which)]; }

std::vector<Client*>& clients() {
  static std::vector<Client*> registered;
  return registered;
}

template <class Proc>
Proc basic(const char* name) {
  return reinterpret_cast<Proc>(g_bridge.lookup("NEX", name, name));
}

}  // namespace

NEX_Proc* InterfaceTable::acquire(bool quiet) {
  if (!g_bridge.lookup || !g_bridge.unregister_count) return nullptr;
  const int32_t count_now = *g_bridge.unregister_count;
  if (filled_ && remembered_count_ == count_now) return procs_;
  filled_ = false;
  for (size_t i = count_; i-- > 0;) {
    procs_[i] = g_bridge.lookup(name_, methods_[i].short_name, methods_[i].registered_name);
    if (!procs_[i]) {
      procs_[0] = nullptr;
      if (g_bridge.all_loaded && !quiet) throw CNEXError("Missing Interface", "NEX");
      return nullptr;
    }
  }
  remembered_count_ = count_now;
  filled_ = true;
  return procs_;
}

void InterfaceTable::clear() {
  for (size_t i = 0; i < count_; ++i) procs_[i] = nullptr;
  remembered_count_ = -1;
  filled_ = false;
}

void register_client(Client* client) { clients().push_back(client); }

bool connect(NEX_LookupProc lookup) {
  if (g_bridge.lookup) return true;
  if (!lookup) return false;
  g_bridge.lookup = lookup;
  BasicProcs& b = g_bridge.basics;
  b.register_proc_address = basic<NEXRegisterProcAddressProc>("NEXRegisterProcAddress");
  b.report_error = basic<NEXReportErrorProc>("NEXReportError");
  b.unregister_interface = basic<NEXUnregisterInterfaceProc>("NEXUnregisterInterface");
  b.get_unregister_count_addr = basic<NEXGetUnregisterCountAddrProc>("NEXGetUnregisterCountAddr");
  b.is_multi_threaded = basic<NEXIsMultiThreadedProc>("NEXIsMultiThreaded");
  if (!b.register_proc_address || !b.report_error || !b.unregister_interface ||
      !b.get_unregister_count_addr || !b.is_multi_threaded) {
    disconnect();
    return false;
  }
  g_bridge.unregister_count = b.get_unregister_count_addr();
  g_bridge.all_loaded = false;
  // In the order containers, errors, strings, memory. A table that stays
  // empty is a missing interface: the connection fails.
  for (size_t i = 0; i < kRequiredTables; ++i) {
    if (!g_tables[i].acquire()) {
      disconnect();
      return false;
    }
  }
  g_bridge.all_loaded = true;
  for (Client* c : clients()) {
    if (!c->FinishSetup()) {
      disconnect();
      return false;
    }
  }
  g_bridge.up = true;
  return true;
}

void disconnect() {
  for (InterfaceTable& t : g_tables) t.clear();
  g_bridge = BridgeState{};
}

bool connected() { return g_bridge.up; }

NEX_Proc* methods(Interface which, bool quiet) { return table(which).acquire(quiet); }

}  // namespace rx::nex

NEX_Proc* RXp_NEXMethods(int32_t which) {
  if (which < 0 || which > static_cast<int32_t>(rx::nex::Interface::StreamFactory)) return nullptr;
  return rx::nex::methods(static_cast<rx::nex::Interface>(which));
}

NEX_Proc* RXp_NEXMethodsQuiet(int32_t which) {
  if (which < 0 || which > static_cast<int32_t>(rx::nex::Interface::StreamFactory)) return nullptr;
  return rx::nex::methods(static_cast<rx::nex::Interface>(which), true);
}
