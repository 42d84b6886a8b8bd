#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * One SIM card known to the device: a row of msg_sim_table.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT SimInfo {
 public:
  SimInfo();
  SimInfo(const SimInfo& other);
  /** Leaves `other` equal to a default SimInfo. */
  SimInfo(SimInfo&& other);
  ~SimInfo();
  SimInfo& operator=(SimInfo other);

  MSG_TARVEL_EXPORT friend void swap(SimInfo& a, SimInfo& b) noexcept;

  int32_t id = 0;
  /** -1: no SIM. */
  int32_t simIndex = -1;
  int32_t storageId = 0;
  std::string imsi;
  /** The SIM's own number. */
  std::string address;
};

MSG_TARVEL_EXPORT void swap(SimInfo& a, SimInfo& b) noexcept;

}  // namespace msg_tarvel
