#include "store/settings.h"

#include <vconf.h>

#include <cstdlib>
#include <memory>

#include "store/log_sink.h"

namespace msg_tarvel::tool {

namespace {

struct TextDeleter {
  void operator()(char* text) const { std::free(text); }
};

}  // namespace

void require_settings() {
  forget_log_errors();
  int digits = 0;
  const bool areDigitsThere =
      vconf_get_int("db/contacts-svc/phonenumber_min_match_digit", &digits) >= 0;
  const std::unique_ptr<char, TextDeleter> country(vconf_get_str("db/csc/country_iso"));
  if (!areDigitsThere || !country) fail_with_log("cannot read the device's settings");
}

}  // namespace msg_tarvel::tool
