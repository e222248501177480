/* The work directory, under which the library finds its data files. */
#ifndef WZLB_WDIR_H
#define WZLB_WDIR_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Size of `g_wz_wdir`, terminator included. */
#define WZLB_WDIR_SIZE 1024

/**
 * Path of the work directory, without a trailing slash of ours. Set when the library is loaded: the
 * environment's VSD_ROOT, else the current directory. Read it; change it with wzlb_set_wdir.
 */
WZ_API extern char g_wz_wdir[WZLB_WDIR_SIZE];

/**
 * Makes `directory` the work directory, at start-up, before anything reads files below it.
 *
 * @param directory  Path, copied. Null, empty, or too long for `g_wz_wdir` changes nothing.
 */
WZ_API void wzlb_set_wdir(const char *directory);

WZ_END_DECLS

#endif
