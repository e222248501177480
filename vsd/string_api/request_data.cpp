// What a script reads of the request apart from its URL: the raw bytes, a number for it, fields of
// a text. And what it does to the connection.
#include <unistd.h>
#include <wz/wz_script.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "vsd/string_api/context.h"
#include "vsd/trace.h"

char* g_vsd_controller_name = nullptr;

namespace wz::script {
namespace {

constexpr short kKeepsReceivedData = 3;  // scontents.service_type

// Names and their counters; the names' table is the host's.
struct RequestNumbers {
  VsdHashTable names{};
  std::vector<int> next;
  bool is_set_up = false;
};

// The counter of a key, or null when the host has no place for it.
int* counter_of(char* key) {
  static RequestNumbers numbers;
  if (&vsd_hash_table_init == nullptr) {
    return nullptr;
  }
  if (!numbers.is_set_up) {
    vsd_hash_table_init(&numbers.names);
    numbers.is_set_up = true;
  }
  const int length = to_int(std::strlen(key));
  int index = vsd_hash_table_get(&numbers.names, key, length);
  if (index < 0) {
    index = vsd_hash_table_add(&numbers.names, key, length);
  }
  if (index < 0) {
    return nullptr;
  }
  const auto place = static_cast<std::size_t>(index);
  if (place >= numbers.next.size()) {
    numbers.next.resize(place + 1);
  }
  return &numbers.next[place];
}

}  // namespace
}  // namespace wz::script

RequestBuffer* wz_get_request_buf(int* size) {
  using namespace wz::script;
  const connection* cptr = current_connection();
  const int length =
      cptr != nullptr ? to_int(static_cast<std::size_t>(std::max(cptr->bytes, 0L))) : 0;
  RequestBuffer* first = cptr != nullptr ? cptr->cur_buf : nullptr;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Return request buffer size = %d, Buffer = %.*s", length,
            std::min(length, VSD_REQUEST_BLOCK_SIZE), first != nullptr ? first->buffer : "");
  if (size != nullptr) {
    *size = length;
  }
  return first;
}

void wz_free_request_buf(void) {
  using namespace wz::script;
  connection* cptr = current_connection();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called");
  if (cptr == nullptr) {
    return;
  }
  if (&free_hdr_buf != nullptr) {
    free_hdr_buf(cptr);
  }
  const bool keeps_data = cptr->scptr != nullptr && cptr->scptr->service_type == kKeepsReceivedData;
  if (!keeps_data && &free_retrieve_data != nullptr) {
    free_retrieve_data(cptr, 0);
  }
}

int wz_get_req_seq_number(char*, char* value, int resetNo) try {
  using namespace wz::script;
  int* next = value != nullptr ? counter_of(value) : nullptr;
  if (next == nullptr) {
    return wz::script::kNotFound;
  }
  if (*next == resetNo) {
    *next = 0;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. value = %s, resetNo = %d, number = %d", value,
            resetNo, *next);
  return (*next)++;
} catch (const std::bad_alloc&) {
  return wz::script::kNotFound;
}

int wz_get_tokens_api(char* read_buf, char** fields, char* token, int max_flds) {
  if (read_buf == nullptr || fields == nullptr || token == nullptr) {
    return 0;
  }
  const int room = std::max(max_flds, 0);
  int count = 0;
  char* rest = nullptr;
  for (char* field = strtok_r(read_buf, token, &rest); field != nullptr;
       field = strtok_r(nullptr, token, &rest)) {
    if (count == room) {
      std::fprintf(stderr,
                   "Total fields are more than max fields (%d), remaining fields are ignored\n",
                   max_flds);
      return room;
    }
    fields[count++] = field;
  }
  return count;
}

char* wz_get_controller_name(void) {
  return g_vsd_controller_name;
}

void wz_ka_time(int ka_time) {
  using namespace wz::script;
  if (connection* cptr = current_connection()) {
    cptr->keep_alive_timeout = ka_time;
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called keep_alive_timeout = %d",
              cptr->keep_alive_timeout);
  }
}

int wz_reset_connection(void) {
  using namespace wz::script;
  connection* cptr = current_connection();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called");
  if (cptr != nullptr && cptr->fd >= 0) {
    if (&remove_select != nullptr) {
      remove_select(cptr->fd);
    }
    close(cptr->fd);
    cptr->fd = -1;
  }
  return 0;
}

char* wz_http_forward_req(char* server_addr, int proto, int* len) {
  using namespace wz::script;
  const connection* cptr = current_connection();
  VSD_TRACE(WZLB_LEVEL_3, kModuleForward, "Method called. server_addr = %s, proto %d",
            server_addr != nullptr ? server_addr : "(null)", proto);
  if (len != nullptr) {
    *len = cptr != nullptr && cptr->url_data != nullptr ? cptr->url_data->response_len : 0;
  }
  return nullptr;
}

int wz_http_send_forward_rep_to_client(char*, int) {
  if (connection* cptr = wz::script::current_connection()) {
    cptr->flag |= VSD_FLAG_FORWARDED;
  }
  return 0;
}
