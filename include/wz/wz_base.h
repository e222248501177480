/* What every public header of libwz needs: linkage, export and format-check markers. C11 and C++20.
 */
#ifndef WZ_BASE_H
#define WZ_BASE_H

#include <stddef.h>

#ifdef __cplusplus
#define WZ_BEGIN_DECLS extern "C" {
#define WZ_END_DECLS }
#else
#define WZ_BEGIN_DECLS
#define WZ_END_DECLS
#endif

/** Marks a function or variable that libwz.so exports. */
#define WZ_API __attribute__((visibility("default")))

/** Lets the compiler check printf-like calls: positions of the format and of its first argument. */
#define WZ_PRINTF(format_index, first_argument) \
  __attribute__((format(printf, format_index, first_argument)))

#endif
