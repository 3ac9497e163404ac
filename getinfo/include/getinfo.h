/* getinfo/include/getinfo.h: the photo decoder library GetInfo (libGetInfo.so, GetInfo.dll). The
 * client library loads it at run time and calls GetBmp, the one function it exports, to turn the
 * photo file it has just written into a bitmap beside it. */
#ifndef GETINFO_H
#define GETINFO_H

#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#define GETINFO_CALL __stdcall
#else
#define GETINFO_CALL
#endif

#if defined(_WIN32)
#define GETINFO_API /* exported through the module-definition file */
#else
#define GETINFO_API __attribute__((visibility("default")))
#endif

/* Results of GetBmp. */
#define GETINFO_OK          1   /* the bitmap was written */
#define GETINFO_E_DECODE  (-1)  /* the photo data is damaged or cut short, or the bitmap cannot be written */
#define GETINFO_E_SUFFIX  (-2)  /* the file name does not end in ".wlt" (any case) */
#define GETINFO_E_OPEN    (-3)  /* the file cannot be opened or read */
#define GETINFO_E_FORMAT  (-4)  /* the file does not hold a portrait in the format of getinfo/FORMAT.md */

#ifdef __cplusplus
extern "C" {
#endif

/* Decodes the portrait in the file `wlt_path` (a native path: the ANSI code page on Windows, bytes
 * on Linux; its name must end in ".wlt") and writes it as a 24-bit bottom-up BMP of 102 x 126
 * pixels to the same path with its last four characters replaced by ".bmp", replacing any file
 * there. Bytes after the portrait's data in the file are ignored. `mode` is 2 in every call the
 * client library makes; other values are accepted and do the same. Returns GETINFO_OK or one of
 * the GETINFO_E_ values; on failure no bitmap is written. */
GETINFO_API int32_t GETINFO_CALL GetBmp(const char* wlt_path, int32_t mode);

#ifdef __cplusplus
}
#endif

#endif /* GETINFO_H */
