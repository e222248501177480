/* The request as the host received it, in linked blocks: shared by hosts and scripts. */
#ifndef WZ_REQUEST_BUFFER_H
#define WZ_REQUEST_BUFFER_H

#include <wz/wz_base.h>

#define VSD_REQUEST_BLOCK_SIZE 1022

/** One block of the request. All but the last one are full, and none ends in a NUL of its own. */
typedef struct RequestBuffer {
  char buffer[VSD_REQUEST_BLOCK_SIZE];
  struct RequestBuffer *next; /**< null in the last block */
} RequestBuffer;

#endif
