/* Export/import macro shared by the maker libraries qz_net, qz_log and qz_common. */
#ifndef QZ_EXPORT_H
#define QZ_EXPORT_H

#if defined(_WIN32)
#define QZ_DLL_EXPORT __declspec(dllexport)
#define QZ_DLL_IMPORT __declspec(dllimport)
#else
#define QZ_DLL_EXPORT __attribute__((visibility("default")))
#define QZ_DLL_IMPORT
#endif

#endif
