// The bridge's client classes: each keeps one reference to a bridge object
// and forwards to the methods of its interface. CNEXError is the bridge's
// exception. Written inline over RXp_NEXMethods, so that any user of the
// package's bridge (the package itself, its tests) has them.
#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "bridge/nex_client.h"

namespace rx::nex::detail {

template <class Proc>
Proc method(rx::nex::Interface which, size_t index, bool quiet = false) {
  NEX_Proc* procs = quiet ? RXp_NEXMethodsQuiet(static_cast<int32_t>(which))
                          : RXp_NEXMethods(static_cast<int32_t>(which));
  return procs ? reinterpret_cast<Proc>(procs[index]) : nullptr;
}

// Method positions in the package's tables.
enum : size_t { kNew = 0, kAddRef = 1, kRelease = 2 };

}  // namespace rx::nex::detail

// The bridge's exception: it owns an error object of the bridge with its
// message, component and id. Made from texts, it asks the error interface
// for the object; when there is none to be had (no bridge, no memory) it
// keeps its texts for what() and has no error object.
class CNEXError : public std::exception {
 public:
  CNEXError(const char* message, const char* component, int32_t id = 0) : fallback_(message ? message : "") {
    using namespace rx::nex;
    if (auto make = detail::method<NEXErrorNewProc>(Interface::Error, detail::kNew, true)) {
      error_ = make(message, component, id);
    }
  }
  // Takes over a reference to a bridge error (null makes an invalid one).
  explicit CNEXError(NEX_Ref adopted) : error_(adopted) {}
  CNEXError(const CNEXError& other) : std::exception(other), error_(other.error_), fallback_(other.fallback_) {
    add_ref(error_);
  }
  CNEXError& operator=(const CNEXError& other) {
    if (this != &other) {
      add_ref(other.error_);
      release(error_);
      error_ = other.error_;
      fallback_ = other.fallback_;
    }
    return *this;
  }
  ~CNEXError() override { release(error_); }

  const char* what() const noexcept override {
    if (error_) {
      if (auto message = text<NEXErrorMessageProc>(kMessage)) return message(error_);
    }
    return fallback_.empty() ? "Invalid CNEXError" : fallback_.c_str();
  }
  bool IsValid() const { return error_ != nullptr; }
  // The error object's fields; an error without one throws "Invalid CNEXError".
  std::string Message() const { return checked<NEXErrorMessageProc>(kMessage)(error_); }
  std::string Component() const { return checked<NEXErrorComponentProc>(kComponent)(error_); }
  int32_t ID() const { return checked<NEXErrorIDProc>(kID)(error_); }

 private:
  enum : size_t { kMessage = 3, kComponent = 4, kID = 5 };
  template <class Proc>
  static Proc text(size_t index) {
    return rx::nex::detail::method<Proc>(rx::nex::Interface::Error, index, true);
  }
  template <class Proc>
  Proc checked(size_t index) const {
    Proc p = error_ ? text<Proc>(index) : nullptr;
    if (!p) throw std::logic_error("Invalid CNEXError");
    return p;
  }
  static void add_ref(NEX_Ref r) {
    if (r) {
      if (auto f = text<NEXErrorAddRefProc>(rx::nex::detail::kAddRef)) f(r);
    }
  }
  static void release(NEX_Ref r) {
    if (r) {
      if (auto f = text<NEXErrorReleaseProc>(rx::nex::detail::kRelease)) f(r);
    }
  }

  NEX_Ref error_ = nullptr;
  std::string fallback_;
};

// A base for the clients below: one reference to one object of one
// interface, copied with AddRef and dropped with Release.
template <rx::nex::Interface Which>
class CNEXObject {
 public:
  CNEXObject(const CNEXObject& other) : object_(other.object_) { add_ref(object_); }
  CNEXObject& operator=(const CNEXObject& other) {
    if (this != &other) {
      add_ref(other.object_);
      release(object_);
      object_ = other.object_;
    }
    return *this;
  }
  ~CNEXObject() { release(object_); }
  NEX_Ref Get() const { return object_; }

 protected:
  explicit CNEXObject(NEX_Ref adopted) : object_(adopted) {}
  template <class Proc>
  static Proc method(size_t index) {
    Proc p = rx::nex::detail::method<Proc>(Which, index);
    if (!p) throw CNEXError("Missing Interface", "NEX");
    return p;
  }
  static void add_ref(NEX_Ref r) {
    if (r) method<void (*)(NEX_Ref)>(rx::nex::detail::kAddRef)(r);
  }
  static void release(NEX_Ref r) {
    if (!r) return;
    if (auto f = rx::nex::detail::method<void (*)(NEX_Ref)>(Which, rx::nex::detail::kRelease, true)) f(r);
  }

  NEX_Ref object_;
};

// A list of bridge objects. Used with a null container, it throws
// "invalid container".
class CNEXContainer : public CNEXObject<rx::nex::Interface::Container> {
 public:
  CNEXContainer() : CNEXObject(method<NEXContainerNewProc>(rx::nex::detail::kNew)()) {}
  explicit CNEXContainer(NEX_Ref adopted) : CNEXObject(adopted) {}
  int32_t Count() const { return method<NEXContainerCountProc>(kCount)(valid()); }
  NEX_Ref Item(int32_t index) const { return method<NEXContainerItemProc>(kItem)(valid(), index); }
  HOST_Err Append(NEX_Ref item) { return method<NEXContainerAppendProc>(kAppend)(valid(), item); }

 private:
  enum : size_t { kCount = 3, kItem = 4, kAppend = 5 };
  NEX_Ref valid() const {
    if (!object_) throw CNEXError("invalid container", "NEX");
    return object_;
  }
};

class CNEXString : public CNEXObject<rx::nex::Interface::String> {
 public:
  explicit CNEXString(const char* utf8) : CNEXObject(method<NEXStringNewProc>(rx::nex::detail::kNew)(utf8)) {
    if (!object_) throw CNEXError("couldn't construct CNEXString", "NEX");
  }
  std::string UTF8() const { return method<NEXStringUTF8Proc>(3)(object_); }
};

// Progress that goes nowhere, or to a client's function.
class CNEXProgress : public CNEXObject<rx::nex::Interface::Progress> {
 public:
  CNEXProgress() : CNEXObject(method<NEXProgressNewNullProgressProc>(kNewNull)()) { check(); }
  CNEXProgress(void* refcon, NEXProgressClientProc client)
      : CNEXObject(method<NEXProgressNewClientProgressProc>(kNewClient)(refcon, client)) {
    check();
  }
  HOST_Err Update(int32_t done, int32_t total) const {
    return method<NEXProgressUpdateProc>(kUpdate)(object_, done, total);
  }

 private:
  enum : size_t { kNewNull = 0, kNewClient = 1, kUpdate = 4 };
  void check() const {
    if (!object_) throw CNEXError("couldn't construct CNEXProgress", "NEX");
  }
};

// The identifier of cached data, from its key.
class CNEXCacheID : public CNEXObject<rx::nex::Interface::Cache> {
 public:
  CNEXCacheID(const void* key, size_t size)
      : CNEXObject(method<NEXCacheNewIDProc>(rx::nex::detail::kNew)(key, size)) {
    if (!object_) throw CNEXError("couldn't create cacheID", "NEX");
  }
  bool operator==(const CNEXCacheID& other) const { return method<NEXCacheEqualProc>(3)(object_, other.object_) != 0; }
};

// A read-only stream over bytes.
class CNEXStream : public CNEXObject<rx::nex::Interface::StreamFactory> {
 public:
  CNEXStream(const void* data, size_t size)
      : CNEXObject(method<NEXStreamFactoryNewMemoryStreamProc>(rx::nex::detail::kNew)(data, size)) {
    if (!object_) throw CNEXError("couldn't construct CNEXStream", "NEX");
  }
  int64_t Size() const { return method<NEXStreamFactorySizeProc>(3)(object_); }
  int64_t Read(int64_t offset, void* buffer, int64_t size) const {
    return method<NEXStreamFactoryReadProc>(4)(object_, offset, buffer, size);
  }
  // The first four bytes, big-endian.
  uint32_t Signature() const {
    uint32_t signature = 0;
    if (method<NEXStreamFactorySignatureProc>(5)(object_, &signature) != 0) {
      throw CNEXError("couldn't get signature", "NEX");
    }
    return signature;
  }
};
