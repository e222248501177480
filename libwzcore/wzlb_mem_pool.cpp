// Records of one size on two doubly linked lists. Every hand-out and return is a constant number of
// link changes; memory is asked for in blocks and given back only when the pool is destroyed.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_mem_pool.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libwzcore/internal/soft_alloc.h"
#include "libwzcore/internal/trace.h"

#define POOL_TRACE(level, format, ...) \
  WZLB_TRACE((level), WZLB_MODULE_API, format __VA_OPT__(, ) __VA_ARGS__)

namespace {

constexpr int kDefaultSlots = 10;
constexpr char kFirstOfBlock = 1;
constexpr char kLabel[] = "Allocating memory pool";

// Holds the lock of a shared pool.
class PoolLock {
 public:
  explicit PoolLock(wzlb_mp_handler& pool)
      : mutex_(pool.handler_flag == 1 ? &pool.mem_pool_lock : nullptr) {
    if (mutex_ != nullptr) {
      pthread_mutex_lock(mutex_);
    }
  }
  ~PoolLock() {
    if (mutex_ != nullptr) {
      pthread_mutex_unlock(mutex_);
    }
  }
  PoolLock(const PoolLock&) = delete;
  PoolLock& operator=(const PoolLock&) = delete;

 private:
  pthread_mutex_t* mutex_;
};

// Distance of two slots: at least a head, and whole words, so that heads are aligned.
long slot_distance(const wzlb_mp_handler& pool) {
  constexpr long kWord = alignof(node);
  if (pool.slot_size <= 0) {
    return pool.slot_size;
  }
  const long size = std::max<long>(pool.slot_size, sizeof(node));
  return (size + kWord - 1) / kWord * kWord;
}

// How many slots the next block has; below 1 when the maximum is reached.
long next_block_slots(const wzlb_mp_handler& pool) {
  const long wanted = pool.num_malloced_slot == 0 ? pool.num_slots_init : pool.num_slots_increment;
  if (pool.num_slots_max <= 0) {
    return wanted;
  }
  const long total = pool.num_slots_init + static_cast<long>(pool.num_slots_increment) *
                                               static_cast<long>(pool.num_malloced_slot);
  return wanted - std::max(total - pool.num_slots_max, 0L);
}

char* allocate_block(long size) {
  auto* const block = static_cast<char*>(wz::soft_malloc(size, WZ_BLOCK_OWNER(kLabel)));
  if (block == nullptr) {
    std::fprintf(stderr, "Out of Memory (size = %d): %s \n", static_cast<int>(size), kLabel);
    std::exit(1);
  }
  std::memset(block, 0, static_cast<std::size_t>(size));
  return block;
}

void push_free_head(wzlb_mp_handler& pool, node* slot) {
  node* const head = pool.free_head;
  slot->prev = nullptr;
  slot->next = head;
  if (head != nullptr) {
    head->prev = slot;
  } else {
    pool.free_tail = slot;
  }
  pool.free_head = slot;
}

void push_tail(node*& head, node*& tail, node* slot) {
  node* const last = tail;
  slot->prev = last;
  slot->next = nullptr;
  if (last != nullptr) {
    last->next = slot;
  } else {
    head = slot;
  }
  tail = slot;
}

void push_free_tail(wzlb_mp_handler& pool, node* slot) {
  push_tail(pool.free_head, pool.free_tail, slot);
}

// Takes the first slot off the list of `head` and `tail`, which is not empty.
node* pop_head(node*& head, node*& tail) {
  node* const slot = head;
  node* const next = slot->next;
  head = next;
  if (next != nullptr) {
    next->prev = nullptr;
  } else {
    tail = nullptr;
  }
  return slot;
}

// Takes `slot` off its list. False for one that is on no list, and for the first free one, which
// looks the same; a slot further down the free list, freed twice, is merely moved within it.
bool unlink(wzlb_mp_handler& pool, node* slot) {
  node* const prev = slot->prev;
  node* const next = slot->next;
  if (prev != nullptr) {
    prev->next = next;
  } else if (pool.busy_head == slot) [[likely]] {
    pool.busy_head = next;
  } else {
    return false;
  }
  if (next != nullptr) {
    next->prev = prev;
  } else if (pool.busy_tail == slot) [[likely]] {
    pool.busy_tail = prev;
  } else {
    pool.free_tail = prev;
  }
  return true;
}

// The slots of `block` as a chain in front of the free list, which is empty unless a host creates
// blocks by itself.
void chain_slots(wzlb_mp_handler& pool, char* block, long count, long distance) {
  for (long i = count - 1; i >= 0; --i) {
    push_free_head(pool, reinterpret_cast<node*>(block + i * distance));
  }
}

// True for what the short paths leave out, so that they are a few loads and stores and no call.
bool is_shared_or_traced(const wzlb_mp_handler& pool) {
  return pool.handler_flag == 1 || wz::tracing(WZLB_LEVEL_3, WZLB_MODULE_API);
}

node* hand_out(wzlb_mp_handler& pool) {
  node* const slot = pop_head(pool.free_head, pool.free_tail);
  push_tail(pool.busy_head, pool.busy_tail, slot);
  return slot;
}

[[gnu::noinline]] node* hand_out_carefully(wzlb_mp_handler& pool) {
  node* slot = nullptr;
  {
    const PoolLock lock(pool);
    if (pool.free_head == nullptr && wzlb_mp_create(&pool) != 0) {
      return nullptr;
    }
    slot = hand_out(pool);
  }
  POOL_TRACE(WZLB_LEVEL_3, "slot = %p", static_cast<void*>(slot));
  return slot;
}

using Push = void (*)(wzlb_mp_handler&, node*);

template <Push push>
void take_back(wzlb_mp_handler& pool, node* slot) {
  if (unlink(pool, slot)) {
    push(pool, slot);
  }
}

template <Push push>
[[gnu::noinline]] void take_back_carefully(wzlb_mp_handler& pool, node* slot) {
  POOL_TRACE(WZLB_LEVEL_3, "slot = %p", static_cast<void*>(slot));
  const PoolLock lock(pool);
  take_back<push>(pool, slot);
}

template <Push push>
void free_slot(wzlb_mp_handler* pool, void* slot) {
  if (pool == nullptr || slot == nullptr) [[unlikely]] {
    return;
  }
  if (is_shared_or_traced(*pool)) [[unlikely]] {
    take_back_carefully<push>(*pool, static_cast<node*>(slot));
    return;
  }
  take_back<push>(*pool, static_cast<node*>(slot));
}

}  // namespace

int wzlb_mp_init(wzlb_mp_handler* mpool, int slot_size, int num_slot_init, int num_slots_increment,
                 int handle_flag) {
  if (mpool == nullptr) {
    return 1;
  }
  *mpool = wzlb_mp_handler{};
  if (slot_size == 0) {
    return 1;
  }
  mpool->slot_size = slot_size;
  mpool->num_slots_init = num_slot_init > 0 ? num_slot_init : kDefaultSlots;
  mpool->num_slots_increment = num_slots_increment > 0 ? num_slots_increment : kDefaultSlots;
  mpool->handler_flag = handle_flag == 1 ? 1 : 0;
  pthread_mutex_init(&mpool->mem_pool_lock, nullptr);
  POOL_TRACE(WZLB_LEVEL_2, "slot_size = %d, num_slots_init = %d, num_slots_increment = %d",
             slot_size, mpool->num_slots_init, mpool->num_slots_increment);
  return 0;
}

int wzlb_mp_create(wzlb_mp_handler* mpool) {
  if (mpool == nullptr || mpool->slot_size == 0) {
    return 1;
  }
  const long count = next_block_slots(*mpool);
  if (count < 1) {
    wzlb_set_error(wz::mutable_text("Memory pool max limit reached"));
    return -1;
  }
  const long distance = slot_distance(*mpool);
  if (distance < 0) {
    std::fprintf(stderr, "Trying to malloc a negative size memory size = %d \n",
                 static_cast<int>(count * distance));
    return -1;
  }
  char* const block = allocate_block(count * distance);
  reinterpret_cast<node*>(block)->slot_status |= kFirstOfBlock;
  ++mpool->num_malloced_slot;
  chain_slots(*mpool, block, count, distance);
  POOL_TRACE(WZLB_LEVEL_2, "block = %p, slots = %ld", static_cast<void*>(block), count);
  return 0;
}

void* wzlb_mp_get_slot(wzlb_mp_handler* mpool) {
  if (mpool == nullptr) [[unlikely]] {
    return nullptr;
  }
  if (is_shared_or_traced(*mpool) || mpool->free_head == nullptr) [[unlikely]] {
    return hand_out_carefully(*mpool);
  }
  return hand_out(*mpool);
}

void wzlb_mp_free_slot(wzlb_mp_handler* mpool, void* slot) {
  free_slot<push_free_tail>(mpool, slot);
}

void wzlb_mp_free_slot_ex(wzlb_mp_handler* mpool, void* slot) {
  free_slot<push_free_head>(mpool, slot);
}

void* wzlb_mp_get_busy_head(wzlb_mp_handler* mpool) {
  if (mpool == nullptr) {
    return nullptr;
  }
  node* slot = nullptr;
  {
    const PoolLock lock(*mpool);
    if (mpool->busy_head != nullptr) {
      slot = pop_head(mpool->busy_head, mpool->busy_tail);
      slot->next = nullptr;
    }
  }
  POOL_TRACE(WZLB_LEVEL_3, "slot = %p", static_cast<void*>(slot));
  return slot;
}

void* wzlb_mp_check_busy_head(wzlb_mp_handler* mpool) {
  if (mpool == nullptr) {
    return nullptr;
  }
  const PoolLock lock(*mpool);
  return mpool->busy_head;
}

void wzlb_mp_free_busy_head(wzlb_mp_handler* mpool, wzlb_mp_handler* slot) {
  if (mpool == nullptr || slot == nullptr) {
    return;
  }
  POOL_TRACE(WZLB_LEVEL_3, "slot = %p", static_cast<void*>(slot));
  auto* const head = reinterpret_cast<node*>(slot);
  const PoolLock lock(*mpool);
  if (mpool->free_head != head && mpool->busy_head != head) {
    push_free_head(*mpool, head);
  }
}

void wzlb_mp_free_all_slots(wzlb_mp_handler* mpool) {
  while (void* const slot = wzlb_mp_check_busy_head(mpool)) {
    wzlb_mp_free_slot(mpool, slot);
  }
}

void wzlb_mp_destroy(wzlb_mp_handler* mpool) {
  if (mpool == nullptr) {
    return;
  }
  POOL_TRACE(WZLB_LEVEL_2, "blocks = %d", mpool->num_malloced_slot);
  wzlb_mp_free_all_slots(mpool);
  // First slots become a stack through `prev`, so that no block goes while a slot of it is linked.
  node* blocks = nullptr;
  for (node* slot = mpool->free_head; slot != nullptr; slot = slot->next) {
    if ((slot->slot_status & kFirstOfBlock) != 0) {
      slot->prev = blocks;
      blocks = slot;
    }
  }
  while (blocks != nullptr) {
    node* const block = blocks;
    blocks = block->prev;
    WZLB_FREE(block, kLabel, -1);
  }
  pthread_mutex_destroy(&mpool->mem_pool_lock);
  *mpool = wzlb_mp_handler{};
}

void wzlb_mp_set_max(wzlb_mp_handler* mpool, int max) {
  if (mpool != nullptr) {
    mpool->num_slots_max = max;
  }
}

char* mpool_errstr(int error) {
  static constexpr const char* kTexts[] = {
      "Success", "Error: Invalid value of the argument passed", "Error: Memory allocation failure",
      "Error: Invalid Pointer Passed", "Error: Invalid Memory Alignment"};
  // Deliberate: only these three are looked up; callers print the others as unknown.
  constexpr int kFirst = 2;
  constexpr int kLast = 4;
  return wz::mutable_text(error >= kFirst && error <= kLast ? kTexts[error] : "Unknown Error Type");
}
