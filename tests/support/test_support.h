#pragma once

// The fixtures under the name that they had before; for tests that have not moved yet.

namespace msg_tarvel {}

namespace test_support {
using namespace msg_tarvel;  // NOLINT(google-build-using-namespace): an alias cannot be added to
}
