// Process entry: the Mach-service listener and the per-peer event handlers.
// launchd starts the helper on demand; it runs until "terminate" or until the
// system stops it.
//
// Every event, the listener's and every peer's, is handled on the main queue,
// one at a time: commands never overlap, whatever the number of clients, so
// they cannot interleave in the stores, the capture files or the log stream.

#include <dispatch/dispatch.h>
#include <os/log.h>
#include <xpc/xpc.h>

#include <cstdlib>
#include <iostream>

#include "ClientRequirement.h"
#include "ClientVerifier.h"
#include "Logger.h"
#include "XpcCommandHandler.h"

// Constructed before main in this order (after the standard streams above),
// destroyed in reverse at exit.
static Logger logger;
static XpcCommandHandler cmdHandler(&logger);

static void handlePeerEvent(xpc_connection_t peer, xpc_object_t event) {
  xpc_type_t type = xpc_get_type(event);
  // What this peer's message causes is logged to this peer.
  if (type != XPC_TYPE_ERROR) logger.setRequestConnection(peer);
  logger.addLine(LogLevel::Progress, "Got peer event..");

  if (type == XPC_TYPE_ERROR) {
    // Whichever peer raised it, the one log stream is detached.
    logger.setXpcConnection(nullptr);
    if (event == XPC_ERROR_CONNECTION_INVALID) {
      logger.addLine(LogLevel::Error, "Got a connection invalid event!");
    } else if (event == XPC_ERROR_TERMINATION_IMMINENT) {
      logger.addLine(LogLevel::Progress, "Got a 'termination imminent' event!");
    } else {
      logger.addLine(LogLevel::Progress, "Unknown/unexpected error event type!");
    }
  } else if (type == XPC_TYPE_DICTIONARY) {
    logger.addLine(LogLevel::Progress, "Got a dictionary...");
    cmdHandler.handleCommand(peer, event);
  } else {
    logger.addLine(LogLevel::Progress, "Unexpected type of data passed to our service handler!!!");
  }
  logger.setRequestConnection(nullptr);
}

// Whether the new peer may talk to the helper. A refused peer is cancelled
// before any of its messages is handled; one line says who and why.
static bool admit(const ClientVerifier* verifier, xpc_connection_t peer) {
  if (verifier == nullptr) return true;
  std::string refusal = verifier->refusal(peer);
  if (refusal.empty()) {
    verifier->enforceOnEveryMessage(peer);
    return true;
  }
  os_log_error(OS_LOG_DEFAULT, "%{public}s", refusal.c_str());
  logger.addLine(LogLevel::Error, refusal);
  xpc_connection_set_event_handler(peer, ^(xpc_object_t) {
  });
  xpc_connection_resume(peer);
  xpc_connection_cancel(peer);
  return false;
}

static void handleListenerEvent(const ClientVerifier* verifier, xpc_object_t event) {
  xpc_type_t type = xpc_get_type(event);
  os_log(OS_LOG_DEFAULT, "Got connection handler event.");
  logger.addLine(LogLevel::Progress, "Got connection handler event.");

  if (type == XPC_TYPE_CONNECTION) {
    xpc_connection_t peer = static_cast<xpc_connection_t>(event);
    if (!admit(verifier, peer)) return;
    // Until the greeting below, lines reach nobody: the old client has been
    // detached and the new one is not attached yet.
    logger.setXpcConnection(nullptr);
    logger.addLine(LogLevel::Progress, "Got a new connection..");
    xpc_connection_set_target_queue(peer, dispatch_get_main_queue());
    xpc_connection_set_event_handler(peer, ^(xpc_object_t peerEvent) {
      handlePeerEvent(peer, peerEvent);
    });
    logger.addLine(LogLevel::Progress, "Set an event handler.");
    xpc_connection_resume(peer);
    logger.addLine(LogLevel::Progress, "Called resume...");
    logger.setXpcConnection(peer);
    logger.addLine(LogLevel::Progress, "Hello from the helper app!");
  } else if (type != XPC_TYPE_ERROR) {
    os_log(OS_LOG_DEFAULT, "Unexpected message came in on the primary connection!");
    logger.addLine(LogLevel::Error, "Unexpected message came in on the primary connection!");
  } else if (event == XPC_ERROR_CONNECTION_INTERRUPTED) {
    logger.setXpcConnection(nullptr);
    logger.addLine(LogLevel::Error, "Got a connection interrupted error.");
  } else if (event == XPC_ERROR_CONNECTION_INVALID) {
    logger.setXpcConnection(nullptr);
    logger.addLine(LogLevel::Error, "Got a connection invalid error!");
  } else {
    const char* description = xpc_dictionary_get_string(event, XPC_ERROR_KEY_DESCRIPTION);
    if (description != nullptr) {
      logger.addLine(LogLevel::Error, std::string("(Mac) XPC Error : ") + description);
    } else {
      std::cout << "There was no error description in our error message?!" << std::endl;
      logger.addLine(LogLevel::Error, "There was no error description in our error message!?");
    }
  }
}

int main(int /*argc*/, const char* /*argv*/[]) {
  xpc_connection_t listener = xpc_connection_create_mach_service(
      MACHELPER_SERVICE_LABEL, dispatch_get_main_queue(), XPC_CONNECTION_MACH_SERVICE_LISTENER);
  if (listener == nullptr) {
    // No client is attached yet, so this line reaches nobody.
    logger.addLine(LogLevel::Progress, "Failed to start the mach service!");
    exit(1);
  }

  // Lives as long as the process: dispatch_main() never returns.
  ClientVerifier clientVerifier(MACHELPER_CLIENT_REQUIREMENT);
  const ClientVerifier* verifier = MACHELPER_CHECK_CLIENTS ? &clientVerifier : nullptr;

  logger.addLine(LogLevel::Progress, "Configuring connection event handler for helper!");
  xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
    handleListenerEvent(verifier, event);
  });
  logger.addLine(LogLevel::Progress, "Calling resume.");
  xpc_connection_resume(listener);
  logger.addLine(LogLevel::Progress, "Calling dispatch_main().");
  dispatch_main();
}
