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
HOST_END_C
#endif
