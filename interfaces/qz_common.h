/**
 * @file qz_common.h
 * @brief qz_common: process information of the platform libraries.
 */
#ifndef QZ_COMMON_H
#define QZ_COMMON_H

#include <stdint.h>

#include "qz_export.h"

/** @cond */
#ifdef QZ_COMMON_BUILDING
#define QZ_COMMON_API QZ_DLL_EXPORT
#else
#define QZ_COMMON_API QZ_DLL_IMPORT
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Writes the folder of the running executable into @p buffer.
 *
 * @param buffer Receives the path, NUL-terminated.
 * @param size The capacity of @p buffer on entry; the path's length on
 *             return.
 * @return 0 on success; non-zero when the path is unknown or does not fit.
 */
QZ_COMMON_API int qz_get_exe_path(char *buffer, uint32_t *size);

#ifdef __cplusplus
}
#endif

#endif
