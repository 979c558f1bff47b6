// Extension maps: which file type a plug-in file name extension stands for.
#include <cctype>
#include <mutex>
#include <string>
#include <vector>

#include "DSK/DSK.h"
#include "KO/KO.h"
#include "host_internal.h"

namespace {

struct ExtensionMap {
  std::string extension;  // lower case: ".zqx" and ".ZQX" are one extension
  uint32_t file_type;
  uint32_t creator;
};

// Plain containers, not KO blocks: the maps live as long as the process,
// and the package's books must come back to where they were at its death.
std::mutex g_mutex;
std::vector<ExtensionMap> g_maps;

std::string lower(const char* s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

HOST_Err DSK_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("DSK", location, caller_version);
}

HOST_Err DSK_AddExtensionMap(const char* extension, uint32_t file_type, uint32_t creator) {
  if (!extension || !*extension) return KO_Err_Internal;
  const std::string key = lower(extension);
  std::lock_guard lock(g_mutex);
  for (ExtensionMap& m : g_maps) {
    if (m.extension == key) {
      m.file_type = file_type;
      m.creator = creator;
      return KO_Err_None;
    }
  }
  g_maps.push_back({key, file_type, creator});
  return KO_Err_None;
}

uint32_t DSK_FileTypeForExtension(const char* extension) {
  if (!extension) return 0;
  const std::string key = lower(extension);
  std::lock_guard lock(g_mutex);
  for (const ExtensionMap& m : g_maps) {
    if (m.extension == key) return m.file_type;
  }
  return 0;
}
