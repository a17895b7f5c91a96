#include "RequestLimits.h"

#include <climits>
#include <cstring>

const size_t RequestLimits::kMaxPathLength = PATH_MAX;
const size_t RequestLimits::kMaxValueLength = 64 * 1024;

namespace {

bool isPathArgument(const char* key) {
  return std::strcmp(key, "MobileConfigPath") == 0 || std::strcmp(key, "ZipFile") == 0 ||
         std::strcmp(key, "File") == 0;
}

// Whether a string or data value, or one inside an array or dictionary, is
// longer than `limit`.
bool exceeds(xpc_object_t value, size_t limit) {
  xpc_type_t type = xpc_get_type(value);
  if (type == XPC_TYPE_STRING) return xpc_string_get_length(value) > limit;
  if (type == XPC_TYPE_DATA) return xpc_data_get_length(value) > limit;
  if (type == XPC_TYPE_ARRAY) {
    return !xpc_array_apply(value, ^bool(size_t, xpc_object_t element) { return !exceeds(element, limit); });
  }
  if (type == XPC_TYPE_DICTIONARY) {
    return !xpc_dictionary_apply(value, ^bool(const char*, xpc_object_t element) {
      return !exceeds(element, limit);
    });
  }
  return false;
}

}  // namespace

std::string RequestLimits::check(xpc_object_t message) {
  __block std::string refusal;
  xpc_dictionary_apply(message, ^bool(const char* key, xpc_object_t value) {
    if (!exceeds(value, isPathArgument(key) ? kMaxPathLength : kMaxValueLength)) return true;
    refusal = std::string("The value provided for '") + key + "' is too long to be acted on!";
    return false;
  });
  return refusal;
}
