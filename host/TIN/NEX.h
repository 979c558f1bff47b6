/* NEX, the binary interface bridge: every service is a named table of
   procedures, found at run time through one lookup routine. A method is
   named twice: by its short name ("Message") and by its registered name
   ("NEXErrorMessageProc", that is "NEX" + stem + short name + "Proc"); the
   lookup takes the interface name and both, and gives null for anything it
   does not know. */
#ifndef NEX_H
#define NEX_H
#include "HostAPI.h"
HOST_BEGIN_C

typedef void (*NEX_Proc)(void);
typedef NEX_Proc (*NEX_LookupProc)(const char* interface_name, const char* short_name,
                                    const char* registered_name);

/* The five basic procedures of interface "NEX"; short and registered names
   are the same string. */
typedef HOST_Err (*NEXRegisterProcAddressProc)(const char* interface_name, const char* short_name,
                                                const char* registered_name, NEX_Proc proc);
typedef HOST_Err (*NEXReportErrorProc)(const char* message, const char* component);
/* Forgets every procedure of an interface and counts one unregistration. */
typedef HOST_Err (*NEXUnregisterInterfaceProc)(const char* interface_name);
typedef const int32_t* (*NEXGetUnregisterCountAddrProc)(void);
typedef int32_t (*NEXIsMultiThreadedProc)(void);

/* Opaque reference-counted objects of the bridge. A new object holds one
   reference, owned by its creator; the last Release destroys it. */
typedef struct NEX_Object* NEX_Ref;

/* "NEXContainerInterface": an ordered list of object references.
   New, AddRef, Release, Count, Item (borrowed), Append (the container takes a
   reference of its own; the caller keeps its own). */
typedef NEX_Ref (*NEXContainerNewProc)(void);
typedef void (*NEXContainerAddRefProc)(NEX_Ref);
typedef void (*NEXContainerReleaseProc)(NEX_Ref);
typedef int32_t (*NEXContainerCountProc)(NEX_Ref);
typedef NEX_Ref (*NEXContainerItemProc)(NEX_Ref, int32_t index);
typedef HOST_Err (*NEXContainerAppendProc)(NEX_Ref, NEX_Ref item);

/* "NEXErrorInterface": an error with message, component and id.
   New, AddRef, Release, Message, Component, ID (the texts are copied). */
typedef NEX_Ref (*NEXErrorNewProc)(const char* message, const char* component, int32_t id);
typedef void (*NEXErrorAddRefProc)(NEX_Ref);
typedef void (*NEXErrorReleaseProc)(NEX_Ref);
typedef const char* (*NEXErrorMessageProc)(NEX_Ref);
typedef const char* (*NEXErrorComponentProc)(NEX_Ref);
typedef int32_t (*NEXErrorIDProc)(NEX_Ref);

/* "NEXStringInterface": an immutable UTF-8 string.
   New, AddRef, Release, UTF8 (the text is copied). */
typedef NEX_Ref (*NEXStringNewProc)(const char* utf8);
typedef void (*NEXStringAddRefProc)(NEX_Ref);
typedef void (*NEXStringReleaseProc)(NEX_Ref);
typedef const char* (*NEXStringUTF8Proc)(NEX_Ref);

/* "NEXMemoryInterface": Allocate, Free, Resize (blocks counted by KO). */
typedef void* (*NEXMemoryAllocateProc)(size_t size);
typedef void (*NEXMemoryFreeProc)(void* block);
typedef void* (*NEXMemoryResizeProc)(void* block, size_t size);

/* "NEXProgressInterface": progress objects that pass their updates on.
   NewNullProgress (updates go nowhere), NewClientProgress (updates call
   the client's function with its refcon; a non-zero result is the
   update's result), AddRef, Release, Update. */
typedef HOST_Err (*NEXProgressClientProc)(void* refcon, int32_t done, int32_t total);
typedef NEX_Ref (*NEXProgressNewNullProgressProc)(void);
typedef NEX_Ref (*NEXProgressNewClientProgressProc)(void* refcon, NEXProgressClientProc client);
typedef void (*NEXProgressAddRefProc)(NEX_Ref);
typedef void (*NEXProgressReleaseProc)(NEX_Ref);
typedef HOST_Err (*NEXProgressUpdateProc)(NEX_Ref, int32_t done, int32_t total);

/* "NEXCacheInterface": identifiers of cached data, made from key bytes.
   NewID (null for an empty key, or without memory), AddRef, Release,
   Equal (1 when two identifiers have the same key). */
typedef NEX_Ref (*NEXCacheNewIDProc)(const void* key, size_t size);
typedef void (*NEXCacheAddRefProc)(NEX_Ref);
typedef void (*NEXCacheReleaseProc)(NEX_Ref);
typedef int32_t (*NEXCacheEqualProc)(NEX_Ref, NEX_Ref);

/* "NEXStreamFactoryInterface": read-only streams over copied bytes.
   NewMemoryStream, AddRef, Release, Size, Read (bytes read from offset),
   Signature (the first four bytes, big-endian; KO_Err_Internal when the
   stream holds fewer). */
typedef NEX_Ref (*NEXStreamFactoryNewMemoryStreamProc)(const void* data, size_t size);
typedef void (*NEXStreamFactoryAddRefProc)(NEX_Ref);
typedef void (*NEXStreamFactoryReleaseProc)(NEX_Ref);
typedef int64_t (*NEXStreamFactorySizeProc)(NEX_Ref);
typedef int64_t (*NEXStreamFactoryReadProc)(NEX_Ref, int64_t offset, void* buffer, int64_t size);
typedef HOST_Err (*NEXStreamFactorySignatureProc)(NEX_Ref, uint32_t* signature);

HOST_END_C
#endif
