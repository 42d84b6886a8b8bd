#pragma once

#include <string>

#include "generate/chance.h"

namespace msg_tarvel::tool {

/** A small file that programs can open. */
struct Medium {
  const char* contentType;
  /** As its sender called it. */
  std::string name;
  std::string bytes;
};

// Pictures of coloured fields, sounds of a tenth of a second and more.

std::string make_png(Chance& chance);
std::string make_jpeg(Chance& chance);
std::string make_gif(Chance& chance);
std::string make_wav(Chance& chance);
std::string make_amr(Chance& chance);
std::string make_vcard(Chance& chance);

/** Any of them, pictures first of all. */
Medium make_medium(Chance& chance);

}  // namespace msg_tarvel::tool
