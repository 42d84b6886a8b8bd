#include "msg-tarvel-serializer/watched_calls.h"

#include <glib.h>

#include <cerrno>
#include <cstddef>

namespace {

msg_tarvel::wire_test::WatchedCalls* watcher = nullptr;

}  // namespace

extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
std::size_t __real_strlen(const char* text);
GSList* __real_g_slist_append(GSList* list, gpointer data);

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (watcher && watcher->allocationFails(count * size)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __real_calloc(count, size);
}

std::size_t __wrap_strlen(const char* text) {
  if (watcher) watcher->lengthTaken();
  return __real_strlen(text);
}

GSList* __wrap_g_slist_append(GSList* list, gpointer data) {
  if (watcher) watcher->appended(g_slist_length(list));
  return __real_g_slist_append(list, data);
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

}  // namespace msg_tarvel::wire_test
