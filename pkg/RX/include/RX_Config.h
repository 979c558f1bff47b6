/* Linkage of the package: one export macro, C linkage for the flat API. */
#ifndef RX_CONFIG_H
#define RX_CONFIG_H

#include <stddef.h>
#include <stdint.h>

#define RX_API __attribute__((visibility("default")))

/* Types of the public headers keep default visibility, so that templates
   instantiated over them (RX_WorldX<RX_Pixel8>, ...) can be exported. */
#define RX_VISIBLE_BEGIN _Pragma("GCC visibility push(default)")
#define RX_VISIBLE_END _Pragma("GCC visibility pop")

/* Pins the layout of a record that crosses the ABI: a static assertion in
   C++ and in C alike. */
#ifdef __cplusplus
#define RX_ABI_ASSERT(condition, what) static_assert(condition, what)
#else
#define RX_ABI_ASSERT(condition, what) _Static_assert(condition, what)
#endif

#ifdef __cplusplus
#define RX_BEGIN_C RX_VISIBLE_BEGIN extern "C" {
#define RX_END_C } RX_VISIBLE_END
#else
#define RX_BEGIN_C RX_VISIBLE_BEGIN
#define RX_END_C RX_VISIBLE_END
#endif

/* The version of this package's headers; RX_CheckVersions compares a
   caller's copy of it with the package's. */
#define RX_HEADER_VERSION 17

#endif
