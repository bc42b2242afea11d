/*
 * cmpios.h - operating-system types used by the CMPI function tables.
 *
 * Threads, mutexes and condition variables cross the interface as opaque pointers; their
 * meaning is POSIX threads. The thread-key type is pthread_key_t on this platform.
 */
#ifndef CMPIOS_H
#define CMPIOS_H

#include <pthread.h>

#define CMPI_THREAD_RETURN void *
#define CMPI_THREAD_TYPE void *
#define CMPI_MUTEX_TYPE void *
#define CMPI_COND_TYPE void *
#define CMPI_THREAD_CDECL
#define CMPI_THREAD_KEY_TYPE pthread_key_t

#if defined(__GNUC__) && __GNUC__ >= 4
#define CMPI_EXPORT __attribute__((visibility("default")))
#else
#define CMPI_EXPORT
#endif

#ifdef __cplusplus
#define CMPI_EXTERN_C extern "C" CMPI_EXPORT
#else
#define CMPI_EXTERN_C CMPI_EXPORT
#endif

#endif /* CMPIOS_H */
