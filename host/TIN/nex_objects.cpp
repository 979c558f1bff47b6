// The bridge's reference-counted objects (containers, errors, strings,
// progress, cache identifiers, streams) and its memory interface. Each object lives in a KO block, so the books show
// whether the last reference really went away.
#include <algorithm>
#include <atomic>
#include <cstring>
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
  enum class Kind { Container, Error, String, Progress, CacheID, Stream };
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

// ---- progress ----

struct Progress : NEX_Object {
  Progress(void* r, NEXProgressClientProc c) : NEX_Object(Kind::Progress), refcon(r), client(c) {}
  void* refcon;
  NEXProgressClientProc client;  // null: a null progress
};

NEX_Ref progress_new_null() { return create<Progress>(nullptr, nullptr); }
NEX_Ref progress_new_client(void* refcon, NEXProgressClientProc client) {
  return client ? create<Progress>(refcon, client) : nullptr;
}
HOST_Err progress_update(NEX_Ref ref, int32_t done, int32_t total) {
  if (!ref || ref->kind != NEX_Object::Kind::Progress) return KO_Err_Internal;
  auto* p = static_cast<Progress*>(ref);
  return p->client ? p->client(p->refcon, done, total) : KO_Err_None;
}

// ---- cache identifiers ----

struct CacheID : NEX_Object {
  CacheID(const void* key, size_t size)
      : NEX_Object(Kind::CacheID), bytes(static_cast<const char*>(key), size) {}
  std::string bytes;
};

NEX_Ref cache_new_id(const void* key, size_t size) {
  return key && size > 0 ? create<CacheID>(key, size) : nullptr;
}
int32_t cache_equal(NEX_Ref a, NEX_Ref b) {
  if (!a || !b || a->kind != NEX_Object::Kind::CacheID || b->kind != NEX_Object::Kind::CacheID) return 0;
  return static_cast<CacheID*>(a)->bytes == static_cast<CacheID*>(b)->bytes;
}

// ---- streams ----

struct Stream : NEX_Object {
  Stream(const void* data, size_t size)
      : NEX_Object(Kind::Stream), bytes(static_cast<const char*>(data), size) {}
  std::string bytes;
};

Stream* as_stream(NEX_Ref ref) {
  return ref && ref->kind == NEX_Object::Kind::Stream ? static_cast<Stream*>(ref) : nullptr;
}

NEX_Ref stream_new(const void* data, size_t size) {
  return data || size == 0 ? create<Stream>(data ? data : "", size) : nullptr;
}
int64_t stream_size(NEX_Ref ref) {
  Stream* s = as_stream(ref);
  return s ? int64_t(s->bytes.size()) : -1;
}
int64_t stream_read(NEX_Ref ref, int64_t offset, void* buffer, int64_t size) {
  Stream* s = as_stream(ref);
  if (!s || !buffer || offset < 0 || size < 0) return -1;
  if (offset >= int64_t(s->bytes.size())) return 0;
  const int64_t n = std::min<int64_t>(size, int64_t(s->bytes.size()) - offset);
  std::memcpy(buffer, s->bytes.data() + offset, size_t(n));
  return n;
}
HOST_Err stream_signature(NEX_Ref ref, uint32_t* signature) {
  Stream* s = as_stream(ref);
  if (!s || !signature || s->bytes.size() < 4) return KO_Err_Internal;
  const auto* b = reinterpret_cast<const uint8_t*>(s->bytes.data());
  *signature = uint32_t(b[0]) << 24 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 8 | b[3];
  return KO_Err_None;
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
  register_interface("NEXProgressInterface", "Progress",
                     {method("NewNullProgress", &progress_new_null),
                      method("NewClientProgress", &progress_new_client), method("AddRef", &add_ref),
                      method("Release", &release), method("Update", &progress_update)});
  register_interface("NEXCacheInterface", "Cache",
                     {method("NewID", &cache_new_id), method("AddRef", &add_ref),
                      method("Release", &release), method("Equal", &cache_equal)});
  register_interface("NEXStreamFactoryInterface", "StreamFactory",
                     {method("NewMemoryStream", &stream_new), method("AddRef", &add_ref),
                      method("Release", &release), method("Size", &stream_size),
                      method("Read", &stream_read), method("Signature", &stream_signature)});
}

}  // namespace rxhost
