/**
 * @file qz_nds_config.h
 * @brief A camera's configuration as one JSON document: the settings
 * catalogue, export and apply.
 *
 * Every setting a camera has a query or a command for is described once in
 * the library's settings catalogue: its name, family, value form and range,
 * whether the session answers it from the configuration record it keeps
 * (cached) or asks the device every time (queried), and whether it is a
 * secret. qz_ndsx_export_config() reads every readable setting into one
 * document; qz_ndsx_apply_config() makes the camera match a document (a whole
 * export or any part of it): it reads the current values, writes only what
 * differs, reads back what it wrote and reports each setting as unchanged,
 * changed, refused (with the camera's response code) or failed (with the
 * error kind). Applying the same document twice changes nothing the second
 * time.
 *
 * The documents, their value forms and the report are described by the JSON
 * Schema that qz_ndsx_config_schema() returns (also installed as
 * share/qznds/config.schema.json).
 *
 * @code
 * char *doc = NULL;
 * if (qz_ndsx_export_config(cam_a, 0, &doc)) {
 *   char *report = NULL;
 *   qz_ndsx_apply_config(cam_b, doc, 0, &report);
 *   puts(report);
 *   qz_ndsx_free(report);
 * }
 * qz_ndsx_free(doc);
 * @endcode
 *
 * Texts returned through a char ** are allocated by the library and released
 * with qz_ndsx_free(). The functions block like the qz_nds_ calls they make
 * and record their outcome for qz_ndsx_last_error().
 */
#ifndef QZ_NDS_CONFIG_H
#define QZ_NDS_CONFIG_H

#include "qz_nds_ext.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup config Configuration documents
 *  @brief The settings catalogue, export and apply.
 *  @{
 */

/** @brief The version of the configuration document written by this library. */
#define QZ_NDSX_CONFIG_VERSION 1

/** @brief Export: include the secret settings (passwords, account info). */
#define QZ_NDSX_WITH_SECRETS 0x1u
/** @brief Apply: read and compare only; nothing is written. */
#define QZ_NDSX_DRY_RUN 0x2u
/** @brief Apply: write every setting of the document, equal or not. */
#define QZ_NDSX_FORCE 0x4u

/**
 * @brief The settings catalogue, as a JSON array with one object per setting
 * (name, family, type, form, range or length, help, readable, writable,
 * cached, secret, and the fields of settings with several values).
 * @return A text owned by the library, valid until it is unloaded.
 */
QZ_NDS_API const char *qz_ndsx_settings_catalogue(void);

/**
 * @brief The JSON Schema of an exported configuration document.
 * @return A text owned by the library, valid until it is unloaded.
 */
QZ_NDS_API const char *qz_ndsx_config_schema(void);

/**
 * @brief Reads one setting of the catalogue.
 *
 * @param handle A connected session.
 * @param name The setting's name ("framerate", "mqtt_port"; a '-' is read as
 *        '_').
 * @param value_json Receives the value as a JSON text (release it with
 *        qz_ndsx_free()), or null when the call failed.
 * @return false when the name is no readable setting (QZ_NDSX_BAD_ARGUMENT)
 *         or the device could not be read (the kind of the failed exchange).
 */
QZ_NDS_API bool qz_ndsx_get_setting(qz_nds_handle handle, const char *name, char **value_json);

/**
 * @brief Reads the whole configuration into one document:
 * {"version": 1, "device": {...}, "settings": {...}}.
 *
 * A setting the camera refuses to report is listed under "unreadable" with
 * its response code; a camera that stops answering ends the export.
 *
 * @param handle A connected session.
 * @param flags QZ_NDSX_WITH_SECRETS to include the secret settings.
 * @param document_json Receives the document (release it with
 *        qz_ndsx_free()), or null when the export failed.
 * @return false when the camera could not be read.
 */
QZ_NDS_API bool qz_ndsx_export_config(qz_nds_handle handle, unsigned flags, char **document_json);

/**
 * @brief Makes the camera match a document.
 *
 * The document is checked as a whole before anything is sent: an unknown
 * setting, a value out of its range or of the wrong form refuses it
 * (QZ_NDSX_BAD_ARGUMENT) with the reasons in the report. Then each setting is
 * read, compared, written when it differs, and read back. A camera that stops
 * answering ends the apply; the settings not reached are reported as failed.
 *
 * The report is {"ok": ..., "dry_run": ..., "counts": {...}, "settings":
 * [{"setting": NAME, "status": "unchanged" | "changed" | "would_change" |
 * "refused" | "failed", "before": ..., "after": ..., "code": ..., "kind":
 * ..., "message": ...}], "error": {...}}; secret values show as "********".
 *
 * @param handle A connected session.
 * @param document_json The wanted configuration.
 * @param flags QZ_NDSX_DRY_RUN, QZ_NDSX_FORCE.
 * @param report_json Receives the report (release it with qz_ndsx_free());
 *        may be null.
 * @return true when every setting ended unchanged or changed (would_change
 *         in a dry run).
 */
QZ_NDS_API bool qz_ndsx_apply_config(qz_nds_handle handle, const char *document_json, unsigned flags,
                                     char **report_json);

/**
 * @brief Checks a document as qz_ndsx_apply_config() does before it sends
 * anything, without a session: unknown settings, values out of range or of
 * the wrong form.
 *
 * @param document_json The document.
 * @param report_json Receives {"ok": ..., "error": {"message": ...,
 *        "problems": [...]}} (release it with qz_ndsx_free()); may be null.
 * @return true when the document can be applied.
 */
QZ_NDS_API bool qz_ndsx_check_config(const char *document_json, char **report_json);

/**
 * @brief Releases a text returned by the functions above.
 * @param text The text, or null (ignored).
 */
QZ_NDS_API void qz_ndsx_free(char *text);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* QZ_NDS_CONFIG_H */
