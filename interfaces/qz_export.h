/* Export/import macro shared by the maker libraries qz_net, qz_log and qz_common. */
#ifndef QZ_EXPORT_H
#define QZ_EXPORT_H

#if defined(_WIN32)
#define QZ_DLL_EXPORT __declspec(dllexport)
/* Functions only: callers link through the import library's thunks, so a
   replacement (the unit tests' scripted transport) can also be linked in
   statically. */
#define QZ_DLL_IMPORT
#else
#define QZ_DLL_EXPORT __attribute__((visibility("default")))
#define QZ_DLL_IMPORT
#endif

#endif
