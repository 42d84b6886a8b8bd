#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** A setting of the device that the library heeds. */
struct Setting {
  std::string key;
  /** As it is written; empty when it cannot be read. */
  std::string value;
  bool isReadable;
  /** The file that says so, or "factory". */
  std::string source;
};

constexpr const char* COUNTRY_SETTING = "db/csc/country_iso";
constexpr const char* DIGITS_SETTING = "db/contacts-svc/phonenumber_min_match_digit";

/**
 * Throws a Failure when the device's settings that decide which numbers are the same cannot be
 * read: the library would compare in another way then.
 */
void require_settings();

Setting read_setting(const std::string& key);
std::vector<Setting> read_settings();

}  // namespace msg_tarvel::tool
