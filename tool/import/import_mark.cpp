#include "import/import_mark.h"

#include <glib.h>

#include <algorithm>
#include <vector>

#include "helpers/same_address.h"

namespace msg_tarvel::tool {

namespace {

/** So many last digits tell numbers apart, on every device alike. */
constexpr std::size_t TELLING_DIGITS = 8;

/** Adds fields to a digest so that no two lists of fields give the same one. */
class Fingerprint {
 public:
  Fingerprint() : _checksum(g_checksum_new(G_CHECKSUM_SHA256)) {}
  Fingerprint(const Fingerprint&) = delete;
  Fingerprint& operator=(const Fingerprint&) = delete;
  ~Fingerprint() { g_checksum_free(_checksum); }

  void add(const std::string& field) {
    const std::string length = std::to_string(field.size()) + ":";
    for (const std::string* piece : {&length, &field}) {
      g_checksum_update(_checksum, reinterpret_cast<const guchar*>(piece->data()),
                        static_cast<gssize>(piece->size()));
    }
  }
  std::string text() { return g_checksum_get_string(_checksum); }

 private:
  GChecksum* _checksum;
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
