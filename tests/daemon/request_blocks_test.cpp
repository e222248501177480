#include "daemon/service/request_blocks.h"

#include <gtest/gtest.h>

#include <string>

namespace vsd {
namespace {

constexpr std::size_t kBlock = VSD_REQUEST_BLOCK_SIZE;

std::string joined(const RequestBuffer* block, std::size_t size) {
  std::string text;
  for (; block != nullptr; block = block->next) {
    text.append(block->buffer, std::min(kBlock, size - text.size()));
  }
  return text;
}

TEST(RequestBlocks, HoldsHeadAndBodyOfAnySize) {
  RequestBlocks blocks;
  const std::string bytes(100 * kBlock, 'x');
  for (const std::size_t head : {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, kBlock + 1}) {
    for (const std::size_t body : {99 * kBlock, std::size_t{0}, std::size_t{1}, kBlock}) {
      const std::string request = bytes.substr(0, head) + std::string(body, 'y');
      const RequestBuffer* first = blocks.fill(bytes.substr(0, head), std::string(body, 'y'));
      EXPECT_EQ(first == nullptr, request.empty());
      EXPECT_EQ(joined(first, request.size()), request) << head << " " << body;
      if (first != nullptr && request.size() < kBlock) {
        EXPECT_EQ(std::string(first->buffer), request) << "a small one is text";
      }
    }
  }
}

}  // namespace
}  // namespace vsd
