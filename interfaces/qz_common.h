/* qz_common: process information of the maker's platform libraries. */
#ifndef QZ_COMMON_H
#define QZ_COMMON_H

#include <stdint.h>

#include "qz_export.h"

#ifdef QZ_COMMON_BUILDING
#define QZ_COMMON_API QZ_DLL_EXPORT
#else
#define QZ_COMMON_API QZ_DLL_IMPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Writes the directory of the running executable, NUL-terminated, into buffer.
   *size holds the buffer's capacity on entry and the text's length on return.
   Returns 0 on success. */
QZ_COMMON_API int qz_get_exe_path(char *buffer, uint32_t *size);

#ifdef __cplusplus
}
#endif

#endif
