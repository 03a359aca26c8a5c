/**
 * @file qz_net.h
 * @brief qz_net: the TCP client of the platform libraries.
 *
 * One receive thread per process serves every client and calls the client's
 * callback with its events; sends run on the caller's thread.
 */
#ifndef QZ_NET_H
#define QZ_NET_H

#include <stdbool.h>
#include <stdint.h>

#include "qz_export.h"

/** @cond */
#ifdef QZ_NET_BUILDING
#define QZ_NET_API QZ_DLL_EXPORT
#else
#define QZ_NET_API QZ_DLL_IMPORT
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/** @brief Event types carried in TransportEvent.type. */
enum {
  QZ_NET_EVENT_CONNECTED = 1,
  QZ_NET_EVENT_DISCONNECTED = 2,
  QZ_NET_EVENT_EXCEPTION = 3,
  QZ_NET_EVENT_DATA = 4
};

/** @brief One event of a client, handed to its callback. */
typedef struct TransportEvent {
  uint32_t reserved;   /**< The connection's serial number (1, 2, ... per connect). */
  uint32_t type;       /**< QZ_NET_EVENT_CONNECTED, _DISCONNECTED, _EXCEPTION or _DATA. */
  const uint8_t *data; /**< For data events: one whole frame, or bytes that are no frame. */
  uint32_t length;     /**< The number of bytes at @c data. */
} TransportEvent;

/** @brief A client's callback, run on the receive thread; the event is valid during the call. */
typedef bool (*qz_net_callback)(TransportEvent *event, void *user);

/**
 * @brief Creates a client and writes its handle to @p *handle.
 * @param handle Receives the client's handle.
 * @return false when @p handle is null or the client cannot be made.
 */
QZ_NET_API bool qz_net_tcp_client_init(void **handle);
/**
 * @brief Connects the client and waits until the connection stands.
 *
 * The connected event has been delivered when it returns true. An address
 * may carry its own port ("host:7000", "[::1]:7000"); a host name is
 * resolved and each of its addresses tried. A client already connected is
 * disconnected first.
 *
 * @param handle The client.
 * @param address A host name or an IPv4 or IPv6 literal, with or without port.
 * @param port The port used when @p address names none.
 * @param callback Receives the client's events on the receive thread.
 * @param user Passed to @p callback unchanged.
 * @return false on a refused or malformed address, an unknown name, or no
 *         connection within about 3 s.
 */
QZ_NET_API bool qz_net_connect_server(void *handle, const char *address, uint16_t port,
                                      qz_net_callback callback, void *user);
/**
 * @brief Sends one whole frame; returns within 10 s of its call.
 *
 * A frame queued behind another thread's write in progress returns true at
 * once. A frame that cannot be handed over within 10 s fails, and the
 * connection, which may then hold part of a frame, is closed (events 3 and 2).
 *
 * @param handle The client.
 * @param data The frame's bytes.
 * @param length The number of bytes.
 * @return false when not connected or when the frame could not be sent.
 */
QZ_NET_API bool qz_net_send_data_to_server(void *handle, const uint8_t *data, uint32_t length);
/**
 * @brief Closes the connection; no callback of the client runs once it
 * returned (called from a callback, none starts after that one).
 * @param handle The client.
 * @return true unless @p handle is null.
 */
QZ_NET_API bool qz_net_disconnect_server(void *handle);
/**
 * @brief Closes and frees the client and clears @p *handle; sends in progress
 * on it fail at once and have returned before it is freed.
 * @param handle The address of the client's handle.
 */
QZ_NET_API void qz_net_tcp_client_uninit(void **handle);

#ifdef __cplusplus
}
#endif

#endif
