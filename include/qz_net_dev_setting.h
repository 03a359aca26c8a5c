/*
 * qz_nds: configuration of networked infrared cameras over TCP.
 *
 * Every function returns true (non-zero) on success and false (zero) on
 * failure; failures are written to the log. A session handle comes from
 * qz_nds_init and is released with qz_nds_uninit. Calls that talk to the
 * device block the calling thread until the device answers or 10 s passed.
 * All functions are safe to call from several threads on one session, but
 * qz_nds_uninit must not race with other calls on the same handle.
 */
#ifndef QZ_NET_DEV_SETTING_H
#define QZ_NET_DEV_SETTING_H

#include <stdbool.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(QZ_NDS_BUILDING)
#define QZ_NDS_API __declspec(dllexport)
#elif defined(QZ_NDS_STATIC)
#define QZ_NDS_API
#else
#define QZ_NDS_API __declspec(dllimport)
#endif
#elif defined(__GNUC__) || defined(__clang__)
#define QZ_NDS_API __attribute__((visibility("default")))
#else
#define QZ_NDS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque session handle (pointer-sized). */
typedef void *qz_nds_handle;

/* ---- Lifecycle and connection ------------------------------------------ */

/* Creates a session and writes its handle to *handle_out. On false the
   handle may still be non-null and must be released with qz_nds_uninit. A
   null handle_out gives false and writes nothing. */
QZ_NDS_API bool qz_nds_init(qz_nds_handle *handle_out);

/* Destroys the session *handle_io and sets *handle_io to null. Callers that
   wait for a response on this session are woken and fail. */
QZ_NDS_API bool qz_nds_uninit(qz_nds_handle *handle_io);

/* Connects to the device at `address` (host name, IPv4 or IPv6 literal; an
   optional ":port" or "[v6]:port" overrides the device port 63201). True
   once the connection stands. */
QZ_NDS_API bool qz_nds_connect(qz_nds_handle handle, const char *address);

/* Closes the connection and forgets the connection-bound settings. */
QZ_NDS_API bool qz_nds_disconnect(qz_nds_handle handle);

/* ---- Device identity and status ---------------------------------------- */

/* Reads the device's whole configuration into the session; the cached
   getters answer from it afterwards. */
QZ_NDS_API bool qz_nds_get_machine_config_info(qz_nds_handle handle);
/* identity exports: begin */
/* identity exports: end */

/* ---- Linked equipment and cloud settings ------------------------------- */
/* link exports: begin */
/* link exports: end */

/* ---- Device feature settings ------------------------------------------- */
/* feature exports: begin */
/* feature exports: end */

#ifdef __cplusplus
}
#endif

#endif
