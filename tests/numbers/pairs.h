#pragma once

// Pairs of addresses from around the world, for a page that says which of them a device takes for
// one person's. Where regulators keep numbers for films and plays, those are used.

#include <string>

namespace msg_tarvel::numbers {

struct Pair {
  /** The device's: what its users write without a calling code belongs there. */
  const char* country;
  const char* one;
  const char* other;
  const char* what;
  /** Whether both are one subscriber's, as someone knows who knows every numbering plan. */
  bool isSame;
};

constexpr Pair PAIRS[] = {
    {"US", "+14155550100", "4155550100", "international and national", true},
    {"US", "+14155550100", "14155550100", "trunk prefix 1", true},
    {"US", "+14155550100", "5550100", "national and local", false},
    {"US", "+14155550100", "+12125550100", "another area, the same local number", false},
    {"US", "4155550100", "2125550100", "another area, both national", false},
    {"US", "+14155550100", "+14155550101", "another last digit", false},
    {"US", "+442079460100", "011442079460100", "dialled abroad with 011", true},
    {"US", "+442079460100", "00442079460100", "dialled abroad with 00", false},
    {"US", "+442079460100", "02079460100", "a foreign national number", false},
    {"US", "(415) 555-0100", "+14155550100", "punctuation", true},
    {"US", "+1 415 555 0100", "+14155550100", "blanks", true},
    {"US", "+14155550100;ext=5", "+14155550100", "with and without an extension", false},
    {"US", "+14155550100;ext=5", "+14155550100 x5", "one extension in two forms", true},
    {"US", "1800FLOWERS", "18003569377", "letters for digits", true},
    {"US", "+18005550100", "8005550100", "free of charge", true},
    {"US", "262966", "262966", "short code", true},
    {"US", "262966", "+1262966", "short code with a calling code", true},
    {"US", "262966", "+14155262966", "a number that ends in a short code", false},
    {"US", "911", "911", "emergency", true},
    {"US", "*611", "611", "service of the network", true},
    {"US", "BANK", "bank", "a name in capitals and not", false},
    {"CA", "+16135550100", "6135550100", "international and national", true},
    {"GB", "+442079460100", "02079460100", "international and national", true},
    {"GB", "+447700900100", "07700900100", "mobile, international and national", true},
    {"GB", "+447700900100", "00447700900100", "dialled with 00", true},
    {"GB", "+44(0)7700900100", "+447700900100", "trunk prefix in parentheses", true},
    {"GB", "79460100", "+442079460100", "local and international", false},
    {"GB", "07700900100", "+337700900100", "the same digits in another country", false},
    {"DE", "+491713920012", "01713920012", "mobile, international and national", true},
    {"DE", "+4930230012", "030230012", "short, international and national", true},
    {"FR", "+33639980012", "0639980012", "international and national", true},
    {"FR", "+33639980012", "+49639980012", "the same digits in another country", false},
    {"FR", "0639980012", "0033639980012", "dialled with 00", true},
    {"IT", "+390612345678", "0612345678", "the 0 belongs to the number", true},
    {"IT", "+393123456789", "3123456789", "mobile without 0", true},
    {"ES", "+34612345678", "612345678", "no trunk prefix, nine digits", true},
    {"HU", "+36301234567", "06301234567", "trunk prefix 06", true},
    {"LT", "+37061234567", "861234567", "trunk prefix 8", true},
    {"RU", "+79161234567", "89161234567", "trunk prefix 8", true},
    {"DK", "+4520123456", "20123456", "eight digits", true},
    {"SG", "+6581234567", "81234567", "eight digits", true},
    {"HK", "+85251234567", "51234567", "eight digits", true},
    {"IS", "+3546111234", "6111234", "seven digits", true},
    {"KR", "+821012345678", "01012345678", "international and national", true},
    {"KR", "01012345678", "1012345678", "without the trunk prefix", true},
    {"KR", "+821012345678", "00821012345678", "dialled with 00", false},
    {"JP", "+819012345678", "09012345678", "international and national", true},
    {"JP", "+819012345678", "010819012345678", "dialled with 010", true},
    {"CN", "+8613812345678", "13812345678", "no trunk prefix", true},
    {"IN", "+919876543210", "09876543210", "trunk prefix 0", true},
    {"IN", "+919876543210", "9876543210", "ten digits", true},
    {"AU", "+61491570156", "0491570156", "international and national", true},
    {"AU", "+61491570156", "001161491570156", "dialled with 0011", true},
    {"BR", "+5511961234567", "011961234567", "trunk prefix 0", true},
    {"BR", "+5511961234567", "01511961234567", "with the code of a carrier", true},
    {"MX", "+525512345678", "5512345678", "ten digits", true},
    {"MX", "+525512345678", "+5215512345678", "with the 1 that mobiles had", true},
    {"AR", "+5491123456789", "0111523456789", "15 for mobiles at home, 9 from abroad", true},
    {"ZA", "+27821234567", "0821234567", "international and national", true},
    {"NG", "+2348031234567", "08031234567", "international and national", true},
    {"EG", "+201001234567", "01001234567", "international and national", true},
    {"EG", "+201001234567", "٠١٠٠١٢٣٤٥٦٧", "Arabic digits", true},
};

}  // namespace msg_tarvel::numbers
