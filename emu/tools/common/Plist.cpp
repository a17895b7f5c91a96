#include "Plist.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>

Plist& Plist::operator=(Plist&& other) noexcept {
  if (this != &other) {
    if (node_) plist_free(node_);
    node_ = std::exchange(other.node_, nullptr);
  }
  return *this;
}

Plist::~Plist() {
  if (node_) plist_free(node_);
}

Plist Plist::parse(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return Plist();
  plist_t node = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &node);
  return Plist(node);
}

Plist Plist::load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return Plist();
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return parse(bytes);
}

std::string Plist::toXml() const {
  if (!node_) return {};
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(node_, &xml, &length);
  std::string result(xml ? xml : "", xml ? length : 0);
  plist_to_xml_free(xml);
  return result;
}

plist_t Plist::child(plist_t dict, const char* key, plist_type type) {
  if (!dict || plist_get_node_type(dict) != PLIST_DICT) return nullptr;
  plist_t node = plist_dict_get_item(dict, key);
  return node && plist_get_node_type(node) == type ? node : nullptr;
}

std::optional<std::string> Plist::string(plist_t dict, const char* key) {
  plist_t node = child(dict, key, PLIST_STRING);
  if (!node) return std::nullopt;
  uint64_t length = 0;
  const char* value = plist_get_string_ptr(node, &length);
  return std::string(value, length);
}

std::optional<bool> Plist::boolean(plist_t dict, const char* key) {
  plist_t node = child(dict, key, PLIST_BOOLEAN);
  if (!node) return std::nullopt;
  uint8_t value = 0;
  plist_get_bool_val(node, &value);
  return value != 0;
}

std::optional<int64_t> Plist::integer(plist_t dict, const char* key) {
  plist_t node = child(dict, key, PLIST_UINT);
  if (!node) return std::nullopt;
  uint64_t value = 0;
  plist_get_uint_val(node, &value);
  return static_cast<int64_t>(value);
}

std::optional<std::vector<std::string>> Plist::strings(plist_t dict, const char* key) {
  plist_t array = child(dict, key, PLIST_ARRAY);
  if (!array) return std::nullopt;
  std::vector<std::string> result;
  for (uint32_t i = 0; i < plist_array_get_size(array); ++i) {
    plist_t item = plist_array_get_item(array, i);
    if (plist_get_node_type(item) != PLIST_STRING) return std::nullopt;
    uint64_t length = 0;
    const char* value = plist_get_string_ptr(item, &length);
    result.emplace_back(value, length);
  }
  return result;
}

std::vector<std::pair<std::string, plist_t>> Plist::entries(plist_t dict) {
  std::vector<std::pair<std::string, plist_t>> result;
  if (!dict || plist_get_node_type(dict) != PLIST_DICT) return result;
  plist_dict_iter it = nullptr;
  plist_dict_new_iter(dict, &it);
  for (;;) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(dict, it, &key, &value);
    if (!key) break;
    result.emplace_back(key, value);
    free(key);
  }
  free(it);
  return result;
}
