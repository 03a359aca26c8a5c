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

#define QZ_NDS_VERSION_MAJOR 0
#define QZ_NDS_VERSION_MINOR 1
#define QZ_NDS_VERSION_PATCH 0
#define QZ_NDS_VERSION_STRINGIFY_(x) #x
#define QZ_NDS_VERSION_TEXT_(major, minor, patch) \
  QZ_NDS_VERSION_STRINGIFY_(major) "." QZ_NDS_VERSION_STRINGIFY_(minor) "." QZ_NDS_VERSION_STRINGIFY_(patch)
/* "MAJOR.MINOR.PATCH"; the build takes the project version from these macros. */
#define QZ_NDS_VERSION_STRING \
  QZ_NDS_VERSION_TEXT_(QZ_NDS_VERSION_MAJOR, QZ_NDS_VERSION_MINOR, QZ_NDS_VERSION_PATCH)

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
/* Answers from the session (last configuration read): the two identity
   values, the serial number and three identity texts into 32-byte buffers
   (terminated when shorter than 32 bytes). Null pointers are skipped. */
QZ_NDS_API bool qz_nds_get_machine_info(qz_nds_handle handle, uint16_t *value1, uint16_t *value2, char *sn,
                                        char *text1, char *text2, char *text3);
/* Asks the device to take the IP settings flag and five texts (at most 15
   bytes each, sent only when flag is non-zero; a null text is left as is). */
QZ_NDS_API bool qz_nds_set_ip_info(qz_nds_handle handle, uint8_t flag, const char *text1, const char *text2,
                                   const char *text3, const char *text4, const char *text5);
/* Asks the device for its IP settings, or answers from the session when it
   cannot: at most 15 bytes per buffer, no terminator. Null pointers skipped. */
QZ_NDS_API bool qz_nds_get_ip_info(qz_nds_handle handle, uint8_t *flag, char *text1, char *text2, char *text3,
                                   char *text4, char *text5);
/* Answers from the session: the serial number's bytes (no terminator; 32
   bytes suffice) and their count. */
QZ_NDS_API bool qz_nds_get_sn(qz_nds_handle handle, char *sn, uint32_t *len);
/* Asks the device to store `len` opaque bytes of account info. */
QZ_NDS_API bool qz_nds_set_account_info(qz_nds_handle handle, const uint8_t *data, uint32_t len);
/* Asks the device for its account info. *len is data's capacity on entry and
   the info's size on return; false (data untouched) when it does not fit. */
QZ_NDS_API bool qz_nds_get_account_info(qz_nds_handle handle, uint8_t *data, uint32_t *len);
/* Asks the device to take the three passive wireless power status values. */
QZ_NDS_API bool qz_nds_set_passive_wireless_power_status(qz_nds_handle handle, const uint32_t *status1,
                                                         const uint32_t *status2, const uint32_t *status3);
/* Asks the device for the three passive wireless power status values. */
QZ_NDS_API bool qz_nds_get_passive_wireless_power_status(qz_nds_handle handle, uint32_t *status1,
                                                         uint32_t *status2, uint32_t *status3);
/* Asks the device to take the passive wireless domain text and its value. */
QZ_NDS_API bool qz_nds_set_passive_wireless_domain(qz_nds_handle handle, const char *domain, uint32_t value);
/* Asks the device for the passive wireless domain into a 128-byte buffer
   (terminated when shorter) and its value; false when it is longer. */
QZ_NDS_API bool qz_nds_get_passive_wireless_domain(qz_nds_handle handle, char *domain, uint32_t *value);
/* identity exports: end */

/* ---- Linked equipment and cloud settings ------------------------------- */
/* link exports: begin */

/* Sets the linked visual camera's IP address (NUL-terminated text). */
QZ_NDS_API bool qz_nds_set_visual_ip(qz_nds_handle handle, const char *ip);
/* Asks the device for the visual camera's IP address: writes exactly *len
   bytes, no NUL; the buffer must hold the longest text the device keeps.
   On false the buffer and *len are untouched. */
QZ_NDS_API bool qz_nds_get_visual_ip(qz_nds_handle handle, char *ip, uint32_t *len);
/* Sets the visual camera's login user (NUL-terminated text). */
QZ_NDS_API bool qz_nds_set_visual_user(qz_nds_handle handle, const char *user);
/* Asks the device for the visual camera's login user; buffer and *len as
   for qz_nds_get_visual_ip. */
QZ_NDS_API bool qz_nds_get_visual_user(qz_nds_handle handle, char *user, uint32_t *len);
/* Sets the visual camera's login password (NUL-terminated text). */
QZ_NDS_API bool qz_nds_set_visual_passwd(qz_nds_handle handle, const char *passwd);
/* Asks the device for the visual camera's login password; buffer and *len as
   for qz_nds_get_visual_ip. */
QZ_NDS_API bool qz_nds_get_visual_passwd(qz_nds_handle handle, char *passwd, uint32_t *len);
/* Sets the visual camera's serial number (len bytes at sn, or len zero bytes
   when sn is null) with its support and same-IP flags. A supported camera on
   an IP of its own needs a serial number. */
QZ_NDS_API bool qz_nds_set_visual_sn(qz_nds_handle handle, uint8_t support, uint8_t same_ip, const char *sn,
                                     uint32_t len);
/* Sets the visual camera's zoom control flag; the byte is sent as given. */
QZ_NDS_API bool qz_nds_set_visual_zoom_control_flag(qz_nds_handle handle, uint8_t flag);
/* Asks the device for the zoom control flag, as the device stores it. */
QZ_NDS_API bool qz_nds_get_visual_zoom_control_flag(qz_nds_handle handle, uint8_t *flag);
/* Sets whether the visual camera goes to its preset at start; sent as given. */
QZ_NDS_API bool qz_nds_set_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t flag);
/* Asks the device for the go-to-preset-at-start flag, as the device stores it. */
QZ_NDS_API bool qz_nds_get_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t *flag);

/* The MQTT functions return true whenever their arguments are usable: the
   device's answer shows only in the log and, for a get, as an empty text,
   port 0 or work 0 when the exchange failed. */

/* Switches MQTT operation on (work == 1) or off (any other value). */
QZ_NDS_API bool qz_nds_set_mqtt_work(qz_nds_handle handle, uint8_t work);
/* Asks the device whether MQTT operation is on: *work receives 0 or 1. */
QZ_NDS_API bool qz_nds_get_mqtt_work(qz_nds_handle handle, uint8_t *work);
/* Sets the broker's IP address (NUL-terminated text). */
QZ_NDS_API bool qz_nds_set_mqtt_ip(qz_nds_handle handle, const char *ip);
/* Asks the device for the broker's IP address: writes exactly *len bytes, no
   NUL; the buffer must hold the longest text the device keeps. */
QZ_NDS_API bool qz_nds_get_mqtt_ip(qz_nds_handle handle, char *ip, uint32_t *len);
/* Sets the broker's port. */
QZ_NDS_API bool qz_nds_set_mqtt_port(qz_nds_handle handle, uint32_t port);
/* Asks the device for the broker's port. */
QZ_NDS_API bool qz_nds_get_mqtt_port(qz_nds_handle handle, uint32_t *port);
/* Sets the broker's login user (NUL-terminated text). */
QZ_NDS_API bool qz_nds_set_mqtt_user(qz_nds_handle handle, const char *user);
/* Asks the device for the broker's login user; as qz_nds_get_mqtt_ip. */
QZ_NDS_API bool qz_nds_get_mqtt_user(qz_nds_handle handle, char *user, uint32_t *len);
/* Sets the broker's login password (NUL-terminated text). */
QZ_NDS_API bool qz_nds_set_mqtt_passwd(qz_nds_handle handle, const char *passwd);
/* Asks the device for the broker's login password; as qz_nds_get_mqtt_ip. */
QZ_NDS_API bool qz_nds_get_mqtt_passwd(qz_nds_handle handle, char *passwd, uint32_t *len);

/* Writes the GB/T 28181 platform parameters: enable (non-zero enables), four
   NUL-terminated texts (empty where unused, never null) and the port. */
QZ_NDS_API bool qz_nds_28181_set_para(qz_nds_handle handle, uint8_t enable, const char *text1, uint16_t port,
                                      const char *text2, const char *text3, const char *text4);
/* Asks the device for the GB/T 28181 parameters. Each text buffer holds 64
   bytes and receives a NUL-terminated text of at most 63 bytes. A device that
   reports the function disabled gives enable 0 with the texts and port of
   its last enabled answer. On false nothing is written. */
QZ_NDS_API bool qz_nds_28181_get_para(qz_nds_handle handle, uint8_t *enable, char *text1, uint16_t *port,
                                      char *text2, char *text3, char *text4);
/* link exports: end */

/* ---- Device feature settings ------------------------------------------- */
/* feature exports: begin */

/* Feature switches. enable/disable (display/hide) ask the device and, once it
   accepted, remember the state; the is_ getters answer 0/1 from the session. */
QZ_NDS_API bool qz_nds_enable_hdmi(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_hdmi(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_hdmi(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_enable_onvif(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_onvif(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_onvif(qz_nds_handle handle, uint8_t *enabled);
/* Lens position. */
QZ_NDS_API bool qz_nds_enable_len_pos(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_len_pos(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_len_pos(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_enable_detect_sun(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_detect_sun(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_detect_sun(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_enable_rotate180(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_rotate180(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_rotate180(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_enable_radar(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_radar(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_radar(qz_nds_handle handle, uint8_t *enabled);
/* Automatic change of the measurement. */
QZ_NDS_API bool qz_nds_enable_auto_change_meas(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_auto_change_meas(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_auto_change_meas(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_enable_auto_focus(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_auto_focus(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_enabled_auto_focus(qz_nds_handle handle, uint8_t *enabled);
/* The centre rectangle overlay (an OSD command). */
QZ_NDS_API bool qz_nds_display_center_rectangle(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_hide_center_rectangle(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_is_display_center_rectangle(qz_nds_handle handle, uint8_t *displayed);

/* Numeric settings. Setters ask the device (one byte on the wire, no range
   check) and remember the value once accepted; getters answer from the
   session. */
QZ_NDS_API bool qz_nds_set_ps_link_count(qz_nds_handle handle, uint8_t count);
QZ_NDS_API bool qz_nds_get_ps_link_count(qz_nds_handle handle, uint8_t *count);
QZ_NDS_API bool qz_nds_set_ad_link_count(qz_nds_handle handle, uint8_t count);
QZ_NDS_API bool qz_nds_get_ad_link_count(qz_nds_handle handle, uint8_t *count);
QZ_NDS_API bool qz_nds_set_visual_link_count(qz_nds_handle handle, uint8_t count);
QZ_NDS_API bool qz_nds_get_visual_link_count(qz_nds_handle handle, uint8_t *count);
QZ_NDS_API bool qz_nds_set_ptz_link_count(qz_nds_handle handle, uint8_t count);
QZ_NDS_API bool qz_nds_get_ptz_link_count(qz_nds_handle handle, uint8_t *count);
QZ_NDS_API bool qz_nds_set_framerate(qz_nds_handle handle, uint8_t framerate);
QZ_NDS_API bool qz_nds_get_framerate(qz_nds_handle handle, uint8_t *framerate);
/* Palette and lens adjust method: only the low byte is sent, the whole value
   is remembered; the getter gives its bit pattern (-1 reads 0xFFFFFFFF). */
QZ_NDS_API bool qz_nds_set_default_palette(qz_nds_handle handle, int32_t palette);
QZ_NDS_API bool qz_nds_get_default_palette(qz_nds_handle handle, uint32_t *palette);
QZ_NDS_API bool qz_nds_set_len_adjust_method(qz_nds_handle handle, int32_t method);
/* Not yet known (before the configuration was read) is 0xFFFFFFFF. */
QZ_NDS_API bool qz_nds_get_len_adjust_method(qz_nds_handle handle, uint32_t *method);
/* Sends the caller's 20-byte system time block to the device unchanged. */
QZ_NDS_API bool qz_nds_set_system_time(qz_nds_handle handle, const void *system_time);

/* Hardware watchdog. Setters ask the device and remember nothing; getters
   ask the device every time. */
QZ_NDS_API bool qz_nds_enable_hardware_watchdog(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_hardware_watchdog(qz_nds_handle handle);
/* *enabled = 1 when the device answered 1, else 0. */
QZ_NDS_API bool qz_nds_is_enable_hardware_watchdog(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_enable_hardware_watchdog_disable(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_disable_hardware_watchdog_disable(qz_nds_handle handle);
/* *enabled = 1 when the device answered 1, else 0. */
QZ_NDS_API bool qz_nds_isenable_hardware_watchdog_disable(qz_nds_handle handle, uint8_t *enabled);
QZ_NDS_API bool qz_nds_set_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t time);
/* *time = the device's byte unchanged. */
QZ_NDS_API bool qz_nds_get_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t *time);

/* Temperature options. Setters send the byte as passed; getters ask the
   device every time. */
QZ_NDS_API bool qz_nds_set_disable_temperature_correct_status(qz_nds_handle handle, uint8_t status);
/* *status = the device's byte unchanged. */
QZ_NDS_API bool qz_nds_get_disable_temperature_correct_status(qz_nds_handle handle, uint8_t *status);
QZ_NDS_API bool qz_nds_set_vision_maxtemperature(qz_nds_handle handle, uint8_t value);
/* *value = 1 when the device answered 1, else 0. */
QZ_NDS_API bool qz_nds_get_vision_maxtemperature(qz_nds_handle handle, uint8_t *value);
QZ_NDS_API bool qz_nds_set_all_temperature_network_byte_order(qz_nds_handle handle, uint8_t value);
/* *value = 1 when the device answered 1, else 0. */
QZ_NDS_API bool qz_nds_get_all_temperature_network_byte_order(qz_nds_handle handle, uint8_t *value);

/* OSD items 0 to 11. Sets item osd_id (not 8, the channel-name item) on the
   device and remembers it, display as passed (the wire carries 0/1). */
QZ_NDS_API bool qz_nds_set_osd_setting(qz_nds_handle handle, int32_t osd_id, uint8_t display, uint8_t attribute,
                                       uint16_t value1, uint16_t value2);
/* Answers item osd_id from the session; null out pointers are skipped. */
QZ_NDS_API bool qz_nds_get_osd_setting(qz_nds_handle handle, int32_t osd_id, uint8_t *display, uint8_t *attribute,
                                       uint16_t *value1, uint16_t *value2);
/* Sets the channel name (the first name_length bytes of `name` go to the
   device; the whole text is remembered) and the channel-name item 8. */
QZ_NDS_API bool qz_nds_osd_set_channel_name(qz_nds_handle handle, uint8_t name_length, const char *name,
                                            uint8_t display, uint8_t attribute, uint16_t value1, uint16_t value2);
/* Answers the channel name (into a 256-byte buffer, at most 256 bytes, no NUL
   added) and item 8 from the session; null pointers are skipped. */
QZ_NDS_API bool qz_nds_osd_get_channel_info(qz_nds_handle handle, char *name, uint8_t *display,
                                            uint8_t *attribute, uint16_t *value1, uint16_t *value2);
/* Asks the device to restore its OSD configuration (the session's copy is
   refreshed by qz_nds_get_machine_config_info). */
QZ_NDS_API bool qz_nds_osd_restore_config(qz_nds_handle handle);

/* Device control: sent without waiting; true when the frame was sent. */
QZ_NDS_API bool qz_nds_reboot(qz_nds_handle handle);
QZ_NDS_API bool qz_nds_keep_alive(qz_nds_handle handle);

/* Vendor flags. Setters send the byte as passed; getters ask the device and
   give 1 when it answered 1, else 0. */
QZ_NDS_API bool qz_nds_set_hikvision_linkage(qz_nds_handle handle, uint8_t value);
QZ_NDS_API bool qz_nds_get_hikvision_linkage(qz_nds_handle handle, uint8_t *value);
QZ_NDS_API bool qz_nds_set_pg_support(qz_nds_handle handle, uint8_t value);
QZ_NDS_API bool qz_nds_get_pg_support(qz_nds_handle handle, uint8_t *value);
/* feature exports: end */

#ifdef __cplusplus
}
#endif

#endif
