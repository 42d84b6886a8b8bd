#pragma once

#include <memory>
#include <string>

#include "queries/way.h"

namespace msg_tarvel::bench {

/**
 * SQLiteCpp, the C++ wrapper, as its pages show it: a query for the rows and for each row queries
 * for what belongs to it. With `keepsStatements` those that were compiled once are used again.
 */
std::unique_ptr<Way> make_sqlitecpp(const std::string& path, bool keepsStatements);

}  // namespace msg_tarvel::bench
