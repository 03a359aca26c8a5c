/* qz_net: TCP client of the maker's platform libraries. */
#ifndef QZ_NET_H
#define QZ_NET_H

#include <stdbool.h>
#include <stdint.h>

#include "qz_export.h"

#ifdef QZ_NET_BUILDING
#define QZ_NET_API QZ_DLL_EXPORT
#else
#define QZ_NET_API QZ_DLL_IMPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Event types carried in TransportEvent.type. */
enum {
  QZ_NET_EVENT_CONNECTED = 1,
  QZ_NET_EVENT_DISCONNECTED = 2,
  QZ_NET_EVENT_EXCEPTION = 3,
  QZ_NET_EVENT_DATA = 4
};

typedef struct TransportEvent {
  uint32_t reserved;
  uint32_t type;
  const uint8_t *data;
  uint32_t length;
} TransportEvent;

typedef bool (*qz_net_callback)(TransportEvent *event, void *user);

QZ_NET_API bool qz_net_tcp_client_init(void **handle);
QZ_NET_API bool qz_net_connect_server(void *handle, const char *address, uint16_t port,
                                      qz_net_callback callback, void *user);
QZ_NET_API bool qz_net_send_data_to_server(void *handle, const uint8_t *data, uint32_t length);
QZ_NET_API bool qz_net_disconnect_server(void *handle);
QZ_NET_API void qz_net_tcp_client_uninit(void **handle);

#ifdef __cplusplus
}
#endif

#endif
