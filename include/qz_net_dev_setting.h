/**
 * @file qz_net_dev_setting.h
 * @brief qz_nds: configuration of networked infrared cameras over TCP.
 *
 * Every function returns true (non-zero) on success and false (zero) on
 * failure; failures are written to the log. A session handle comes from
 * qz_nds_init() and is released with qz_nds_uninit(). Calls that talk to the
 * device block the calling thread until the device answers or 10 s passed
 * since the call: the time to hand the request to the connection counts
 * against the 10 s, so no such call blocks longer whatever the device does
 * (a connection that cannot take a request in that time is closed). A
 * request whose frame would exceed 1 MiB is refused before it is sent, with
 * the error "send cmd[MAIN, SUB] size = N is over the frame limit of
 * 1048548". All functions are safe to call from several threads on one
 * session; qz_nds_uninit() wakes the calls inside the session and waits for
 * them to return, and no call may start after it returned.
 *
 * Every function but qz_nds_init() and qz_nds_uninit() takes the session
 * handle first. A handle that is null or not a session makes the function
 * return false at once, without sending or logging anything.
 *
 * Three kinds of call:
 * - a cached setting asks the device to take a value and, once it accepted,
 *   remembers it; its getter answers from the session alone, with what the
 *   last configuration read (qz_nds_get_machine_config_info()) or the last
 *   accepted set brought;
 * - a device query asks the device every time and reports its answer;
 * - an unanswered command (qz_nds_reboot(), qz_nds_keep_alive()) only reports
 *   that its request was sent.
 *
 * Each function below says which kind it is in three lines: "Device" (what
 * goes to the device, as main/sub command, or that nothing does), "Waits"
 * (how long the caller may block) and "Logs" (the lines of its own). When an
 * exchange fails, the library first logs the cause as errors: "device is not
 * connected" (no connection stands), "cmd [MAIN,SUB]'s response code = N is
 * not successed" (the device refused), "checkout seq = N's response failed"
 * (no accepted answer within the wait) and "send cmd[MAIN, SUB] size = N
 * failed". These are "the transaction's lines" below.
 */
#ifndef QZ_NET_DEV_SETTING_H
#define QZ_NET_DEV_SETTING_H

#include <stdbool.h>
#include <stdint.h>

/** @brief Major version of the SDK; a change breaks compatibility. */
#define QZ_NDS_VERSION_MAJOR 0
/** @brief Minor version of the SDK: additions that keep compatibility. */
#define QZ_NDS_VERSION_MINOR 1
/** @brief Patch version of the SDK: fixes only. */
#define QZ_NDS_VERSION_PATCH 0
/** @cond */
#define QZ_NDS_VERSION_STRINGIFY_(x) #x
#define QZ_NDS_VERSION_TEXT_(major, minor, patch) \
  QZ_NDS_VERSION_STRINGIFY_(major) "." QZ_NDS_VERSION_STRINGIFY_(minor) "." QZ_NDS_VERSION_STRINGIFY_(patch)
/** @endcond */
/** @brief The version as text, "MAJOR.MINOR.PATCH" (for example "0.1.0"). */
#define QZ_NDS_VERSION_STRING \
  QZ_NDS_VERSION_TEXT_(QZ_NDS_VERSION_MAJOR, QZ_NDS_VERSION_MINOR, QZ_NDS_VERSION_PATCH)

/** @cond */
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
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/** @brief A session, known to applications only by its handle. */
struct qz_nds_session;
/**
 * @brief Opaque session handle (pointer-sized), made by qz_nds_init().
 *
 * A pointer to an incomplete type, so that a pointer of another type passed
 * in its place does not compile silently; its size and representation are
 * those of any object pointer.
 */
typedef struct qz_nds_session *qz_nds_handle;

/* ---- Lifecycle and connection ------------------------------------------ */
/**
 * @defgroup lifecycle Lifecycle and connection
 * @brief Creating and releasing a session, connecting it to one device.
 * @{
 */

/**
 * @brief Creates a session and writes its handle to @p handle_out.
 *
 * Opens the log (a folder "log" beside the executable) and creates the
 * session's TCP client. On false the handle may still be non-null and must
 * then be released with qz_nds_uninit().
 *
 * - Device: nothing is sent.
 * - Waits: no.
 * - Logs: "initial tcp client failed" (error) when the TCP client cannot be
 *   created; "get path faild" and "init log failed" go to the standard error
 *   stream, since the log is not open yet.
 *
 * @param handle_out Receives the new handle; null gives false and nothing is
 *                   written.
 * @return true when the session is ready to connect.
 */
QZ_NDS_API bool qz_nds_init(qz_nds_handle *handle_out);

/**
 * @brief Destroys the session @p *handle_io and sets @p *handle_io to null.
 *
 * Closes the connection if one stands, which makes calls blocked sending on it
 * fail; calls that wait for an answer on this session are woken and fail.
 * The session is released once every call inside it has returned; no call
 * may start on the handle after this function returned.
 *
 * - Device: nothing is sent; the connection is closed.
 * - Waits: until the calls inside the session have returned (at once for
 *   calls that send or wait for an answer).
 * - Logs: nothing.
 *
 * @param handle_io Address of the caller's handle variable.
 * @return true when a session was destroyed; false when @p handle_io is null
 *         or does not hold a session (a second call on the same variable).
 */
QZ_NDS_API bool qz_nds_uninit(qz_nds_handle *handle_io);

/**
 * @brief Connects the session to the device at @p address.
 *
 * The address is a host name, an IPv4 or IPv6 literal, "host:port",
 * "ipv4:port" or "[ipv6]:port"; without a port the device port 63201 is used.
 * Connecting a session that is already connected changes nothing.
 *
 * - Device: opens the TCP connection; no command is sent.
 * - Waits: until the connection stands or fails (the transport gives up after
 *   about 3 s, plus the host-name lookup); a connect or disconnect of the
 *   same session in progress on another thread finishes first.
 * - Logs: "connect server %s failed" (error) with the address;
 *   "device is conncted" (info) when already connected;
 *   "net dev setting on connected" (info) once the connection stands.
 *
 * @param handle Session handle from qz_nds_init().
 * @param address NUL-terminated device address; null gives false, unlogged.
 * @return true once the connection stands (or already stood).
 */
QZ_NDS_API bool qz_nds_connect(qz_nds_handle handle, const char *address);

/**
 * @brief Closes the connection and forgets the connection-bound settings.
 *
 * The identity values, the IP settings flag, the palette, the four link
 * counts, the frame rate and the switches hdmi, onvif, rotate180, len pos,
 * detect sun and centre rectangle go back to 0, the lens adjust method to
 * "not yet known"; texts, OSD items and everything else are kept. Calls still
 * waiting for an answer run into their wait time.
 *
 * - Device: closes the TCP connection; no command is sent.
 * - Waits: only for a connect of the same session in progress on another
 *   thread.
 * - Logs: "device is not connected" (error) when no connection stood;
 *   "disconnect faild, net handle is null" (error) without a TCP client.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the connection was closed, or none stood.
 */
QZ_NDS_API bool qz_nds_disconnect(qz_nds_handle handle);

/** @} */

/* ---- Device identity and status ---------------------------------------- */
/**
 * @defgroup identity Device identity and status
 * @brief The configuration read, identity, IP settings, serial number,
 *        account info and passive wireless settings.
 * @{
 */

/**
 * @brief Reads the device's whole configuration into the session.
 *
 * The answer fills what the cached getters report: identity texts and values,
 * serial number, IP settings, the feature switches, link counts, palette,
 * frame rate, lens adjust method, the OSD items and the channel name. Call it
 * after connecting; a record shorter than it announces is refused whole.
 *
 * - Device: asks the device (174/130).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; "parse machine info failed"
 *   (error) for a record that cannot be read.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the configuration arrived and is in the session.
 */
QZ_NDS_API bool qz_nds_get_machine_config_info(qz_nds_handle handle);
/* identity exports: begin */
/**
 * @brief Reports the device's identity from the last configuration read.
 *
 * Each 32-byte buffer is zeroed, then receives the text, terminated when it is
 * shorter than 32 bytes. Before any configuration read the values are 0 and
 * the texts empty. Null pointers are skipped.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value1 Receives the first identity value, or null.
 * @param value2 Receives the second identity value, or null.
 * @param sn Buffer of 32 bytes for the serial number, or null.
 * @param text1 Buffer of 32 bytes for the first identity text, or null.
 * @param text2 Buffer of 32 bytes for the second identity text, or null.
 * @param text3 Buffer of 32 bytes for the third identity text, or null.
 * @return true for a valid handle.
 */
QZ_NDS_API bool qz_nds_get_machine_info(qz_nds_handle handle, uint16_t *value1, uint16_t *value2, char *sn,
                                        char *text1, char *text2, char *text3);

/**
 * @brief Asks the device to take the IP settings: a flag and five texts.
 *
 * The flag goes as 1 when non-zero, else 0; the texts (their first 15 bytes
 * each) travel only when the flag is non-zero. Once the device accepted, the
 * session remembers the flag as passed and each given text whole.
 *
 * - Device: asks the device (169/138); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set ip info failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @param flag IP settings flag; non-zero sends the texts.
 * @param text1 First text (NUL-terminated, at most 15 bytes sent), or null to
 *              send an empty slot and keep the remembered text.
 * @param text2 Second text, as @p text1.
 * @param text3 Third text, as @p text1.
 * @param text4 Fourth text, as @p text1.
 * @param text5 Fifth text, as @p text1.
 * @return true when the device accepted the settings.
 */
QZ_NDS_API bool qz_nds_set_ip_info(qz_nds_handle handle, uint8_t flag, const char *text1, const char *text2,
                                   const char *text3, const char *text4, const char *text5);

/**
 * @brief Asks the device for its IP settings, or answers from the session
 *        when it cannot.
 *
 * Each buffer receives at most 15 bytes and no terminator; the rest of the
 * buffer is left as it was, so zero a 16-byte buffer beforehand to get a
 * terminated text. When the query fails the values the session last learned
 * are reported (and the call still succeeds).
 *
 * - Device: asks the device (169/139).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: the transaction's lines when the query fails; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param flag Receives the flag (0 or 1 from the device; as last set when the
 *             query failed), or null.
 * @param text1 Buffer of at least 15 bytes for the first text, or null.
 * @param text2 Buffer for the second text, as @p text1.
 * @param text3 Buffer for the third text, as @p text1.
 * @param text4 Buffer for the fourth text, as @p text1.
 * @param text5 Buffer for the fifth text, as @p text1.
 * @return true for a valid handle, whether or not the device answered.
 */
QZ_NDS_API bool qz_nds_get_ip_info(qz_nds_handle handle, uint8_t *flag, char *text1, char *text2, char *text3,
                                   char *text4, char *text5);

/**
 * @brief Reports the serial number from the last configuration read.
 *
 * Writes the serial number's bytes without a terminator and their count.
 * Before any configuration read the count is 0 and nothing is written.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param sn Buffer for the serial number; 32 bytes suffice.
 * @param len Receives the number of bytes written.
 * @return true for a valid handle; false when @p sn or @p len is null.
 */
QZ_NDS_API bool qz_nds_get_sn(qz_nds_handle handle, char *sn, uint32_t *len);

/**
 * @brief Asks the device to store a block of account info.
 *
 * The bytes are opaque to the library and sent unchanged. The device confirms
 * the write with the read's answer (48/129), which the session keeps; an
 * answer under the write's own sub command counts as a failure.
 *
 * - Device: asks the device (48/128).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param data The @p len bytes to store; may be null only when @p len is 0.
 * @param len Number of bytes at @p data.
 * @return true when the device accepted the block.
 */
QZ_NDS_API bool qz_nds_set_account_info(qz_nds_handle handle, const uint8_t *data, uint32_t len);

/**
 * @brief Asks the device for its account info.
 *
 * On entry @p *len is the capacity of @p data; on return it is the size of
 * the device's account info, also when it does not fit. To learn the size,
 * call with a capacity of 0 (and @p data null), then again with a buffer of
 * that size; each call asks the device anew. No terminator is added.
 *
 * - Device: asks the device (48/129).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param data Buffer of @p *len bytes; null only with a capacity of 0.
 * @param len In: capacity of @p data. Out: size of the account info
 *            (untouched when the exchange failed).
 * @return true when the account info arrived and was copied; false when the
 *         exchange failed or the info does not fit (@p data untouched).
 */
QZ_NDS_API bool qz_nds_get_account_info(qz_nds_handle handle, uint8_t *data, uint32_t *len);

/**
 * @brief Asks the device to take the three passive wireless power status
 *        values.
 *
 * The request opens with the serial number from the last configuration read,
 * so call qz_nds_get_machine_config_info() first. The device confirms the
 * write with the read's answer (49/131); an answer under the write's own sub
 * command counts as a failure.
 *
 * - Device: asks the device (49/130).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param status1 The first value; must not be null.
 * @param status2 The second value; must not be null.
 * @param status3 The third value; must not be null.
 * @return true when the device accepted the values; false also for a null
 *         pointer (nothing sent).
 */
QZ_NDS_API bool qz_nds_set_passive_wireless_power_status(qz_nds_handle handle, const uint32_t *status1,
                                                         const uint32_t *status2, const uint32_t *status3);

/**
 * @brief Asks the device for the three passive wireless power status values.
 *
 * The request opens with the serial number from the last configuration read.
 * On failure the outputs are left untouched.
 *
 * - Device: asks the device (49/131).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param status1 Receives the first value; must not be null.
 * @param status2 Receives the second value; must not be null.
 * @param status3 Receives the third value; must not be null.
 * @return true when the device answered; false also for a null pointer.
 */
QZ_NDS_API bool qz_nds_get_passive_wireless_power_status(qz_nds_handle handle, uint32_t *status1,
                                                         uint32_t *status2, uint32_t *status3);

/**
 * @brief Asks the device to take the passive wireless domain and its value.
 *
 * The request opens with the serial number from the last configuration read.
 * The device confirms the write with the read's answer (49/133); an answer
 * under the write's own sub command counts as a failure.
 *
 * - Device: asks the device (49/132).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param domain The domain, NUL-terminated; all of it is sent. Must not be
 *               null.
 * @param value The domain's value.
 * @return true when the device accepted the domain.
 */
QZ_NDS_API bool qz_nds_set_passive_wireless_domain(qz_nds_handle handle, const char *domain, uint32_t value);

/**
 * @brief Asks the device for the passive wireless domain and its value.
 *
 * The 128-byte buffer is zeroed, then receives the domain, terminated when it
 * is shorter than 128 bytes. A longer domain fails the call and leaves both
 * outputs untouched, as does a failed exchange.
 *
 * - Device: asks the device (49/133).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param domain Buffer of 128 bytes; must not be null.
 * @param value Receives the domain's value; must not be null.
 * @return true when the device answered with a domain of at most 128 bytes.
 */
QZ_NDS_API bool qz_nds_get_passive_wireless_domain(qz_nds_handle handle, char *domain, uint32_t *value);
/* identity exports: end */
/** @} */

/* ---- Linked equipment and cloud settings ------------------------------- */
/**
 * @defgroup link Linked equipment and cloud settings
 * @brief The linked visual camera, the MQTT broker and the GB/T 28181
 *        platform parameters. Every call here asks the device.
 * @{
 */
/* link exports: begin */

/**
 * @brief Sets the linked visual camera's IP address.
 *
 * - Device: asks the device (169/148); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param ip The address, NUL-terminated; must not be null (false, nothing
 *           sent).
 * @return true when the device accepted it.
 */
QZ_NDS_API bool qz_nds_set_visual_ip(qz_nds_handle handle, const char *ip);

/**
 * @brief Asks the device for the visual camera's IP address.
 *
 * Writes exactly @p *len bytes and no terminator. The call takes no capacity:
 * the buffer must hold the longest text the device keeps (64 bytes on the
 * simulated device). On false the buffer and @p *len are untouched.
 *
 * - Device: asks the device (169/149).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param ip Buffer for the text; must not be null.
 * @param len Receives the number of bytes written; must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_visual_ip(qz_nds_handle handle, char *ip, uint32_t *len);

/**
 * @brief Sets the visual camera's login user.
 *
 * - Device: asks the device (169/150); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param user The user, NUL-terminated; must not be null (false, nothing
 *             sent).
 * @return true when the device accepted it.
 */
QZ_NDS_API bool qz_nds_set_visual_user(qz_nds_handle handle, const char *user);

/**
 * @brief Asks the device for the visual camera's login user.
 *
 * Buffer and @p *len as for qz_nds_get_visual_ip(): exactly @p *len bytes, no
 * terminator, untouched on false.
 *
 * - Device: asks the device (169/151).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param user Buffer for the text; must not be null.
 * @param len Receives the number of bytes written; must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_visual_user(qz_nds_handle handle, char *user, uint32_t *len);

/**
 * @brief Sets the visual camera's login password.
 *
 * - Device: asks the device (169/152); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param passwd The password, NUL-terminated; must not be null (false,
 *               nothing sent).
 * @return true when the device accepted it.
 */
QZ_NDS_API bool qz_nds_set_visual_passwd(qz_nds_handle handle, const char *passwd);

/**
 * @brief Asks the device for the visual camera's login password.
 *
 * Buffer and @p *len as for qz_nds_get_visual_ip(): exactly @p *len bytes, no
 * terminator, untouched on false.
 *
 * - Device: asks the device (169/153).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param passwd Buffer for the text; must not be null.
 * @param len Receives the number of bytes written; must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_visual_passwd(qz_nds_handle handle, char *passwd, uint32_t *len);

/**
 * @brief Sets the visual camera's serial number with its support and same-IP
 *        flags.
 *
 * Both flags go as 1 when non-zero, else 0. A supported camera on an IP of its
 * own needs a serial number: @p support non-zero, @p same_ip zero and no
 * serial number (null @p sn or @p len 0) is refused without sending.
 *
 * - Device: asks the device (169/143); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: "set_visual_sn: support, not same ip, sz_sz empty or len error."
 *   (error) for the refused case; on failure the transaction's lines.
 *
 * @param handle Session handle from qz_nds_init().
 * @param support Whether the visual camera is supported.
 * @param same_ip Whether it shares the device's IP address.
 * @param sn The serial number's @p len bytes, or null to send @p len zero
 *           bytes.
 * @param len Number of serial number bytes.
 * @return true when the device accepted the serial number.
 */
QZ_NDS_API bool qz_nds_set_visual_sn(qz_nds_handle handle, uint8_t support, uint8_t same_ip, const char *sn,
                                     uint32_t len);

/**
 * @brief Sets the visual camera's zoom control flag.
 *
 * - Device: asks the device (169/164); the byte is sent as given.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param flag The flag byte.
 * @return true when the device accepted it.
 */
QZ_NDS_API bool qz_nds_set_visual_zoom_control_flag(qz_nds_handle handle, uint8_t flag);

/**
 * @brief Asks the device for the zoom control flag.
 *
 * - Device: asks the device (169/165).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param flag Receives the device's byte unchanged (not reduced to 0/1);
 *             untouched on false. Must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_visual_zoom_control_flag(qz_nds_handle handle, uint8_t *flag);

/**
 * @brief Sets whether the visual camera goes to its preset at start.
 *
 * - Device: asks the device (169/174); the byte is sent as given.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param flag The flag byte.
 * @return true when the device accepted it.
 */
QZ_NDS_API bool qz_nds_set_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t flag);

/**
 * @brief Asks the device for the go-to-preset-at-start flag.
 *
 * - Device: asks the device (169/175).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param flag Receives the device's byte unchanged (not reduced to 0/1);
 *             untouched on false. Must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t *flag);

/* The MQTT functions return true whenever their arguments are usable: the
   device's answer shows only in the log and, for a get, as an empty text,
   port 0 or work 0 when the exchange failed. */

/**
 * @brief Switches MQTT operation on (@p work == 1) or off (any other value).
 *
 * - Device: asks the device (169/154); sends 1 or 0.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param work 1 switches MQTT on; 0, 2, 255 and every other value off.
 * @return true for a valid handle, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_set_mqtt_work(qz_nds_handle handle, uint8_t work);

/**
 * @brief Asks the device whether MQTT operation is on.
 *
 * - Device: asks the device (169/155).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param work Receives 1 when the device answered 1, else 0 (also when the
 *             exchange failed). Must not be null.
 * @return true for a valid handle and out pointer, whatever the device
 *         answered.
 */
QZ_NDS_API bool qz_nds_get_mqtt_work(qz_nds_handle handle, uint8_t *work);

/**
 * @brief Sets the broker's IP address.
 *
 * - Device: asks the device (169/156).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param ip The address, NUL-terminated; must not be null (false, nothing
 *           sent).
 * @return true for a valid handle and text, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_set_mqtt_ip(qz_nds_handle handle, const char *ip);

/**
 * @brief Asks the device for the broker's IP address.
 *
 * Writes exactly @p *len bytes and no terminator; the buffer must hold the
 * longest text the device keeps (64 bytes on the simulated device). A failed
 * exchange gives @p *len 0 and writes nothing.
 *
 * - Device: asks the device (169/157).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param ip Buffer for the text; must not be null.
 * @param len Receives the number of bytes written; must not be null.
 * @return true for a valid handle and pointers, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_get_mqtt_ip(qz_nds_handle handle, char *ip, uint32_t *len);

/**
 * @brief Sets the broker's port.
 *
 * - Device: asks the device (169/158); four bytes.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param port The port.
 * @return true for a valid handle, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_set_mqtt_port(qz_nds_handle handle, uint32_t port);

/**
 * @brief Asks the device for the broker's port.
 *
 * - Device: asks the device (169/159).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param port Receives the port, 0 when the exchange failed. Must not be null.
 * @return true for a valid handle and out pointer, whatever the device
 *         answered.
 */
QZ_NDS_API bool qz_nds_get_mqtt_port(qz_nds_handle handle, uint32_t *port);

/**
 * @brief Sets the broker's login user.
 *
 * - Device: asks the device (169/160).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param user The user, NUL-terminated; must not be null (false, nothing
 *             sent).
 * @return true for a valid handle and text, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_set_mqtt_user(qz_nds_handle handle, const char *user);

/**
 * @brief Asks the device for the broker's login user.
 *
 * Buffer and @p *len as for qz_nds_get_mqtt_ip(): exactly @p *len bytes, no
 * terminator, @p *len 0 when the exchange failed.
 *
 * - Device: asks the device (169/161).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param user Buffer for the text; must not be null.
 * @param len Receives the number of bytes written; must not be null.
 * @return true for a valid handle and pointers, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_get_mqtt_user(qz_nds_handle handle, char *user, uint32_t *len);

/**
 * @brief Sets the broker's login password.
 *
 * - Device: asks the device (169/162).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param passwd The password, NUL-terminated; must not be null (false,
 *               nothing sent).
 * @return true for a valid handle and text, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_set_mqtt_passwd(qz_nds_handle handle, const char *passwd);

/**
 * @brief Asks the device for the broker's login password.
 *
 * Buffer and @p *len as for qz_nds_get_mqtt_ip(): exactly @p *len bytes, no
 * terminator, @p *len 0 when the exchange failed.
 *
 * - Device: asks the device (169/163).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param passwd Buffer for the text; must not be null.
 * @param len Receives the number of bytes written; must not be null.
 * @return true for a valid handle and pointers, whatever the device answered.
 */
QZ_NDS_API bool qz_nds_get_mqtt_passwd(qz_nds_handle handle, char *passwd, uint32_t *len);

/**
 * @brief Writes the GB/T 28181 platform parameters.
 *
 * With @p enable zero only the disabled state is sent, and the texts and port
 * are not; the texts must still be valid. The library gives the texts no
 * meaning and sets no length limit; the device decides what it accepts.
 *
 * - Device: asks the device (169/176); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enable Non-zero enables the platform link.
 * @param text1 First text, NUL-terminated (empty where unused, never null).
 * @param port The platform port.
 * @param text2 Second text, as @p text1.
 * @param text3 Third text, as @p text1.
 * @param text4 Fourth text, as @p text1.
 * @return true when the device accepted the parameters; false also when a
 *         text is null (nothing sent).
 */
QZ_NDS_API bool qz_nds_28181_set_para(qz_nds_handle handle, uint8_t enable, const char *text1, uint16_t port,
                                      const char *text2, const char *text3, const char *text4);

/**
 * @brief Asks the device for the GB/T 28181 platform parameters.
 *
 * Each text buffer is zeroed and receives a terminated text of at most 63
 * bytes (cut at a NUL in the text, or after 63 bytes). A device that reports
 * the link disabled gives @p enable 0 with the texts and port of its last
 * enabled answer in this session (empty and 0 if there was none). On false
 * nothing is written.
 *
 * - Device: asks the device (169/177).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enable Receives 1 when enabled, else 0.
 * @param text1 Buffer of 64 bytes for the first text.
 * @param port Receives the port.
 * @param text2 Buffer of 64 bytes for the second text.
 * @param text3 Buffer of 64 bytes for the third text.
 * @param text4 Buffer of 64 bytes for the fourth text.
 * @return true when the device answered; false also when any pointer is null.
 */
QZ_NDS_API bool qz_nds_28181_get_para(qz_nds_handle handle, uint8_t *enable, char *text1, uint16_t *port,
                                      char *text2, char *text3, char *text4);
/* link exports: end */
/** @} */

/* ---- Device feature settings ------------------------------------------- */
/**
 * @defgroup feature Device feature settings
 * @brief Feature switches, numeric settings, system time, hardware watchdog,
 *        temperature options, OSD items, reboot, keep-alive and vendor flags.
 * @{
 */
/* feature exports: begin */

/* Feature switches. enable/disable (display/hide) ask the device and, once it
   accepted, remember the state; the is_ getters answer 0/1 from the session.
   A disconnect sets hdmi, onvif, len pos, detect sun, rotate180 and the centre
   rectangle back to 0; radar, auto change meas and auto focus keep theirs. */

/**
 * @brief Switches the HDMI output on.
 *
 * - Device: asks the device (169/128, byte 1); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable hdmi failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_hdmi(qz_nds_handle handle);

/**
 * @brief Switches the HDMI output off.
 *
 * - Device: asks the device (169/128, byte 0); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable hdmi failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_hdmi(qz_nds_handle handle);

/**
 * @brief Reports whether the HDMI output is on, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_hdmi(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Switches ONVIF on.
 *
 * - Device: asks the device (169/129, byte 1); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable onvif failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_onvif(qz_nds_handle handle);

/**
 * @brief Switches ONVIF off.
 *
 * - Device: asks the device (169/129, byte 0); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable onvif failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_onvif(qz_nds_handle handle);

/**
 * @brief Reports whether ONVIF is on, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_onvif(qz_nds_handle handle, uint8_t *enabled);

/* Lens position. */

/**
 * @brief Switches the lens position feature on.
 *
 * - Device: asks the device (169/130, byte 1); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable len position
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_len_pos(qz_nds_handle handle);

/**
 * @brief Switches the lens position feature off.
 *
 * - Device: asks the device (169/130, byte 0); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable len position
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_len_pos(qz_nds_handle handle);

/**
 * @brief Reports whether the lens position feature is on, as the session
 *        knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_len_pos(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Switches sun detection on.
 *
 * - Device: asks the device (169/131, byte 1); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable detect sun failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_detect_sun(qz_nds_handle handle);

/**
 * @brief Switches sun detection off.
 *
 * - Device: asks the device (169/131, byte 0); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable detect sun
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_detect_sun(qz_nds_handle handle);

/**
 * @brief Reports whether sun detection is on, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_detect_sun(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Switches the 180 degree image rotation on.
 *
 * - Device: asks the device (169/132, byte 1); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable rotate180 failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_rotate180(qz_nds_handle handle);

/**
 * @brief Switches the 180 degree image rotation off.
 *
 * - Device: asks the device (169/132, byte 0); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable rotate180 failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_rotate180(qz_nds_handle handle);

/**
 * @brief Reports whether the 180 degree rotation is on, as the session knows
 *        it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_rotate180(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Switches the radar on.
 *
 * - Device: asks the device (169/144, byte 1); a cached setting, kept across
 *   a disconnect.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable radar failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_radar(qz_nds_handle handle);

/**
 * @brief Switches the radar off.
 *
 * - Device: asks the device (169/144, byte 0); a cached setting, kept across
 *   a disconnect.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable radar failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_radar(qz_nds_handle handle);

/**
 * @brief Reports whether the radar is on, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_radar(qz_nds_handle handle, uint8_t *enabled);

/* Automatic change of the measurement. */

/**
 * @brief Switches the automatic change of the measurement on.
 *
 * - Device: asks the device (169/145, byte 1); a cached setting, kept across
 *   a disconnect.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable auto change meas
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_auto_change_meas(qz_nds_handle handle);

/**
 * @brief Switches the automatic change of the measurement off.
 *
 * - Device: asks the device (169/145, byte 0); a cached setting, kept across
 *   a disconnect.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable auto change meas
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_auto_change_meas(qz_nds_handle handle);

/**
 * @brief Reports whether the automatic change of the measurement is on, as
 *        the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_auto_change_meas(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Switches auto focus on.
 *
 * - Device: asks the device (169/146, byte 1); a cached setting, kept across
 *   a disconnect.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "enable auto focus failed"
 *   (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_enable_auto_focus(qz_nds_handle handle);

/**
 * @brief Switches auto focus off.
 *
 * - Device: asks the device (169/146, byte 0); a cached setting, kept across
 *   a disconnect.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "disable auto focus
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_disable_auto_focus(qz_nds_handle handle);

/**
 * @brief Reports whether auto focus is on, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_enabled_auto_focus(qz_nds_handle handle, uint8_t *enabled);

/* The centre rectangle overlay (an OSD command). */

/**
 * @brief Shows the centre rectangle overlay.
 *
 * - Device: asks the device (168/139, byte 1); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "display center rectangle
 *   failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 1.
 */
QZ_NDS_API bool qz_nds_display_center_rectangle(qz_nds_handle handle);

/**
 * @brief Hides the centre rectangle overlay.
 *
 * - Device: asks the device (168/139, byte 0); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "display center rectangle
 *   failed" (error; the same text as for showing it).
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted; the session then remembers 0.
 */
QZ_NDS_API bool qz_nds_hide_center_rectangle(qz_nds_handle handle);

/**
 * @brief Reports whether the centre rectangle is shown, as the session knows
 *        it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param displayed Receives 0 or 1; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_is_display_center_rectangle(qz_nds_handle handle, uint8_t *displayed);

/* Numeric settings. Setters ask the device (one byte on the wire, no range
   check) and remember the value once accepted; getters answer from the
   session. A disconnect sets them back to 0 (the lens adjust method to "not
   yet known"). */

/**
 * @brief Sets the ps link count.
 *
 * - Device: asks the device (169/133, one byte); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set ps link count = %d
 *   failed" (error) with @p count.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count The count; no range check, the device decides.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_ps_link_count(qz_nds_handle handle, uint8_t count);

/**
 * @brief Reports the ps link count, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count Receives the count; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_ps_link_count(qz_nds_handle handle, uint8_t *count);

/**
 * @brief Sets the ad link count.
 *
 * - Device: asks the device (169/134, one byte); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set ad link count = %d
 *   failed" (error) with @p count.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count The count; no range check, the device decides.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_ad_link_count(qz_nds_handle handle, uint8_t count);

/**
 * @brief Reports the ad link count, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count Receives the count; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_ad_link_count(qz_nds_handle handle, uint8_t *count);

/**
 * @brief Sets the visual link count (number of linked visual cameras).
 *
 * - Device: asks the device (169/141, one byte); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set visual link count =
 *   %d failed" (error) with @p count.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count The count; no range check, the device decides.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_visual_link_count(qz_nds_handle handle, uint8_t count);

/**
 * @brief Reports the visual link count, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count Receives the count; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_visual_link_count(qz_nds_handle handle, uint8_t *count);

/**
 * @brief Sets the ptz link count.
 *
 * - Device: asks the device (169/142, one byte); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set ptz link count = %d
 *   failed" (error) with @p count.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count The count; no range check, the device decides.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_ptz_link_count(qz_nds_handle handle, uint8_t count);

/**
 * @brief Reports the ptz link count, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param count Receives the count; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_ptz_link_count(qz_nds_handle handle, uint8_t *count);

/**
 * @brief Sets the frame rate.
 *
 * - Device: asks the device (169/147, one byte); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set framerate = %d
 *   failed" (error) with @p framerate.
 *
 * @param handle Session handle from qz_nds_init().
 * @param framerate The frame rate; no range check, the device decides.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_framerate(qz_nds_handle handle, uint8_t framerate);

/**
 * @brief Reports the frame rate, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param framerate Receives the frame rate; must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_framerate(qz_nds_handle handle, uint8_t *framerate);

/* Palette and lens adjust method: only the low byte is sent, the whole value
   is remembered; the getter gives its bit pattern (-1 reads 0xFFFFFFFF). */

/**
 * @brief Sets the default palette.
 *
 * - Device: asks the device (169/135); only the low byte is sent, the whole
 *   value is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "set palette = %d failed"
 *   (error) with @p palette.
 *
 * @param handle Session handle from qz_nds_init().
 * @param palette The palette number.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_default_palette(qz_nds_handle handle, int32_t palette);

/**
 * @brief Reports the default palette, as the session knows it.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param palette Receives the bit pattern of the remembered value (a
 *                configuration read widens the device's signed byte, so
 *                0x80 reads 0xFFFFFF80). Must not be null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_default_palette(qz_nds_handle handle, uint32_t *palette);

/**
 * @brief Sets the lens adjust method.
 *
 * - Device: asks the device (169/140); only the low byte is sent, the whole
 *   value is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines, then "send len adjust method %d
 *   failed" (error) with @p method.
 *
 * @param handle Session handle from qz_nds_init().
 * @param method The method number.
 * @return true when the device accepted; the session then remembers it.
 */
QZ_NDS_API bool qz_nds_set_len_adjust_method(qz_nds_handle handle, int32_t method);

/**
 * @brief Reports the lens adjust method, as the session knows it.
 *
 * Not yet known (before the configuration was read, and after a disconnect)
 * is 0xFFFFFFFF.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param method Receives the bit pattern of the remembered value; must not be
 *               null.
 * @return true for a valid handle and out pointer.
 */
QZ_NDS_API bool qz_nds_get_len_adjust_method(qz_nds_handle handle, uint32_t *method);

/**
 * @brief Sends the caller's 20-byte system time block to the device unchanged.
 *
 * The block's layout belongs to the device and the application; the library
 * neither reads nor remembers it.
 *
 * - Device: asks the device (169/136, 20 bytes).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param system_time The 20-byte block; null gives false and sends nothing.
 * @return true when the device accepted the time.
 */
QZ_NDS_API bool qz_nds_set_system_time(qz_nds_handle handle, const void *system_time);

/* Hardware watchdog. Setters ask the device and remember nothing; getters
   ask the device every time. */

/**
 * @brief Switches the hardware watchdog on.
 *
 * - Device: asks the device (169/168, byte 1); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_enable_hardware_watchdog(qz_nds_handle handle);

/**
 * @brief Switches the hardware watchdog off.
 *
 * - Device: asks the device (169/168, byte 0); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_disable_hardware_watchdog(qz_nds_handle handle);

/**
 * @brief Asks the device whether the hardware watchdog is on.
 *
 * - Device: asks the device (169/169).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 1 when the device answered 1, else 0; untouched on
 *                false. Must not be null (false, nothing sent).
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_is_enable_hardware_watchdog(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Switches the watchdog-disable function on.
 *
 * - Device: asks the device (169/170, byte 1); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_enable_hardware_watchdog_disable(qz_nds_handle handle);

/**
 * @brief Switches the watchdog-disable function off.
 *
 * - Device: asks the device (169/170, byte 0); nothing is remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_disable_hardware_watchdog_disable(qz_nds_handle handle);

/**
 * @brief Asks the device whether the watchdog-disable function is on.
 *
 * - Device: asks the device (169/171).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param enabled Receives 1 when the device answered 1, else 0; untouched on
 *                false. Must not be null (false, nothing sent).
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_isenable_hardware_watchdog_disable(qz_nds_handle handle, uint8_t *enabled);

/**
 * @brief Sets the hardware watchdog disable time.
 *
 * - Device: asks the device (169/172); the byte is sent as given, nothing is
 *   remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param time The time, in the device's unit.
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_set_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t time);

/**
 * @brief Asks the device for the hardware watchdog disable time.
 *
 * - Device: asks the device (169/173).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param time Receives the device's byte unchanged; untouched on false. Must
 *             not be null (false, nothing sent).
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t *time);

/* Temperature options. Setters send the byte as passed; getters ask the
   device every time. */

/**
 * @brief Sets the disable-temperature-correct status.
 *
 * - Device: asks the device (169/166); the byte is sent as given, nothing is
 *   remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param status The status byte.
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_set_disable_temperature_correct_status(qz_nds_handle handle, uint8_t status);

/**
 * @brief Asks the device for the disable-temperature-correct status.
 *
 * - Device: asks the device (169/167).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param status Receives the device's byte unchanged; untouched on false.
 *               Must not be null (false, nothing sent).
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_disable_temperature_correct_status(qz_nds_handle handle, uint8_t *status);

/**
 * @brief Sets the vision maxtemperature flag.
 *
 * - Device: asks the device (169/180); the byte is sent as given, nothing is
 *   remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value The flag byte.
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_set_vision_maxtemperature(qz_nds_handle handle, uint8_t value);

/**
 * @brief Asks the device for the vision maxtemperature flag.
 *
 * - Device: asks the device (169/181).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value Receives 1 when the device answered 1, else 0; untouched on
 *              false. Must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_vision_maxtemperature(qz_nds_handle handle, uint8_t *value);

/**
 * @brief Sets whether the device sends all temperatures in network byte order.
 *
 * - Device: asks the device (169/182); the byte is sent as given, nothing is
 *   remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value The flag byte.
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_set_all_temperature_network_byte_order(qz_nds_handle handle, uint8_t value);

/**
 * @brief Asks the device for the all-temperature-network-byte-order flag.
 *
 * - Device: asks the device (169/183).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value Receives 1 when the device answered 1, else 0; untouched on
 *              false. Must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_all_temperature_network_byte_order(qz_nds_handle handle, uint8_t *value);

/* OSD items 0 to 11. Sets item osd_id (not 8, the channel-name item) on the
   device and remembers it, display as passed (the wire carries 0/1). */

/**
 * @brief Sets one OSD item on the device and remembers it.
 *
 * Items 0 to 11 but 8 (the channel-name item, set with
 * qz_nds_osd_set_channel_name()). The wire carries @p display as 0/1; the
 * session remembers it as passed.
 *
 * - Device: asks the device (168/128 to 168/141, by item); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: "osd = %d is not supproted" (error) for a negative id or 8;
 *   on failure the transaction's lines, then "set osd = %d config failed"
 *   (error). An id of 12 or more is refused without a log line.
 *
 * @param handle Session handle from qz_nds_init().
 * @param osd_id The item, 0 to 11 but 8.
 * @param display Non-zero shows the item.
 * @param attribute The item's attribute byte.
 * @param value1 The item's first value.
 * @param value2 The item's second value.
 * @return true when the device accepted the item.
 */
QZ_NDS_API bool qz_nds_set_osd_setting(qz_nds_handle handle, int32_t osd_id, uint8_t display,
                                       uint8_t attribute, uint16_t value1, uint16_t value2);

/**
 * @brief Reports one OSD item, as the session knows it.
 *
 * The values come from the last configuration read or accepted set; before
 * either they are 0. Null out pointers are skipped.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param osd_id The item, 0 to 11 (8 is the channel-name item).
 * @param display Receives the display value, or null.
 * @param attribute Receives the attribute byte, or null.
 * @param value1 Receives the first value, or null.
 * @param value2 Receives the second value, or null.
 * @return true for a valid handle and an id from 0 to 11.
 */
QZ_NDS_API bool qz_nds_get_osd_setting(qz_nds_handle handle, int32_t osd_id, uint8_t *display,
                                       uint8_t *attribute, uint16_t *value1, uint16_t *value2);

/**
 * @brief Sets the channel name and the channel-name OSD item (item 8).
 *
 * The first @p name_length bytes of @p name go to the device (a shorter name
 * is padded with zero bytes); once accepted the session remembers the whole
 * name and the item. A null name is sent as an empty one.
 *
 * - Device: asks the device (168/138); a cached setting.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: "channel name's bytes = %d" (info) when @p name is null or
 *   @p name_length is 0, and the request still goes; on failure the
 *   transaction's lines, then "set channel name failed" (error).
 *
 * @param handle Session handle from qz_nds_init().
 * @param name_length Number of name bytes to send, 0 to 255.
 * @param name The channel name, NUL-terminated, or null.
 * @param display Non-zero shows the item.
 * @param attribute The item's attribute byte.
 * @param value1 The item's first value.
 * @param value2 The item's second value.
 * @return true when the device accepted the name.
 */
QZ_NDS_API bool qz_nds_osd_set_channel_name(qz_nds_handle handle, uint8_t name_length, const char *name,
                                            uint8_t display, uint8_t attribute, uint16_t value1,
                                            uint16_t value2);

/**
 * @brief Reports the channel name and the channel-name item, as the session
 *        knows them.
 *
 * The name buffer receives at most 256 bytes and no terminator is added, so
 * zero it beforehand. Null pointers are skipped.
 *
 * - Device: nothing is sent; answers from the session.
 * - Waits: no.
 * - Logs: nothing.
 *
 * @param handle Session handle from qz_nds_init().
 * @param name Buffer of 256 bytes for the name, or null.
 * @param display Receives item 8's display value, or null.
 * @param attribute Receives item 8's attribute byte, or null.
 * @param value1 Receives item 8's first value, or null.
 * @param value2 Receives item 8's second value, or null.
 * @return true for a valid handle.
 */
QZ_NDS_API bool qz_nds_osd_get_channel_info(qz_nds_handle handle, char *name, uint8_t *display,
                                            uint8_t *attribute, uint16_t *value1, uint16_t *value2);

/**
 * @brief Asks the device to restore its OSD configuration.
 *
 * The session's OSD items stay as they were; qz_nds_get_machine_config_info()
 * brings the restored values.
 *
 * - Device: asks the device (168/140).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_osd_restore_config(qz_nds_handle handle);

/* Device control: sent without waiting; true when the frame was sent. */

/**
 * @brief Asks the device to reboot.
 *
 * Success means only that the request was handed to the connection; the
 * device's answer, if any, is not awaited. The device drops the connection
 * while it restarts.
 *
 * - Device: sends 164/142 without waiting; an unanswered command.
 * - Waits: no.
 * - Logs: the transaction's lines when it cannot be sent.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the request was sent.
 */
QZ_NDS_API bool qz_nds_reboot(qz_nds_handle handle);

/**
 * @brief Tells the device that the application is still there.
 *
 * The library never sends one on its own; call it at the interval the
 * application chooses.
 *
 * - Device: sends 173/128 without waiting; an unanswered command.
 * - Waits: no.
 * - Logs: the transaction's lines when it cannot be sent.
 *
 * @param handle Session handle from qz_nds_init().
 * @return true when the request was sent.
 */
QZ_NDS_API bool qz_nds_keep_alive(qz_nds_handle handle);

/* Vendor flags. Setters send the byte as passed; getters ask the device and
   give 1 when it answered 1, else 0. */

/**
 * @brief Sets the hikvision linkage flag.
 *
 * - Device: asks the device (169/178); the byte is sent as given, nothing is
 *   remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value The flag byte.
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_set_hikvision_linkage(qz_nds_handle handle, uint8_t value);

/**
 * @brief Asks the device for the hikvision linkage flag.
 *
 * - Device: asks the device (169/179).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value Receives 1 when the device answered 1, else 0; untouched on
 *              false. Must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_hikvision_linkage(qz_nds_handle handle, uint8_t *value);

/**
 * @brief Sets the pg support flag.
 *
 * - Device: asks the device (169/184); the byte is sent as given, nothing is
 *   remembered.
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value The flag byte.
 * @return true when the device accepted.
 */
QZ_NDS_API bool qz_nds_set_pg_support(qz_nds_handle handle, uint8_t value);

/**
 * @brief Asks the device for the pg support flag.
 *
 * - Device: asks the device (169/185).
 * - Waits: up to 10000 ms for the answer.
 * - Logs: on failure the transaction's lines; nothing of its own.
 *
 * @param handle Session handle from qz_nds_init().
 * @param value Receives 1 when the device answered 1, else 0; untouched on
 *              false. Must not be null.
 * @return true when the device answered.
 */
QZ_NDS_API bool qz_nds_get_pg_support(qz_nds_handle handle, uint8_t *value);
/* feature exports: end */
/** @} */

#ifdef __cplusplus
}
#endif

#endif
