#pragma once
#include <xpc/xpc.h>

#include <string>

// The four reply shapes of the wire protocol, in one place. Each reply is
// created as the reply to its request so that it reaches the request's reply
// handler; every reply carries "Response" and nothing but the keys listed.
// Each builder returns null when the request was sent without expecting a
// reply (there is nothing to reply to then).
namespace ReplyBuilder {

inline constexpr const char* kVersion = "5.0.528";

xpc_object_t pong(xpc_object_t request);
xpc_object_t version(xpc_object_t request);
xpc_object_t error(xpc_object_t request, const std::string& text);
xpc_object_t boolean(xpc_object_t request, bool success);

}  // namespace ReplyBuilder
