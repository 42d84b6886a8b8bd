#include "export/interruptible_output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "interrupt.h"

namespace msg_tarvel::tool {

InterruptibleOutput::InterruptibleOutput(int descriptor) : _descriptor(descriptor) {
  setp(_buffer.data(), _buffer.data() + _buffer.size());
}

InterruptibleOutput::int_type InterruptibleOutput::overflow(int_type character) {
  if (sync() != 0) return traits_type::eof();
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(character);
    pbump(1);
  }
  return traits_type::not_eof(character);
}

int InterruptibleOutput::sync() {
  for (const char* at = pbase(); at != pptr();) {
    if (!_isReady()) return -1;
    const ssize_t count = ::write(_descriptor, at, static_cast<std::size_t>(pptr() - at));
    if (count == -1 && errno != EINTR && errno != EAGAIN) return -1;
    if (count > 0) at += count;
  }
  setp(_buffer.data(), _buffer.data() + _buffer.size());
  return 0;
}

/** Waits for room; false when nothing more can or should be written. */
bool InterruptibleOutput::_isReady() const {
  // A signal may come just before the wait, which it then does not end.
  constexpr int WAIT_MILLISECONDS = 100;
  while (!is_interrupted()) {
    pollfd output = {_descriptor, POLLOUT, 0};
    const int count = poll(&output, 1, WAIT_MILLISECONDS);
    if (count == -1 && errno != EINTR) return false;
    if (count > 0) return output.revents == POLLOUT;
  }
  return false;
}

}  // namespace msg_tarvel::tool
