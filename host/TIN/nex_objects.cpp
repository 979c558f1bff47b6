// The bridge's reference-counted objects (containers, errors, strings) and
// its memory interface. Each object lives in a KO block, so the books show
// whether the last reference really went away.
#include <atomic>
#include <initializer_list>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "KO/KO.h"
#include "TIN/NEX.h"
#include "host_internal.h"

struct NEX_Object {
  enum class Kind { Container, Error, String };
  explicit NEX_Object(Kind k) : kind(k) {}
  virtual ~NEX_Object() = default;
  const Kind kind;
  std::atomic<int32_t> references{1};
};

namespace {

void add_ref(NEX_Ref ref) {
  if (ref) ++ref->references;
}

void release(NEX_Ref ref) {
  if (ref && --ref->references == 0) {
    ref->~NEX_Object();
    rxhost::block_free(ref);
  }
}

template <class T, class... Args>
NEX_Ref create(Args&&... args) {
  void* block = rxhost::block_allocate(sizeof(T), false, true);
  if (!block) return nullptr;
  return new (block) T(std::forward<Args>(args)...);
}

// ---- containers ----

struct Container : NEX_Object {
  Container() : NEX_Object(Kind::Container) {}
  ~Container() override {
    for (NEX_Ref item : items) release(item);
  }
  std::mutex mutex;
  std::vector<NEX_Ref> items;
};

Container* as_container(NEX_Ref ref) {
  return ref && ref->kind == NEX_Object::Kind::Container ? static_cast<Container*>(ref) : nullptr;
}

NEX_Ref container_new() { return create<Container>(); }

int32_t container_count(NEX_Ref ref) {
  Container* c = as_container(ref);
  if (!c) return 0;
  std::lock_guard lock(c->mutex);
  return static_cast<int32_t>(c->items.size());
}

NEX_Ref container_item(NEX_Ref ref, int32_t index) {
  Container* c = as_container(ref);
  if (!c) return nullptr;
  std::lock_guard lock(c->mutex);
  if (index < 0 || static_cast<size_t>(index) >= c->items.size()) return nullptr;
  return c->items[static_cast<size_t>(index)];
}

HOST_Err container_append(NEX_Ref ref, NEX_Ref item) {
  Container* c = as_container(ref);
  if (!c || !item || item == ref) return KO_Err_Internal;
  std::lock_guard lock(c->mutex);
  add_ref(item);
  c->items.push_back(item);
  return KO_Err_None;
}

// ---- errors ----

struct Error : NEX_Object {
  Error(const char* m, const char* c, int32_t i)
      : NEX_Object(Kind::Error), message(m ? m : ""), component(c ? c : ""), id(i) {}
  std::string message;
  std::string component;
  int32_t id;
};

Error* as_error(NEX_Ref ref) {
  return ref && ref->kind == NEX_Object::Kind::Error ? static_cast<Error*>(ref) : nullptr;
}

NEX_Ref error_new(const char* message, const char* component, int32_t id) {
  return create<Error>(message, component, id);
}
const char* error_message(NEX_Ref ref) {
  Error* e = as_error(ref);
  return e ? e->message.c_str() : nullptr;
}
const char* error_component(NEX_Ref ref) {
  Error* e = as_error(ref);
  return e ? e->component.c_str() : nullptr;
}
int32_t error_id(NEX_Ref ref) {
  Error* e = as_error(ref);
  return e ? e->id : 0;
}

// ---- strings ----

struct String : NEX_Object {
  explicit String(const char* s) : NEX_Object(Kind::String), text(s ? s : "") {}
  std::string text;
};

NEX_Ref string_new(const char* utf8) { return create<String>(utf8); }
const char* string_utf8(NEX_Ref ref) {
  return ref && ref->kind == NEX_Object::Kind::String ? static_cast<String*>(ref)->text.c_str()
                                                      : nullptr;
}

// ---- memory ----

void* memory_allocate(size_t size) { return rxhost::block_allocate(size, false, true); }
void memory_free(void* block) { rxhost::block_free(block); }
// Null when the block cannot grow; the old block is then still the caller's.
void* memory_resize(void* block, size_t size) {
  return KO_ResizePtr(&block, size) == KO_Err_None ? block : nullptr;
}

struct Method {
  const char* short_name;
  NEX_Proc proc;
};

template <class F>
Method method(const char* short_name, F* f) {
  return {short_name, reinterpret_cast<NEX_Proc>(f)};
}

// Registered name: "NEX" + stem + short name + "Proc".
void register_interface(const char* interface_name, const char* stem,
                        std::initializer_list<Method> methods) {
  for (const Method& m : methods) {
    const std::string registered = std::string("NEX") + stem + m.short_name + "Proc";
    rxhost::register_proc(interface_name, m.short_name, registered.c_str(), m.proc);
  }
}

}  // namespace

namespace rxhost {

void register_object_interfaces() {
  register_interface("NEXContainerInterface", "Container",
                     {method("New", &container_new), method("AddRef", &add_ref),
                      method("Release", &release), method("Count", &container_count),
                      method("Item", &container_item), method("Append", &container_append)});
  register_interface("NEXErrorInterface", "Error",
                     {method("New", &error_new), method("AddRef", &add_ref),
                      method("Release", &release), method("Message", &error_message),
                      method("Component", &error_component), method("ID", &error_id)});
  register_interface("NEXStringInterface", "String",
                     {method("New", &string_new), method("AddRef", &add_ref),
                      method("Release", &release), method("UTF8", &string_utf8)});
  register_interface("NEXMemoryInterface", "Memory",
                     {method("Allocate", &memory_allocate), method("Free", &memory_free),
                      method("Resize", &memory_resize)});
}

}  // namespace rxhost
