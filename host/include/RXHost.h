/* The reference host's own interface: where reports go, the plug-in scan,
   and hooks for tests. */
#ifndef RXHOST_H
#define RXHOST_H

#include "HostAPI.h"

HOST_BEGIN_C

/* ---- report sink ---- */
typedef enum RXHost_ReportKind {
  RXHost_Report_ErrString = 0,     /* KOp_ReportErrString */
  RXHost_Report_Error = 1,         /* KOp_ReportError, text from KOp_G_buffer */
  RXHost_Report_Verification = 2,  /* KO_ReportFailedVerification */
  RXHost_Report_Exception = 3,     /* KO_TranslateAndReportException */
  RXHost_Report_OutOfMemory = 4,   /* a failed allocation of a non-quiet form */
  RXHost_Report_Log = 5,           /* JRNL_Log */
  RXHost_Report_Version = 6        /* a sibling's own version mismatch */
} RXHost_ReportKind;

typedef struct RXHost_Report {
  RXHost_ReportKind kind;
  int32_t report_class;  /* 8 errors, 4 the frame blending engine, 16 versions; log: the level */
  int32_t location;      /* 0x25 in the upper half for the package's reports */
  int32_t line;          /* verification site; 0 elsewhere */
  const char* text;      /* the caller's text as given (a log line's text alone) */
  const char* package;   /* log lines: the package and event; null elsewhere */
  const char* event;
} RXHost_Report;

typedef void (*RXHost_ReportSink)(void* refcon, const RXHost_Report* report);

/* Installs a sink (null restores the default) and returns the previous one
   (null when it was the default). The sink is called under a lock, so
   reports from several threads arrive one at a time, and a sink may report
   again from inside itself.
   The default writes one line to stderr:
     RX: [class 8] 0x250000: bad parameter passed to effect callback
   and writes log lines only when the environment variable RX_LOG is set. */
HOST_API RXHost_ReportSink RXHost_SetReportSink(RXHost_ReportSink sink, void* refcon,
                                                void** previous_refcon);
/* Formats a report the way the default sink writes it (no newline):
     RX: [class C] 0xLLLLLL: text               every kind but the two below
     RX: [class 8] 0xLLLLLL: text (line N)      verification
     RX: [log L] package/event: text            log lines, L the level
   The texts the host writes itself:
     out of memory:   "out of memory for <label> (<size> bytes)"
     version:         "version mismatch: ZW is version 31, caller expects 30"
     frame store:     "not enough memory for a <w>x<h> image buffer (<bits> bits per pixel)"
     bridge:          "<component>: <message>"                                   */
HOST_API void RXHost_FormatReport(const RXHost_Report* report, char* buffer, size_t size);

/* ---- memory books ----
   Bytes asked for (headers not included) and blocks alive: every KO block,
   both blocks of a handle, ZW frames, and a bitmap's three blocks (master
   pointer, record, pixels). */
HOST_API int64_t RXHost_LiveBytes(void);
HOST_API int64_t RXHost_LiveBlocks(void);
/* The memory account of KO_AccountAllocationEx, in bytes. */
HOST_API int64_t RXHost_AccountedBytes(void);

/* ==== test hooks ==== */
/* Sets a word of the CPU data (see KO.h); call before RX_Birth. */
HOST_API void RXHost_SetCpuWord(int32_t index, uint32_t value);
/* Restores the words read from the processor (RX_DISABLE still applies). */
HOST_API void RXHost_ResetCpuWords(void);
/* The Nth allocation from now (1 = the next one) fails; 0 turns it off, as
   does the failure itself. Counts every allocating call of KO, ZW frames and
   bitmaps (a bitmap is one), and the host's own KO blocks (the GE tables,
   SEQ lists); resizes are not counted. */
HOST_API void RXHost_FailNthAllocation(int32_t n);
/* KO_GetNumThreads gives count; 0 returns to the hardware's count. */
HOST_API void RXHost_SetThreadCount(int32_t count);
/* KO_GetNumThreads fails with code (non-zero) until called again with 0. */
HOST_API void RXHost_FailThreadCount(HOST_Err code);
/* A purge procedure for KO_PurgeLoop: called when an allocation under it
   fails, with the bytes wanted; non-zero means it freed something and the
   allocation is tried again. Null (the default) means nothing to purge. */
typedef int32_t (*RXHost_PurgeProc)(void* refcon, size_t bytes);
HOST_API void RXHost_SetPurgeProc(RXHost_PurgeProc proc, void* refcon);
/* How often each sibling's version check ran ("KO", "WRD", "ZW", "GE",
   "DSK", "SEQ", "ZQFX", "ADDN"); -1 for an unknown name. */
HOST_API int32_t RXHost_VersionCheckCount(const char* library);
/* Makes a sibling's version check fail (as if its version were another). */
HOST_API void RXHost_SetVersionMismatch(const char* library, int32_t mismatch);
/* Reference count of the GE multiply and divide tables. */
HOST_API int32_t RXHost_FCMDReferenceCount(void);
/* What ADDN_InstallScan recorded: number of scans, and the fields of the
   scan at index (0, or KO_Err_Internal for an index out of range; any out
   pointer may be null). */
HOST_API int32_t RXHost_InstalledScanCount(void);
HOST_API int32_t RXHost_InstalledScan(int32_t index, uint32_t* routine_type, uint32_t* file_type,
                                      void** scan, void** finish);
/* The suite registry: how many suites are registered, and the fields of
   the one at index in the order of registration (0, or KO_Err_Internal for
   an index out of range; any out pointer may be null; acquired counts the
   uses not yet released). */
HOST_API int32_t RXHost_SuiteCount(void);
HOST_API int32_t RXHost_SuiteAt(int32_t index, const char** name, int32_t* major_version,
                                int32_t* minor_version, int32_t* count, const void** functions,
                                int32_t* acquired);
/* Empties the suite registry, as before the first plug-in scan, so that a
   test can register the suites again. */
HOST_API void RXHost_ForgetSuites(void);
/* Makes TIN_GetNEXAddressProc fail with the code, or the lookup miss an
   interface ("NEX", "NEXErrorInterface", ...); null restores it. */
HOST_API void RXHost_SetNEXFailure(HOST_Err tin_error, const char* missing_interface);

HOST_END_C

#endif
