/* Big buffer: one growing block into which strings and files are appended, each behind a NUL.
 *
 * The owner of the record owns the block. Growth moves the block, so hold offsets, never pointers.
 * One owner at a time: nothing is locked. A lack of memory ends the process, as in wzlb_alloc.h.
 */
#ifndef WZLB_BIG_BUF_H
#define WZLB_BIG_BUF_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Bytes of a buffer that is initialised without a size. */
#define WZLB_BIGBUF_DEFAULT_SIZE 0x100000
/** Bytes of one growth step. */
#define WZLB_BIGBUF_GROWTH_STEP 10240
/** Room that `err_msg` of wzlb_bigbuf_copy_into_bigbuf_ex needs; longer messages are cut. */
#define WZLB_BIGBUF_ERROR_SIZE 1024

/* What the `string` of wzlb_bigbuf_copy_into_bigbuf_ex is: the bytes, or the path of a file. */
#define BIGBUF_TYPE_BUFFER 0
#define BIGBUF_TYPE_FILE 1

typedef struct bigbuf_t {
  char *buffer;        /**< the block, or null */
  signed long offset;  /**< first free byte: bytes in use */
  signed long bufsize; /**< bytes allocated */
} bigbuf_t;

/** wzlb_bigbuf_init_ex with WZLB_BIGBUF_DEFAULT_SIZE. */
WZ_API int wzlb_bigbuf_init(bigbuf_t *bigbuf);

/**
 * Gives `*bigbuf` a zeroed block of `init_size` bytes. What the record held before is not freed.
 *
 * @return  0; -1 for a null record or a size below 1, with nothing allocated.
 */
WZ_API int wzlb_bigbuf_init_ex(bigbuf_t *bigbuf, int init_size);

/**
 * Grows the block (or allocates it) by WZLB_BIGBUF_GROWTH_STEP zeroed bytes.
 *
 * Deliberate: the step is fixed, so that a buffer's size tells how much was put into it.
 *
 * @return  0; -1 for a null record.
 */
WZ_API int wzlb_bigbuf_realloc(bigbuf_t *bigbuf);

/** 1 when `needed_space` bytes fit strictly below the end (the last byte of a block is never used),
 * 0 when not, -1 for a null record. */
WZ_API int wzlb_bigbuf_chk_avail_space(bigbuf_t *bigbuf, int needed_space);

/**
 * Appends `len` bytes of `string` and a NUL, growing the block step by step.
 *
 * @param string  Bytes to copy, outside the buffer itself; not kept.
 * @param len     Number of bytes; 0 means up to the terminating NUL.
 * @return        Offset of the copy; -1 for a null argument or a negative length, with the buffer
 *                unchanged.
 */
WZ_API long wzlb_bigbuf_copy_into_bigbuf(bigbuf_t *bigbuf, char *string, int len);

/**
 * As wzlb_bigbuf_copy_into_bigbuf, or with BIGBUF_TYPE_FILE appends the whole file of that path.
 *
 * Prints its progress to standard error, always: operators follow the loading of files there.
 *
 * @param flag     BIGBUF_TYPE_BUFFER or BIGBUF_TYPE_FILE.
 * @param err_msg  WZLB_BIGBUF_ERROR_SIZE bytes for the message of a failure with `flag` or the
 * file.
 * @return         Offset of the copy; -1 for a null argument, a negative length, another flag, a
 *                 file that is missing, empty or cannot be read. What the buffer holds is unchanged
 *                 then.
 */
WZ_API long wzlb_bigbuf_copy_into_bigbuf_ex(bigbuf_t *bigbuf, char *string, int len, char flag,
                                            char *err_msg);

/** The bytes at `offset`, which is not checked; valid until the buffer grows or is freed. Null for
 * a null record. */
WZ_API char *wzlb_bigbuf_get_value(bigbuf_t *bigbuf, long offset);

/** Frees the block and sets every field to 0; the next copy allocates anew, in growth steps. */
WZ_API void wzlb_bigbuf_free(bigbuf_t *bigbuf);

WZ_END_DECLS

#endif
