#pragma once

#include "helpers/introspection.h"

// Where the owner of the message store is found on the bus.

namespace msg_tarvel::handover {

constexpr const char* BUS_NAME = "org.tarvel.Messages";
constexpr const char* OBJECT_PATH = "/org/tarvel/Messages";
constexpr const char* INTERFACE = helpers::OWNER_INTERFACE;

}  // namespace msg_tarvel::handover
