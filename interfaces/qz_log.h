/**
 * @file qz_log.h
 * @brief qz_log: process-wide logging of the platform libraries.
 *
 * The SDK logs through these three functions; a program may use them too.
 * This implementation writes `qz.log` into a folder of the user's own
 * (`QZ_LOG_DIR`, else `$XDG_STATE_HOME/qz_nds` or `~/.local/state/qz_nds`,
 * `%LOCALAPPDATA%\qz_nds` on Windows); `QZ_LOG=off` turns the file off and
 * `QZ_LOG_STDERR=1` copies every line to standard error.
 */
#ifndef QZ_LOG_H
#define QZ_LOG_H

#include <stdbool.h>

#include "qz_export.h"

/** @cond */
#ifdef QZ_LOG_BUILDING
#define QZ_LOG_API QZ_DLL_EXPORT
#else
#define QZ_LOG_API QZ_DLL_IMPORT
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Opens the log for one more user; the log stays open until as many
 * qz_log_uninit() calls.
 *
 * @param path The program's folder (kept for compatibility; the folder of
 *             the log comes from the environment).
 * @param keep How many log files are kept when they rotate.
 * @param size The size in MiB at which a log file rotates.
 * @return true; a log folder that cannot be written turns file logging off
 *         (one line on standard error) rather than failing.
 */
QZ_LOG_API bool qz_log_init(const char *path, int keep, int size);
/**
 * @brief Writes one line: time, level, module, file:line, function, text.
 *
 * @param level 1 for notices (INFO), 4 for errors (ERROR).
 * @param module The writing module, for example "net_dev_setting".
 * @param file The source file, as the caller names it.
 * @param line The source line.
 * @param function The function name shown with the line.
 * @param format A printf format for the text, followed by its arguments.
 */
QZ_LOG_API void qz_log_print(int level, const char *module, const char *file, int line, const char *function,
                             const char *format, ...)
#if defined(__GNUC__) || defined(__clang__)
    __attribute__((format(printf, 6, 7)))
#endif
    ;
/** @brief Closes the log for one user; the last one closes the file. */
QZ_LOG_API void qz_log_uninit(void);

#ifdef __cplusplus
}
#endif

#endif
