#include "ReplyBuilder.h"

namespace ReplyBuilder {
namespace {

xpc_object_t withResponse(xpc_object_t request, const char* response) {
  xpc_object_t reply = xpc_dictionary_create_reply(request);
  if (reply != nullptr) xpc_dictionary_set_string(reply, "Response", response);
  return reply;
}

}  // namespace

xpc_object_t pong(xpc_object_t request) { return withResponse(request, "pong"); }

xpc_object_t version(xpc_object_t request) { return withResponse(request, kVersion); }

xpc_object_t error(xpc_object_t request, const std::string& text) {
  xpc_object_t reply = withResponse(request, "error");
  if (reply != nullptr) xpc_dictionary_set_string(reply, "Error", text.c_str());
  return reply;
}

xpc_object_t boolean(xpc_object_t request, bool success) {
  xpc_object_t reply = withResponse(request, "Boolean");
  if (reply != nullptr) xpc_dictionary_set_bool(reply, "Success", success);
  return reply;
}

}  // namespace ReplyBuilder
