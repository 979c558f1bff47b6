/* ADDN, the plug-in loader: scans installed by libraries, run when the host
   scans its plug-in directories. */
#ifndef ADDN_H
#define ADDN_H
#include "HostAPI.h"
HOST_BEGIN_C
#define ADDN_VERSION 11

typedef struct ADDN_PluginFileRecord* ADDN_PluginFile;
/* Called once per plug-in file whose type matches; returns an error code. */
typedef HOST_Err (*ADDN_ScanFunc)(ADDN_PluginFile file, void* refcon);
/* Called when the whole scan has ended. */
typedef HOST_Err (*ADDN_ScanFinishFunc)(void* refcon);

/* Routine type and file type, as four-character codes. */
typedef struct ADDN_ScanTypes { uint32_t routine_type; uint32_t file_type; } ADDN_ScanTypes;

HOST_API HOST_Err ADDN_CheckVersions(int32_t location, int32_t caller_version);
/* Records a scan for later. flags and refcon are passed through. */
HOST_API HOST_Err ADDN_InstallScan(int32_t flags, int32_t scan_version, const ADDN_ScanTypes* types,
                                   ADDN_ScanFunc scan, ADDN_ScanFinishFunc finish, void* refcon);

/* ---- suites: named, versioned tables of functions ----
   A suite is known by its name and major version; the registry keeps the
   caller's table by reference (never a copy), so a table filled again in
   place is what later acquirers see. Names are compared byte for byte. */
enum {
  ADDN_Err_SuiteNotFound = 40,     /* no suite of that name and version */
  ADDN_Err_SuiteExists = 41,       /* that name and major version is registered already */
  ADDN_Err_SuiteNotAcquired = 42   /* released more often than acquired */
};

typedef struct ADDN_QLBasicSuite {
  /* Gives the table of the suite and counts one use of it. */
  HOST_Err (*AcquireSuite)(const char* name, int32_t version, const void** suite);
  /* Gives one use back. */
  HOST_Err (*ReleaseSuite)(const char* name, int32_t version);
  /* Non-zero when the two names are the same suite name. */
  int32_t (*IsEqual)(const char* name1, const char* name2);
} ADDN_QLBasicSuite;

/* Registers a table of count functions. owner and flags are kept for the
   registry's books; the package passes 0 for both. */
HOST_API HOST_Err ADDN_AddQLSuite(void* owner, int32_t flags, const char* name, int32_t major_version,
                                  int32_t minor_version, int32_t count, const void* functions);
/* The basic suite, through which suites are acquired and released. */
HOST_API HOST_Err ADDN_GetQLBasicSuite(const ADDN_QLBasicSuite** basic);
HOST_END_C
#endif
