/*
 * The value records of user variables. The host owns tables of them, one per connection; the script
 * API reads and replaces values in them and the search engine fills them.
 */
#ifndef WZLB_USER_VAR_H
#define WZLB_USER_VAR_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** One element of an array variable. Scripts count elements from 1; element N is stored at N-1. */
typedef struct ArrayValEntry {
  char *value;         /**< tracked heap copy, NUL-terminated; null when never set */
  unsigned int length; /**< bytes of `value` without the NUL */
} ArrayValEntry;

union val_type {
  char *value;          /**< scalar: tracked heap copy with a NUL behind it; null when never set */
  ArrayValEntry *array; /**< array variable: its elements */
};

/** `UserVarEntry.flags`: the variable is an array (vector) variable. */
#define WZ_USER_VAR_IS_ARRAY 1

/** One user variable of a connection. */
typedef struct UserVarEntry {
  int flags;            /**< WZ_USER_VAR_IS_ARRAY or 0; other bits are the host's */
  union val_type value; /**< see union val_type */
  unsigned int length;  /**< scalar: bytes without the NUL (NULs inside count); array: elements */
  unsigned int max_buf_space; /**< the host's capacity bookkeeping; the library never uses it */
  char filled_flag;           /**< the host's; the library never uses it */
} UserVarEntry;

WZ_END_DECLS

#endif
