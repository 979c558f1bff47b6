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

HOST_END_C
#endif
