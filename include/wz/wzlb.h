/* The core library, for hosts and tools: every wzlb_* module. */
#ifndef WZLB_H
#define WZLB_H

#include <wz/wzlb_alloc.h>
#include <wz/wzlb_big_buf.h>
#include <wz/wzlb_crypt.h>
#include <wz/wzlb_date_var.h>
#include <wz/wzlb_encode_decode.h>
#include <wz/wzlb_get_norm_obj_id.h>
#include <wz/wzlb_hessian.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_mem_map.h>
#include <wz/wzlb_mem_pool.h>
#include <wz/wzlb_parse_api.h>
#include <wz/wzlb_poi.h>
#include <wz/wzlb_random_number.h>
#include <wz/wzlb_random_string.h>
#include <wz/wzlb_search_vars.h>
#include <wz/wzlb_sock.h>
#include <wz/wzlb_time_stamp.h>
#include <wz/wzlb_unique_number.h>
#include <wz/wzlb_user_var.h>
#include <wz/wzlb_util.h>
#include <wz/wzlb_wdir.h>

#endif
