#include "msg-tarvel-serializer/watched_calls.h"

#include <glib.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "msg-tarvel-serializer/senders_text.h"

namespace {

msg_tarvel::wire_test::WatchedCalls* watcher = nullptr;

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
int __real_posix_memalign(void** memory, std::size_t alignment, std::size_t size);
std::size_t __real_strlen(const char* text);
GSList* __real_g_slist_append(GSList* list, gpointer data);
void __real_g_slist_free(GSList* list);

void* __wrap_malloc(std::size_t size) {
  if (!watcher) return __real_malloc(size);
  if (watcher->allocationFails(size)) {
    errno = ENOMEM;
    return nullptr;
  }
  if (void* const memory = watcher->handedOut()) return memory;
  void* memory = __real_malloc(size);
  // A heap comes to such a place by chance, and the library would take another record.
  if (reinterpret_cast<std::uintptr_t>(memory) % msg_tarvel::wire::SENDERS_TEXT_PLACE == 0) {
    void* const elsewhere = __real_malloc(size);
    std::free(memory);
    memory = elsewhere;
  }
  watcher->allocated(memory, size);
  return memory;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (watcher && watcher->allocationFails(count * size)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __real_calloc(count, size);
}

int __wrap_posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  const int error = __real_posix_memalign(memory, alignment, size);
  if (watcher && error == 0) watcher->allocated(*memory, size);
  return error;
}

std::size_t __wrap_strlen(const char* text) {
  if (watcher) watcher->lengthTaken();
  return __real_strlen(text);
}

GSList* __wrap_g_slist_append(GSList* list, gpointer data) {
  if (watcher) watcher->appended(g_slist_length(list));
  return __real_g_slist_append(list, data);
}

void __wrap_g_slist_free(GSList* list) {
  if (watcher) watcher->nodesReleased(g_slist_length(list));
  __real_g_slist_free(list);
}

}  // extern "C"

namespace msg_tarvel::wire_test {

WatchedCalls::WatchedCalls() { watcher = this; }

WatchedCalls::~WatchedCalls() { watcher = nullptr; }

bool WatchedCalls::allocationFails(std::size_t size) {
  _sizes.push_back(size);
  if (_hook) _hook();
  return allocations() == _failing;
}

void WatchedCalls::allocated(void* memory, std::size_t size) const {
  if (memory && _filling) std::memset(memory, *_filling, size);
}

}  // namespace msg_tarvel::wire_test
