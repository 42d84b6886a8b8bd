#include "store/store_place.h"

#include <cstdlib>
#include <fstream>

namespace msg_tarvel::bench {

void use_store_in(const std::string& folder) {
  const std::string settings = folder + "/settings.ini";
  if (!std::ifstream(settings)) std::ofstream(settings) << "[db/csc]\nsalescode=ATT\n";
  // Nothing else runs yet.
  setenv("MSG_TARVEL_SETTINGS", settings.c_str(), 1);        // NOLINT(concurrency-mt-unsafe)
  setenv("MSG_TARVEL_DATA_DIR", (folder + "/").c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace msg_tarvel::bench
