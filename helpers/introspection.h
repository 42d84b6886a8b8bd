#pragma once

#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <string>

namespace msg_tarvel::helpers {

/** The interface that the owner of a message store offers on a bus. */
constexpr const char* OWNER_INTERFACE = "org.tarvel.Messages";

/**
 * OWNER_INTERFACE as D-Bus describes interfaces: every command of the registry with the signature
 * that the registry gives, and what a call is answered with.
 */
std::string introspection_xml(const MsgIPC& registry);

}  // namespace msg_tarvel::helpers
