// /usr/libexec/PlistBuddy of the fake Mac, for people looking around in it:
// only the Print command, in the Mac tool's own output format.
//
//   PlistBuddy -c "Print[ :Key[:Key|:Index]...]" FILE
#include <plist/plist.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "Plist.h"

namespace {

void print(plist_t node, int depth) {
  std::string indent(4 * (depth + 1), ' ');
  switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
      printf("Dict {\n");
      for (const auto& [key, value] : Plist::entries(node)) {
        printf("%s%s = ", indent.c_str(), key.c_str());
        print(value, depth + 1);
      }
      printf("%s}\n", std::string(4 * depth, ' ').c_str());
      break;
    }
    case PLIST_ARRAY: {
      printf("Array {\n");
      for (uint32_t i = 0; i < plist_array_get_size(node); ++i) {
        printf("%s", indent.c_str());
        print(plist_array_get_item(node, i), depth + 1);
      }
      printf("%s}\n", std::string(4 * depth, ' ').c_str());
      break;
    }
    case PLIST_STRING: {
      char* text = nullptr;
      plist_get_string_val(node, &text);
      printf("%s\n", text);
      free(text);
      break;
    }
    case PLIST_UINT: {
      uint64_t value = 0;
      plist_get_uint_val(node, &value);
      // libplist keeps signed integers in the same node type.
      printf("%lld\n", static_cast<long long>(value));
      break;
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      printf("%f\n", value);
      break;
    }
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      printf("%s\n", value ? "true" : "false");
      break;
    }
    case PLIST_DATE: {
      int32_t seconds = 0, microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      time_t unixTime = seconds + 978307200;  // property-list dates count from 2001
      char text[64];
      strftime(text, sizeof text, "%a %b %d %H:%M:%S UTC %Y", gmtime(&unixTime));
      printf("%s\n", text);
      break;
    }
    case PLIST_DATA: {
      char* bytes = nullptr;
      uint64_t length = 0;
      plist_get_data_val(node, &bytes, &length);
      fwrite(bytes, 1, length, stdout);
      printf("\n");
      free(bytes);
      break;
    }
    default: printf("\n");
  }
}

// The node at ":A:B:0", or null.
plist_t find(plist_t node, const std::string& path) {
  size_t at = 0;
  while (node != nullptr && at < path.size()) {
    size_t next = path.find(':', at + 1);
    std::string part = path.substr(at + 1, next == std::string::npos ? std::string::npos : next - at - 1);
    if (plist_get_node_type(node) == PLIST_DICT) {
      node = plist_dict_get_item(node, part.c_str());
    } else if (plist_get_node_type(node) == PLIST_ARRAY && !part.empty() &&
               part.find_first_not_of("0123456789") == std::string::npos) {
      node = plist_array_get_item(node, static_cast<uint32_t>(std::stoul(part)));
    } else {
      node = nullptr;
    }
    at = next == std::string::npos ? path.size() : next;
  }
  return node;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 4 || std::string(argv[1]) != "-c" || std::string(argv[2]).rfind("Print", 0) != 0) {
    fprintf(stderr, "Usage: PlistBuddy -c \"Print[ :Entry]\" <file.plist>\n"
                    "(this fake Mac's PlistBuddy knows the Print command only)\n");
    return 1;
  }
  Plist plist = Plist::load(argv[3]);
  if (!plist) {
    fprintf(stderr, "Error Reading File: %s\n", argv[3]);
    return 1;
  }
  std::string command = argv[2];
  std::string path = command.size() > 6 ? command.substr(6) : "";
  plist_t node = find(plist.get(), path);
  if (node == nullptr) {
    fprintf(stderr, "Print: Entry, \"%s\", Does Not Exist\n", path.c_str());
    return 1;
  }
  print(node, 0);
  return 0;
}
