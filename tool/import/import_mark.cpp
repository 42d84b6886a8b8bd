#include "import/import_mark.h"

#include <glib.h>

#include <algorithm>
#include <vector>

#include "helpers/same_address.h"

namespace msg_tarvel::tool {

namespace {

/** So many last digits tell numbers apart, on every device alike. */
constexpr std::size_t TELLING_DIGITS = 8;

/** A digest of fields: no two lists of them give the same one. */
class Fingerprint {
 public:
  void add(const std::string& field) { _fields += std::to_string(field.size()) + ":" + field; }
  std::string text() const {
    char* const digest = g_compute_checksum_for_string(G_CHECKSUM_SHA256, _fields.data(),
                                                       static_cast<gssize>(_fields.size()));
    std::string text(digest);
    g_free(digest);
    return text;
  }

 private:
  std::string _fields;
};

std::string mark_of(const BackupMessage& message, const std::vector<std::string>& addresses,
                    const std::string& text) {
  Fingerprint fingerprint;
  fingerprint.add(message.isMultimedia ? "mms" : "sms");
  fingerprint.add(message.box);
  fingerprint.add(message.date);
  fingerprint.add(std::to_string(addresses.size()));
  for (const std::string& address : addresses) fingerprint.add(address);
  fingerprint.add(text);
  fingerprint.add(message.subject);
  for (const BackupPart& part : message.parts) {
    fingerprint.add(part.contentType);
    fingerprint.add(part.payload.digest);
  }
  return "import:" + fingerprint.text();
}

}  // namespace

std::string import_mark_of(const BackupMessage& message, const NamedPeople& people,
                           const std::string& text) {
  std::vector<std::string> addresses = named_addresses(people);
  for (std::string& address : addresses) {
    const bool isLong = address.size() > TELLING_DIGITS && helpers::is_phone_number(address);
    if (isLong) address.erase(0, address.size() - TELLING_DIGITS);
  }
  std::sort(addresses.begin(), addresses.end());
  addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
  return mark_of(message, addresses, text);
}

std::string former_import_mark_of(const BackupMessage& message, const NamedPeople& people,
                                  const std::string& text) {
  return mark_of(message, named_addresses(people), text == "null" ? std::string() : text);
}

}  // namespace msg_tarvel::tool
