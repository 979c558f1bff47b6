/* DSK, files: extension maps of the plug-in scan. */
#ifndef DSK_H
#define DSK_H
#include "HostAPI.h"
HOST_BEGIN_C
#define DSK_VERSION 39
/* Four-character codes are stored with the first character in the high byte. */
#define DSK_FOURCC(a, b, c, d) \
  (((uint32_t)(uint8_t)(a) << 24) | ((uint32_t)(uint8_t)(b) << 16) | \
   ((uint32_t)(uint8_t)(c) << 8) | (uint32_t)(uint8_t)(d))
HOST_API HOST_Err DSK_CheckVersions(int32_t location, int32_t caller_version);
/* Maps a file name extension (".ZQX") to a file type code; creator all ones
   means any creator. */
HOST_API HOST_Err DSK_AddExtensionMap(const char* extension, uint32_t file_type, uint32_t creator);
/* The file type mapped to an extension, or 0. */
HOST_API uint32_t DSK_FileTypeForExtension(const char* extension);
HOST_END_C
#endif
