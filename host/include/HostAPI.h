/* Linkage of the reference host's sibling libraries (KO, GE, ZW, ...).
   Every exported name of libRXHost.so carries its library's prefix. */
#ifndef HOST_API_H
#define HOST_API_H

#include <stddef.h>
#include <stdint.h>

#define HOST_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define HOST_BEGIN_C extern "C" {
#define HOST_END_C }
#else
#define HOST_BEGIN_C
#define HOST_END_C
#endif

/* Result codes of the sibling libraries share the application's code space. */
typedef int32_t HOST_Err;

#endif
