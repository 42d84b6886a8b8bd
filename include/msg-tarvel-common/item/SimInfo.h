#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * One SIM card known to the device: a row of msg_sim_table, which the owner of the store writes.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT SimInfo {
 public:
  SimInfo();
  /** Throws std::bad_alloc. */
  SimInfo(const SimInfo& other);
  /** Leaves `other` equal to a default SimInfo. */
  SimInfo(SimInfo&& other);
  ~SimInfo();
  /** Copies or moves, as the argument was given. */
  SimInfo& operator=(SimInfo other);

  MSG_TARVEL_EXPORT friend void swap(SimInfo& a, SimInfo& b) noexcept;

  /** Key of the row. */
  int32_t id = 0;
  /** What messages name the card by (Message::simIndex); -1: no SIM. */
  int32_t simIndex = -1;
  /** The card's storage; carried as stored. */
  int32_t storageId = 0;
  /** The card's IMSI, from the column Imsi. */
  std::string imsi;
  /** The card's own number, from the column Address. */
  std::string address;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(SimInfo& a, SimInfo& b) noexcept;

}  // namespace msg_tarvel
