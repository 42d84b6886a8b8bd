#include "msg-tarvel-common/utility/common_util_funcs.h"

#include <vconf.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "log.h"
#include "utility/common_util_funcs_internal.h"
#include "utility/platform_string.h"

namespace msg_tarvel::common_util {

namespace {

constexpr const char* KEY_SALES_CODE = "db/csc/salescode";
constexpr const char* KEY_STANDALONE = "db/setup_wizard/standalone";
constexpr const char* KEY_MIN_MATCH_DIGIT = "db/contacts-svc/phonenumber_min_match_digit";
constexpr const char* KEY_COUNTRY_ISO = "db/csc/country_iso";

constexpr int MIN_MATCH_DIGIT_KR = 9;

// Threads that race on a first call read the same settings and store the same answer. The flag is
// stored last, so whoever sees it sees the answer.
std::atomic<bool> linkdialSupported{false};
std::atomic<bool> linkdialChecked{false};
std::atomic<int> minMatchDigit{8};
std::atomic<bool> minMatchDigitLoaded{false};

bool is_digit(char character) { return character >= '0' && character <= '9'; }

}  // namespace

bool is_linkdial_supported() {
  if (linkdialChecked.load(std::memory_order_acquire)) return linkdialSupported;

  // An unreadable code is remembered as "not supported" and never read again.
  const PlatformString salesCode(vconf_get_str(KEY_SALES_CODE));
  if (salesCode) {
    MSG_TARVEL_WARN("opCode: [%s]", salesCode.get());
    if (std::strcmp(salesCode.get(), "ATT") == 0) linkdialSupported = true;
  }
  linkdialChecked.store(true, std::memory_order_release);
  return linkdialSupported;
}

bool is_wpc_mode() {
  int standalone = 0;
  const int ret = vconf_get_int(KEY_STANDALONE, &standalone);
  if (ret < 0) {
    MSG_TARVEL_ERROR("vconf_get_int is failed[%d]", ret);
    return false;
  }
  MSG_TARVEL_INFO("isWPCMode : [%d]", standalone);
  return standalone != 0;
}

int get_min_match_digit() {
  if (minMatchDigitLoaded.load(std::memory_order_acquire)) return minMatchDigit;

  int digits = minMatchDigit;
  const int ret = vconf_get_int(KEY_MIN_MATCH_DIGIT, &digits);
  if (ret < 0) {
    // Not the default of 8: callers treat the minimum as 0 until the setting can be read.
    MSG_TARVEL_ERROR("vconf_get_int failed(%d)", ret);
    return 0;
  }
  MSG_TARVEL_WARN("numberMinMatchDigit: [%d]", digits);

  const PlatformString country(vconf_get_str(KEY_COUNTRY_ISO));
  if (!country) {
    MSG_TARVEL_ERROR("Failed to get contry iso");
  } else if (std::strcmp(country.get(), "KR") == 0) {
    digits = MIN_MATCH_DIGIT_KR;
    MSG_TARVEL_WARN("Change numberMinMatchDigit for KR as [%d]", digits);
  }

  minMatchDigit = digits;
  minMatchDigitLoaded.store(true, std::memory_order_release);
  return digits;
}

bool is_number(const std::string& number) {
  if (number.empty()) {
    MSG_TARVEL_ERROR("Invalid param: number is empty");
    return false;
  }
  if (number[0] != '+' && !is_digit(number[0])) return false;
  for (std::size_t i = 1; i < number.size(); ++i) {
    if (!is_digit(number[i])) return false;
  }
  return true;
}

int _countryCodeLength(const char* src) {
  // For each first digit, the second digits that complete a two-digit code; with any other digit
  // the code has three.
  static constexpr const char* TWO_DIGIT_CODES[10] = {nullptr,     nullptr,    "07",      "0123469",
                                                      "013456789", "12345678", "0123456", nullptr,
                                                      "1246",      "0123458"};

  const char first = src[0];
  if (first == '1' || first == '7') return 1;
  if (first < '2' || first > '9') {
    MSG_TARVEL_ERROR("The parameter(src:%s) has invalid character set", src);
    return 0;
  }
  const char second = src[1];
  if (!is_digit(second)) {
    MSG_TARVEL_ERROR("The parameter(src:%s) has invalid character set", src);
    return 2;
  }
  return std::strchr(TWO_DIGIT_CODES[first - '0'], second) ? 2 : 3;
}

std::string convert_number(const std::string& number) {
  if (number.empty()) return {};

  // substr throws std::out_of_range when the number ends within its calling code.
  const auto without = [&number](int characters) {
    return number.substr(static_cast<std::size_t>(characters));
  };
  if (number[0] == '+') return without(1 + _countryCodeLength(number.c_str() + 1));
  if (number[0] == '0' && number.size() > 1 && number[1] == '0') {
    return without(2 + _countryCodeLength(number.c_str() + 2));
  }
  if (number[0] == '0') return without(1);

  const auto digits = static_cast<std::size_t>(get_min_match_digit());
  return number.size() > digits ? number.substr(number.size() - digits) : number;
}

bool create_file_by_rawdata(const char* path, const char* data, unsigned int size) {
  if (!path || size == 0 || !data) return false;
  return _write_file(path, data, size);
}

bool _write_file(const char* path, const char* data, unsigned int size) {
  std::FILE* file = std::fopen(path, "wb");
  if (!file) {
    const log::CallSite site = log::CallSite::here(__builtin_FILE(), "create_file_by_rawdata");
    MSG_TARVEL_ERROR_AT(site, "fopen() failed: (%s)", std::strerror(errno));
    return false;
  }
  // Whether the bytes arrive is not looked at: the caller learns only whether the file was opened.
  std::fwrite(data, size, 1, file);
  std::fclose(file);
  return true;
}

std::string to_comma_separated_string(const std::vector<int>& values) {
  std::string text;
  for (const int value : values) {
    if (!text.empty()) text += ',';
    text += std::to_string(value);
  }
  return text;
}

}  // namespace msg_tarvel::common_util
