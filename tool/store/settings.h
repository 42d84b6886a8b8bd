#pragma once

namespace msg_tarvel::tool {

/**
 * Throws a Failure when the device's settings that decide which numbers are the same cannot be
 * read: the library would compare in another way then.
 */
void require_settings();

}  // namespace msg_tarvel::tool
