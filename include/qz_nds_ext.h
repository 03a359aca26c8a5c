/**
 * @file qz_nds_ext.h
 * @brief qz_nds extensions: why a call failed, the log as callbacks, the
 * library's version.
 *
 * These functions live in the same library as the qz_nds_ functions and
 * leave those unchanged: a program written against qz_net_dev_setting.h
 * alone works as before. Every qz_nds_ call that takes a session handle
 * records its outcome for the calling thread on that session; the
 * qz_ndsx_last_error() of the same thread then says what happened, so that
 * a program can tell a camera that refused a value from one that did not
 * answer, could not be reached, or sent an answer it could not accept.
 *
 * @code
 * if (!qz_nds_set_framerate(cam, 60)) {
 *   qz_ndsx_error e;
 *   qz_ndsx_last_error(cam, &e);
 *   if (e.kind == QZ_NDSX_REFUSED) {
 *     printf("camera refused (code %d)\n", e.response_code);
 *   } else if (e.kind == QZ_NDSX_TIMEOUT) {
 *     printf("no answer from %s, try later\n", e.address);
 *   } else {
 *     printf("%s\n", qz_ndsx_strerror(e.kind));
 *   }
 * }
 * @endcode
 */
#ifndef QZ_NDS_EXT_H
#define QZ_NDS_EXT_H

#include "qz_net_dev_setting.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup ext Extensions
 * @brief Errors a program can act on, log callbacks and the version.
 * @{
 */

/** @brief What made a call fail. */
typedef enum qz_ndsx_error_kind {
  /** The call succeeded (or has not failed since it started). */
  QZ_NDSX_OK = 0,
  /** An argument was refused before anything was sent: a null pointer, a
   *  buffer too small, a value out of range, a request larger than a frame
   *  takes, or a serial number the request needs but the session lacks. */
  QZ_NDSX_BAD_ARGUMENT = 1,
  /** No connection stands: connect first (again after a loss). */
  QZ_NDSX_NOT_CONNECTED = 2,
  /** The connection could not be made: refused, unresolvable, no answer in
   *  about 3 s, or a malformed address. */
  QZ_NDSX_CONNECT_FAILED = 3,
  /** The request could not be handed to the connection (a write failed or
   *  the camera took nothing in time; the connection is then closed). */
  QZ_NDSX_SEND_FAILED = 4,
  /** No answer within the call's 10 s. */
  QZ_NDSX_TIMEOUT = 5,
  /** The camera answered with a non-zero response code (response_code). */
  QZ_NDSX_REFUSED = 6,
  /** The camera answered with code 0, but the answer could not be used (too
   *  short, a count past its end, the wrong sub command). */
  QZ_NDSX_BAD_ANSWER = 7,
  /** The connection ended while the call waited for its answer. */
  QZ_NDSX_CONNECTION_LOST = 8,
  /** The session is being released (qz_nds_uninit() runs). */
  QZ_NDSX_CLOSING = 9,
  /** The session could not be set up (qz_nds_init() returned false). */
  QZ_NDSX_INIT_FAILED = 10
} qz_ndsx_error_kind;

/** @brief The outcome of one call, as qz_ndsx_last_error() reports it. */
typedef struct qz_ndsx_error {
  /** A qz_ndsx_error_kind. */
  int kind;
  /** The camera's response code for QZ_NDSX_REFUSED, else 0. */
  int response_code;
  /** Main command of the exchange that failed; 0 when none was under way. */
  int main_command;
  /** Sub command of the exchange that failed; 0 when none was under way. */
  int sub_command;
  /** The address last given to qz_nds_connect() on the session, NUL
   *  terminated (cut to fit), or "" before any. */
  char address[256];
} qz_ndsx_error;

/**
 * @brief The outcome of the calling thread's last call on a session, or on
 * any session.
 *
 * Each qz_nds_ call records its outcome for the calling thread when it
 * returns, so threads sharing a session each read their own. A call that
 * returned true leaves QZ_NDSX_OK, except the MQTT calls and
 * qz_nds_get_ip_info(), which return true when their exchange failed and
 * record its failure all the same. Before the
 * thread's first call the kind is QZ_NDSX_OK.
 *
 * With a null @p handle the outcome of the thread's last qz_nds_ call of
 * all is reported, whatever its handle: also a call refused for a null or
 * foreign handle (QZ_NDSX_BAD_ARGUMENT), a failed qz_nds_init(), and a call
 * that qz_nds_uninit() of its session ended (QZ_NDSX_CLOSING), whose
 * session can no longer be asked.
 *
 * @param handle Session handle from qz_nds_init(), or null.
 * @param out Receives the outcome.
 * @return false when @p handle is neither null nor a session, or @p out is
 *         null.
 */
QZ_NDS_API bool qz_ndsx_last_error(qz_nds_handle handle, qz_ndsx_error *out);

/**
 * @brief Whether the session's connection stands.
 *
 * It stands from a successful qz_nds_connect() until qz_nds_disconnect(), or
 * until the device or the network ends it (a device that reboots drops its
 * connections). Nothing is sent.
 *
 * @param handle Session handle from qz_nds_init().
 * @param connected Receives true while the connection stands.
 * @return false when @p handle is not a session or @p connected is null.
 */
QZ_NDS_API bool qz_ndsx_is_connected(qz_nds_handle handle, bool *connected);

/**
 * @brief A short English text for an error kind ("no answer from the
 * device in time", ...); "unknown error" for a value that is no kind.
 *
 * @param kind A qz_ndsx_error_kind.
 * @return A static text; never null.
 */
QZ_NDS_API const char *qz_ndsx_strerror(int kind);

/**
 * @brief The library's version at run time, "MAJOR.MINOR.PATCH".
 *
 * Compare with QZ_NDS_VERSION_STRING to see whether the program runs with
 * the library it was built against.
 *
 * @return A static text; never null.
 */
QZ_NDS_API const char *qz_ndsx_version(void);

/**
 * @brief Receives one log line of the library.
 *
 * @param level 1 for notices, 4 for errors.
 * @param module "net_dev_setting".
 * @param function The function that logs ("NetDevSetting::send_cmd", or
 *                 the qz_nds_ function's own name).
 * @param text The message, formatted.
 * @param user The pointer given to qz_ndsx_set_log_callback().
 */
typedef void (*qz_ndsx_log_fn)(int level, const char *module, const char *function, const char *text,
                               void *user);

/**
 * @brief Hands every log line of every session to @p fn as well.
 *
 * The lines still go to the log (see the README's Logging). @p fn runs on
 * the thread that logs, which is a caller's thread or the transport's
 * receive thread; it must be quick, and must not call back into a session.
 * One callback serves the process; a new call replaces it, and null removes
 * it (a line being delivered at that moment may still arrive).
 *
 * @param fn The callback, or null.
 * @param user Passed to @p fn unchanged.
 * @return true.
 */
QZ_NDS_API bool qz_ndsx_set_log_callback(qz_ndsx_log_fn fn, void *user);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
