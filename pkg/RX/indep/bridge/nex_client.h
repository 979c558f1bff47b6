// The client side of the interface bridge: the lookup routine, the five
// basic procedures, and tables of methods resolved by name.
#pragma once

#include <cstddef>
#include <cstdint>

#include "RX_Config.h"
#include "TIN/NEX.h"

namespace rx::nex {

// A method named by its short and its registered name.
struct MethodName {
  const char* short_name;
  const char* registered_name;
};

// One interface's methods, resolved as a whole. The array's index is how
// callers reach a method. The table is valid while the bridge's unregister
// counter still has the value it had when the table was filled.
class InterfaceTable {
 public:
  InterfaceTable(const char* interface_name, const MethodName* methods, size_t count,
                 NEX_Proc* procs)
      : name_(interface_name), methods_(methods), count_(count), procs_(procs) {}

  // The resolved methods, or null when one of them is missing (then the
  // first slot is nulled). After every interface has loaded, a missing one
  // throws CNEXError("Missing Interface", "NEX") unless quiet is set.
  NEX_Proc* acquire(bool quiet = false);
  void clear();
  const char* name() const { return name_; }
  size_t count() const { return count_; }

 private:
  const char* name_;
  const MethodName* methods_;
  size_t count_;
  NEX_Proc* procs_;
  int32_t remembered_count_ = -1;
  bool filled_ = false;
};

// An object of the package that holds bridge state of its own (an
// interface table, say): registered once, asked at each connection to
// finish its setup, after every required interface is in.
class Client {
 public:
  virtual ~Client() = default;
  virtual bool FinishSetup() = 0;
};
void register_client(Client* client);

// Connects with the lookup routine: true when the five basic procedures and
// the container, error, string and memory interfaces are all there.
bool connect(NEX_LookupProc lookup);
// Clears the tables and, last, the lookup.
void disconnect();
bool connected();

// The interfaces the package holds besides the colour engine's. The first
// four are required at connection; the others are resolved when asked for.
enum class Interface { Container, Error, String, Memory, Progress, Cache, StreamFactory };
NEX_Proc* methods(Interface which, bool quiet = false);

}  // namespace rx::nex

// The methods of an interface for the bridge's client classes, which are
// written inline over it (bridge/nex_objects.h): the values of
// rx::nex::Interface. Null when the table cannot be had; after every
// required interface has loaded, a missing one throws CNEXError.
NEX_Proc* RXp_NEXMethods(int32_t which);
// The same that never throws.
NEX_Proc* RXp_NEXMethodsQuiet(int32_t which);
