#pragma once

#include <string>

#include "print/json.h"
#include "store/database.h"

namespace msg_tarvel::tool {

// Rows as JSON objects of their columns, so that each value comes back as it was. What JSON has no
// word for is an object of one field: {"blob": base64}, {"text": base64} for a text that is not
// UTF-8, {"real": "Infinity"} or {"real": "-Infinity"}.

/**
 * Throws Failure for an integer of more than 64 bits in `json`, which is well formed: what parses
 * it makes another number of it.
 */
void refuse_wide_integers(const std::string& json);

/** The row that `rows` has come to. */
Json row_of(const Rows& rows);

/**
 * Binds a value to a parameter of a statement. Throws Failure for what row_of does not write.
 */
void bind_json(const Rows& rows, int parameter, const Json& value);

}  // namespace msg_tarvel::tool
