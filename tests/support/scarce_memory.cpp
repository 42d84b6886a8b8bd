#include "support/scarce_memory.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr int UNLIMITED = std::numeric_limits<int>::max();

std::atomic<bool> payloadsRefused{false};
std::atomic<int> refusalCount{0};
std::atomic<int> allocationsLeft{UNLIMITED};
std::atomic<int> allocationsToTheRefused{0};
std::atomic<long> liveBlocks{0};
std::function<void()> payloadHook;

}  // namespace

void* operator new(std::size_t size) {
  if (allocationsLeft != UNLIMITED && allocationsLeft-- <= 0) throw std::bad_alloc();
  if (allocationsToTheRefused > 0 && --allocationsToTheRefused == 0) throw std::bad_alloc();
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (!block) throw std::bad_alloc();
  ++liveBlocks;
  return block;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* block) noexcept {
  if (block) --liveBlocks;
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
  operator delete(block);
}

// The throwing array form stays the implementation's own, so that a sanitizer still tells `delete`
// from `delete[]`.
// NOLINTNEXTLINE(misc-new-delete-overloads): what it allocates is released by the default delete[]
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (payloadHook) payloadHook();
  if (payloadsRefused) {
    ++refusalCount;
    return nullptr;
  }
  try {
    return operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace msg_tarvel {

NoMemoryForPayloads::NoMemoryForPayloads() {
  refusalCount = 0;
  payloadsRefused = true;
}

NoMemoryForPayloads::~NoMemoryForPayloads() { payloadsRefused = false; }

int NoMemoryForPayloads::refusals() const { return refusalCount; }

OnPayloadAllocation::OnPayloadAllocation(std::function<void()> action) {
  payloadHook = std::move(action);
}

OnPayloadAllocation::~OnPayloadAllocation() { payloadHook = nullptr; }

MemoryForAllocations::MemoryForAllocations(int allocations) { allocationsLeft = allocations; }

MemoryForAllocations::~MemoryForAllocations() { allocationsLeft = UNLIMITED; }

OneRefusedAllocation::OneRefusedAllocation(int number) { allocationsToTheRefused = number; }

OneRefusedAllocation::~OneRefusedAllocation() { allocationsToTheRefused = 0; }

bool OneRefusedAllocation::hasCome() const { return allocationsToTheRefused == 0; }

long live_blocks() { return liveBlocks; }

}  // namespace msg_tarvel
