/* OPTS, preferences: texts by section and key from an INI file, the file
   named by the environment variable RX_PREFS, else
   $XDG_CONFIG_HOME/rx/prefs.ini, else $HOME/.config/rx/prefs.ini.

   The file: lines "[section]" and "key = value"; blank lines and lines
   starting with ';' or '#' are skipped; keys and values lose the blanks
   around them and may contain blanks inside; a key outside any section
   belongs to the section "". The file is read at each call. */
#ifndef OPTS_H
#define OPTS_H

#include "HostAPI.h"

HOST_BEGIN_C

enum {
  OPTS_Err_None = 0,
  OPTS_Err_Internal = 3,        /* a null argument */
  OPTS_Err_Unreadable = 0x4f505401, /* the file is there and cannot be read */
  OPTS_Err_Damaged = 0x4f505402     /* a line that is neither section, pair, comment nor blank */
};

/* The text of key in section into buffer (size bytes, cut and terminated).
   found (may be null) is 1 when the key is there, else 0 and buffer gets
   "". No file, no section or no key is not an error. */
HOST_API HOST_Err OPTS_GetTextPrefData(const char* section, const char* key, char* buffer,
                                       int32_t size, int32_t* found);

/* The path of the preferences file as above (a static buffer). */
HOST_API const char* OPTS_PrefsPath(void);

HOST_END_C

#endif
