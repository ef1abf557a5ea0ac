#include "place/text_block.h"

#include <mutex>
#include <new>
#include <vector>

#include "platform/os.h"

namespace tz::block_memory {

namespace {

constexpr size_t kPerPage = os::kHugePage / kUsual;

// The blocks of the usual size not in use, and the rest of the page cut last. Blocks
// change threads (the writers keep them), so the pool has a lock; a run gets only a few
// dozen.
struct Pool {
  std::mutex mu;
  std::vector<char*> free;
  char* page = nullptr;
  size_t cut = kPerPage;  // blocks cut from `page`
};

Pool& pool() {
  static Pool* p = new Pool;  // kept to the end: blocks may be given back at exit
  return *p;
}

}  // namespace

char* take(size_t n, size_t* room) {
  if (n > kUsual) {
    *room = n;
    return new (std::nothrow) char[n];
  }
  *room = kUsual;
#if defined(__SANITIZE_ADDRESS__)
  // Each block its own, for the address checker to watch its edges.
  return new (std::nothrow) char[kUsual];
#endif
  Pool& p = pool();
  std::lock_guard<std::mutex> lock(p.mu);
  if (!p.free.empty()) {
    char* block = p.free.back();
    p.free.pop_back();
    return block;
  }
  if (p.cut == kPerPage) {
    char* page = os::alloc_large(os::kHugePage);
    if (!page) return new (std::nothrow) char[kUsual];
    p.page = page;
    p.cut = 0;
  }
  return p.page + kUsual * p.cut++;
}

void give(char* block, size_t room) {
#if defined(__SANITIZE_ADDRESS__)
  room = 0;
#endif
  if (room != kUsual) {
    delete[] block;
    return;
  }
  Pool& p = pool();
  std::lock_guard<std::mutex> lock(p.mu);
  try {
    p.free.push_back(block);
  } catch (const std::bad_alloc&) {
    // Given back from a destructor, which can't fail: the block is only lost to the pool.
  }
}

}  // namespace tz::block_memory
