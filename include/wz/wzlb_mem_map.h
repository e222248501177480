/* The per-thread register of live tracked blocks. */
#ifndef WZLB_MEM_MAP_H
#define WZLB_MEM_MAP_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

WZ_API int wzlb_mem_map_add(void *address, size_t size, char *msg, char *file, int line,
                            char *func);
WZ_API int wzlb_mem_map_remove(void *address);

WZ_END_DECLS

#endif
