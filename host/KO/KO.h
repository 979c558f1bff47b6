/* KO, the utilities library: memory and handles with accounting, reports,
   localisable strings, CPU data and the thread count. */
#ifndef KO_H
#define KO_H

#include "HostAPI.h"

HOST_BEGIN_C

enum {
  KO_Err_None = 0,
  KO_Err_Internal = 3,      /* bad argument */
  KO_Err_OutOfMemory = 4,
  KO_Err_VersionMismatch = 7
};

/* The version of KO's interface that this host implements. */
#define KO_VERSION 61

/* Report classes as the package uses them. */
enum { KO_Class_Engine = 4, KO_Class_Error = 8, KO_Class_Version = 16 };

/* ---- CPU data: words of 32 bits, each zero or non-zero ----
   0 MMX, 1 SSE, 2 SSE2, 3 SSE3, 4 SSE4.1, 5 SSE4.2, 6 SSSE3, 7 AVX2. */
enum { KO_CpuWordCount = 8 };
HOST_API extern const uint32_t* KO_G_CPU_DataP;

/* The number of threads the host may run one operation's work on, at
   least 1. KO_Err_None, or an error code with *count left alone. */
HOST_API HOST_Err KO_GetNumThreads(int32_t* count);

/* ---- versions ---- */
HOST_API HOST_Err KO_CheckVersions(int32_t location, int32_t caller_version);

/* ---- memory ----
   Every block is counted by the host; the label names the block in the
   out-of-memory report of the non-quiet forms. */
HOST_API void* KO_AllocatePtr(int32_t location, const char* label, size_t size);
HOST_API void* KO_AllocatePtrClear(int32_t location, const char* label, size_t size);
HOST_API void* KO_AllocatePtrQuiet(size_t size);
HOST_API HOST_Err KO_ResizePtr(void** ptr, size_t new_size);
HOST_API void KO_FreePtr(void* ptr);
HOST_API size_t KO_GetPtrSize(const void* ptr);

typedef void** KO_Handle;
HOST_API KO_Handle KO_AllocateHandle(int32_t location, const char* label, size_t size);
HOST_API KO_Handle KO_AllocateHandleClear(int32_t location, const char* label, size_t size);
HOST_API KO_Handle KO_AllocateHandleQuiet(size_t size);
HOST_API HOST_Err KO_ResizeHandle(KO_Handle handle, size_t new_size);
HOST_API void KO_FreeHandle(KO_Handle handle);
HOST_API size_t KO_GetHandleSize(KO_Handle handle);

/* The memory account: what the application's working memory holds beside
   its caches. Callers add a block's bytes after taking it (add non-zero)
   and take them off before giving it back (add 0). The account is kept
   apart from the books of KO's own blocks. */
HOST_API void KO_AccountAllocationEx(int64_t bytes, int32_t add);

/* Runs an allocation with purging: calls allocator(context, bytes), and
   while it fails with KO_Err_OutOfMemory and the host could free some of
   its purgeable memory, frees it and calls the allocator again. The
   allocator's last code is the result; a null allocator gives
   KO_Err_Internal. flags is 0. The allocator takes its memory as it likes
   (KO's own forms count for the fail-the-Nth-allocation hook). */
typedef HOST_Err (*KO_PurgeAllocator)(void* context, size_t bytes);
HOST_API HOST_Err KO_PurgeLoop(size_t bytes, KO_PurgeAllocator allocator, void* context,
                               int32_t flags);

HOST_API void KOp_Memset32(void* dst, uint32_t value, size_t count);
/* The four bytes of a word in reverse order. */
HOST_API uint32_t KO_LongSwap(uint32_t value);
HOST_API void KOp_Memset16(void* dst, uint16_t value, size_t count);

/* ---- reports ---- */
enum { KO_ReportBufferSize = 1024 };
HOST_API extern char KOp_G_buffer[KO_ReportBufferSize];
HOST_API extern char KOp_G_err_buf[KO_ReportBufferSize];

HOST_API void KOp_ReportErrString(int32_t location, int32_t report_class, const char* text);
/* Reports the text standing in KOp_G_buffer. */
HOST_API void KOp_ReportError(int32_t location, int32_t report_class);
HOST_API void KO_ReportFailedVerification(int32_t location, int32_t line, int32_t reserved,
                                          const char* text);

/* ---- strings ----
   Keys have the form "$$$/path=default text"; the default text is used
   when no translation is known. */
typedef struct KO_LStrEntry {
  const char* text;
  uint64_t reserved[3];
} KO_LStrEntry;

typedef struct KO_LStrTable {
  const char* package;      /* four-character package word, e.g. "RX" */
  int64_t count;            /* number of entries, the terminator included */
  const KO_LStrEntry* entries;
} KO_LStrTable;

typedef struct KO_LStrCacheRef {
  const KO_LStrTable* table;  /* points to the record that follows */
  KO_LStrTable record;
} KO_LStrCacheRef;

HOST_API const char* KO_ZLookupLStrCache(const KO_LStrCacheRef* ref, int32_t index,
                                         int32_t reserved1, int32_t reserved2);
HOST_API const char* KO_ZStringToMBString(const char* zstring);
/* Expands ^L1 and ^L2 in the template with the two values into buffer.
   KO_Err_Internal when the result does not fit. */
HOST_API HOST_Err KO_SubString(char* buffer, int32_t size, const char* template_text,
                               int64_t first, int64_t second);

/* ---- deferred reporting ----
   From Start to End the calling thread's reports are held, and End delivers
   them in order. Starts nest: only the outermost End delivers. This host has
   no event loop, so EndAsync delivers at once too. Other threads report as
   usual meanwhile. */
typedef struct KO_DeferredState {
  int32_t report_class;
  int32_t depth;
  void* held;
} KO_DeferredState;
HOST_API void KO_DeferredReportingStart(int32_t report_class, KO_DeferredState* state);
HOST_API void KO_DeferredReportingEnd(int32_t reserved1, int32_t reserved2, KO_DeferredState* state);
HOST_API HOST_Err KO_DeferredReportingEndAsync(int32_t reserved1, int32_t reserved2,
                                               int32_t reserved3, KO_DeferredState* state);

HOST_END_C

#ifdef __cplusplus
#include <exception>
#include <new>
#include <string>
/* The text of a "$$$/path=default text" key (as KO_ZStringToMBString), as
   UTF-16; bytes that are no UTF-8 become U+FFFD. */
HOST_API std::u16string KO_ZStringToUTF16String(const char* zstring);
/* Reports a standard exception and gives the code to return for it:
   KO_Err_OutOfMemory for std::bad_alloc, KO_Err_Internal otherwise. */
HOST_API HOST_Err KO_TranslateAndReportException(const std::exception& e);

/* A base whose objects are allocated through KO, so that the books count
   them and the fail-the-Nth-allocation hook reaches them. The throwing
   form throws std::bad_alloc; the nothrow form gives null. */
class HOST_API KO_MemTrackedObject {
 public:
  static void* operator new(size_t size);
  static void* operator new(size_t size, const std::nothrow_t&) noexcept;
  static void* operator new(size_t, void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept;
  static void operator delete(void* block, const std::nothrow_t&) noexcept;
  static void operator delete(void*, void*) noexcept {}
};
#endif

#endif
