/* Test hook of the qz_log stand-in (not part of the maker's interface): every
   record is also handed to the installed sink, formatted, whether or not a
   log file is open. Pass a null sink to remove it. */
#ifndef QZ_LOG_SINK_H
#define QZ_LOG_SINK_H

#include "qz_log.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*qz_log_sink_fn)(void *user, int level, const char *module, const char *file, int line,
                               const char *function, const char *message);

QZ_LOG_API void qz_log_set_sink(qz_log_sink_fn sink, void *user);

/* Name of a level as log lines show it ("DEBUG", "INFO", "NOTICE", "WARN",
   "ERROR" for 0 to 4); null for any other level. */
QZ_LOG_API const char *qz_log_level_name(int level);

#ifdef __cplusplus
}
#endif

#endif
