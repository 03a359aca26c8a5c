/* qz_log: process-wide logging of the maker's platform libraries. */
#ifndef QZ_LOG_H
#define QZ_LOG_H

#include <stdbool.h>

#include "qz_export.h"

#ifdef QZ_LOG_BUILDING
#define QZ_LOG_API QZ_DLL_EXPORT
#else
#define QZ_LOG_API QZ_DLL_IMPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

QZ_LOG_API bool qz_log_init(const char *path, int keep, int size);
QZ_LOG_API void qz_log_print(int level, const char *module, const char *file, int line,
                             const char *function, const char *format, ...)
#if defined(__GNUC__) || defined(__clang__)
    __attribute__((format(printf, 6, 7)))
#endif
    ;
QZ_LOG_API void qz_log_uninit(void);

#ifdef __cplusplus
}
#endif

#endif
