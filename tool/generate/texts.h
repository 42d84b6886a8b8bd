#pragma once

#include <string>

#include "generate/chance.h"

namespace msg_tarvel::tool {

/** What people write each other, in one of a few languages; some of it is long or has lines. */
class Language {
 public:
  explicit Language(Chance& chance);

  std::string text(Chance& chance) const;

 private:
  std::string _sentence(Chance& chance) const;

  std::size_t _index;
};

/** What programs send: codes, reminders, links. */
std::string service_text(Chance& chance);

/** Hexadecimal digits, as of ids and tokens. */
std::string token(Chance& chance, int digits);

}  // namespace msg_tarvel::tool
