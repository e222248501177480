// The request in the linked blocks that scripts read it from.
#pragma once

#include <wz/wz_request_buffer.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace vsd {

// Keeps its memory from request to request.
class RequestBlocks {
 public:
  // Replaces what was there. Returns the first block; null for an empty request.
  RequestBuffer* fill(std::string_view head, std::string_view body) {
    const std::size_t size = head.size() + body.size();
    if (size == 0) {
      return nullptr;
    }
    blocks_.resize((size + VSD_REQUEST_BLOCK_SIZE - 1) / VSD_REQUEST_BLOCK_SIZE);
    put(head, 0);
    put(body, head.size());
    for (std::size_t i = 0; i + 1 < blocks_.size(); ++i) {
      blocks_[i].next = &blocks_[i + 1];
    }
    blocks_.back().next = nullptr;
    // Behind the request, so that a small one is text.
    if (const std::size_t used = size % VSD_REQUEST_BLOCK_SIZE; used != 0) {
      blocks_.back().buffer[used] = '\0';
    }
    return blocks_.data();
  }

 private:
  void put(std::string_view text, std::size_t at) {
    while (!text.empty()) {
      const std::size_t place = at % VSD_REQUEST_BLOCK_SIZE;
      const std::size_t length = std::min(text.size(), VSD_REQUEST_BLOCK_SIZE - place);
      text.copy(blocks_[at / VSD_REQUEST_BLOCK_SIZE].buffer + place, length);
      text.remove_prefix(length);
      at += length;
    }
  }

  std::vector<RequestBuffer> blocks_;
};

}  // namespace vsd
