// The client side of the interface bridge: the lookup routine, the five
// basic procedures, and tables of methods resolved by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

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
  // throws Error("Missing Interface").
  NEX_Proc* acquire();
  void clear();
  const char* name() const { return name_; }

 private:
  const char* name_;
  const MethodName* methods_;
  size_t count_;
  NEX_Proc* procs_;
  int32_t remembered_count_ = -1;
  bool filled_ = false;
};

// The bridge's exception: an error with a message and a component.
class Error : public std::exception {
 public:
  Error(std::string message, std::string component)
      : message_(std::move(message)), component_(std::move(component)) {}
  const char* what() const noexcept override { return message_.c_str(); }
  const std::string& component() const { return component_; }

 private:
  std::string message_;
  std::string component_;
};

// Connects with the lookup routine: true when the five basic procedures and
// the container, error, string and memory interfaces are all there.
bool connect(NEX_LookupProc lookup);
// Clears the tables and, last, the lookup.
void disconnect();
bool connected();

// The interfaces the package holds.
enum class Interface { Container, Error, String, Memory };
NEX_Proc* methods(Interface which);

}  // namespace rx::nex
