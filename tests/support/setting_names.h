#pragma once

// The device's settings that the library reads.

namespace msg_tarvel {

constexpr const char* MIN_MATCH = "db/contacts-svc/phonenumber_min_match_digit";
constexpr const char* STANDALONE = "db/setup_wizard/standalone";
constexpr const char* COUNTRY = "db/csc/country_iso";
constexpr const char* SALES_CODE = "db/csc/salescode";

}  // namespace msg_tarvel
