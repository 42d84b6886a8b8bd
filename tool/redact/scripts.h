#pragma once

#include "generate/chance.h"

namespace msg_tarvel::tool {

/**
 * A character of the same script and case, as long in UTF-8; digits for digits, pictures for
 * pictures. What joins or shapes characters stays, and so do blanks, controls and, unless asked
 * for, punctuation.
 */
char32_t other_character(char32_t character, Chance& chance, bool withPunctuation);

}  // namespace msg_tarvel::tool
