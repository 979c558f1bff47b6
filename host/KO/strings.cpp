// Localisable strings. This host knows no translations, so a key
// "$$$/path=default text" always gives its default text.
#include <cstring>
#include <string>
#include <string_view>

#include "KO/KO.h"

namespace {

const char* default_text(const char* key) {
  if (!key) return nullptr;
  if (std::strncmp(key, "$$$/", 4) != 0) return key;
  const char* equals = std::strchr(key, '=');
  return equals ? equals + 1 : key;
}

}  // namespace

const char* KO_ZLookupLStrCache(const KO_LStrCacheRef* ref, int32_t index, int32_t, int32_t) {
  if (!ref || !ref->table || !ref->table->entries) return nullptr;
  // The last entry is the table's null terminator, never a string.
  if (index < 0 || index >= ref->table->count - 1) return nullptr;
  return default_text(ref->table->entries[index].text);
}

const char* KO_ZStringToMBString(const char* zstring) { return default_text(zstring); }

HOST_Err KO_SubString(char* buffer, int32_t size, const char* template_text, int64_t first,
                      int64_t second) {
  if (!buffer || size <= 0) return KO_Err_Internal;
  if (!template_text) {
    buffer[0] = '\0';
    return KO_Err_Internal;
  }
  std::string out;
  for (std::string_view rest = template_text; !rest.empty();) {
    if (rest.starts_with("^L1") || rest.starts_with("^L2")) {
      out += std::to_string(rest[2] == '1' ? first : second);
      rest.remove_prefix(3);
    } else {
      out += rest.front();
      rest.remove_prefix(1);
    }
  }
  // On overflow the buffer still holds a terminated prefix.
  const size_t room = static_cast<size_t>(size) - 1;
  const size_t n = out.size() < room ? out.size() : room;
  std::memcpy(buffer, out.data(), n);
  buffer[n] = '\0';
  return out.size() > room ? KO_Err_Internal : KO_Err_None;
}
