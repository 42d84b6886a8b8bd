#include "store/settings.h"

#include <glib.h>
#include <vconf.h>

#include <cstdlib>
#include <memory>

#include "store/log_sink.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* KEYS[] = {DIGITS_SETTING, COUNTRY_SETTING, "db/csc/salescode",
                                "db/setup_wizard/standalone"};
constexpr const char* FACTORY = "factory";

std::string settings_file() {
  const char* const chosen = std::getenv("MSG_TARVEL_SETTINGS");
  if (chosen && *chosen) return chosen;
  return std::string(g_get_user_config_dir()) + "/msg-tarvel/settings.ini";
}

/** What a group and a key within it make: the part before and behind the last slash. */
std::string source_of(const std::string& key) {
  const std::string file = settings_file();
  const std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> settings(g_key_file_new(),
                                                                       &g_key_file_free);
  if (!g_key_file_load_from_file(settings.get(), file.c_str(), G_KEY_FILE_NONE, nullptr)) {
    return g_file_test(file.c_str(), G_FILE_TEST_EXISTS) != 0 ? file : FACTORY;
  }
  const std::size_t slash = key.rfind('/');
  const bool isThere = g_key_file_has_key(settings.get(), key.substr(0, slash).c_str(),
                                          key.substr(slash + 1).c_str(), nullptr) != 0;
  return isThere ? file : FACTORY;
}

}  // namespace

void require_settings() {
  forget_log_errors();
  int digits = 0;
  const bool areDigitsThere = vconf_get_int(DIGITS_SETTING, &digits) >= 0;
  const std::unique_ptr<char, decltype(&std::free)> country(vconf_get_str(COUNTRY_SETTING),
                                                            &std::free);
  if (!areDigitsThere || !country) fail_with_log("cannot read the device's settings");
}

Setting read_setting(const std::string& key) {
  const std::unique_ptr<char, decltype(&std::free)> value(vconf_get_str(key.c_str()), &std::free);
  return {key, value ? value.get() : "", value != nullptr, source_of(key)};
}

std::vector<Setting> read_settings() {
  std::vector<Setting> settings;
  for (const char* const key : KEYS) settings.push_back(read_setting(key));
  return settings;
}

}  // namespace msg_tarvel::tool
