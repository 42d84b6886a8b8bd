#pragma once

#include <unistd.h>

namespace msg_tarvel::tool {

/** An open file, closed at the end; -1 is none. */
class Descriptor {
 public:
  explicit Descriptor(int number) : _number(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (isOpen()) close(_number);
  }

  bool isOpen() const { return _number != -1; }
  int number() const { return _number; }

 private:
  int _number;
};

}  // namespace msg_tarvel::tool
