// The request in the linked blocks that scripts read it from.
#pragma once

#include <wz/wz_request_buffer.h>
#include <wz/wzlb_mem_pool.h>

#include <algorithm>
#include <string_view>

namespace vsd {

// Keeps its memory from request to request.
class RequestBlocks {
 public:
  RequestBlocks() { wzlb_mp_init(&pool_, sizeof(Slot), kFirstBlocks, kMoreBlocks, 0); }
  RequestBlocks(const RequestBlocks&) = delete;
  RequestBlocks& operator=(const RequestBlocks&) = delete;
  ~RequestBlocks() { wzlb_mp_destroy(&pool_); }

  // Replaces what was there. Returns the first block; null for an empty request.
  RequestBuffer* fill(std::string_view head, std::string_view body) {
    wzlb_mp_free_all_slots(&pool_);
    Chain chain;
    append(head, chain);
    append(body, chain);
    // Behind the request, so that a small one is text.
    if (chain.used < VSD_REQUEST_BLOCK_SIZE) {
      chain.last->buffer[chain.used] = '\0';
    }
    return chain.first;
  }

 private:
  static constexpr int kFirstBlocks = 4;
  static constexpr int kMoreBlocks = 64;

  struct Slot {
    node links;
    RequestBuffer block;
  };
  struct Chain {
    RequestBuffer* first = nullptr;
    RequestBuffer* last = nullptr;
    std::size_t used = VSD_REQUEST_BLOCK_SIZE;  // of the last one
  };

  void append(std::string_view text, Chain& chain) {
    while (!text.empty()) {
      if (chain.used == VSD_REQUEST_BLOCK_SIZE) {
        RequestBuffer& next = static_cast<Slot*>(wzlb_mp_get_slot(&pool_))->block;
        next.next = nullptr;
        (chain.last != nullptr ? chain.last->next : chain.first) = &next;
        chain.last = &next;
        chain.used = 0;
      }
      const std::size_t length = std::min(text.size(), VSD_REQUEST_BLOCK_SIZE - chain.used);
      text.copy(chain.last->buffer + chain.used, length);
      text.remove_prefix(length);
      chain.used += length;
    }
  }

  wzlb_mp_handler pool_{};
};

}  // namespace vsd
