#pragma once

#include <dlfcn.h>

namespace msg_tarvel {

/** The function `name` that the caller's own, of the same type, stands in front of. */
template <typename Function>
Function next_function(const char* name, Function /*ofThisType*/) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace msg_tarvel
