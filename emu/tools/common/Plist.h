#pragma once
// An owned libplist tree with typed lookups for the fake Mac's tools, which
// read launchd job definitions and bundle Info.plists.
#include <plist/plist.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Plist {
 public:
  Plist() = default;
  explicit Plist(plist_t node) : node_(node) {}
  Plist(Plist&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  Plist& operator=(Plist&& other) noexcept;
  Plist(const Plist&) = delete;
  Plist& operator=(const Plist&) = delete;
  ~Plist();

  // XML or binary; empty when the bytes are not a property list.
  static Plist parse(std::string_view bytes);
  static Plist load(const std::string& path);

  explicit operator bool() const { return node_ != nullptr; }
  plist_t get() const { return node_; }
  bool isDict() const { return node_ && plist_get_node_type(node_) == PLIST_DICT; }
  std::string toXml() const;

  // Lookups in a dictionary node. Absent keys and values of another type
  // read as nullopt / nullptr, so callers handle both the same way.
  static plist_t child(plist_t dict, const char* key, plist_type type);
  static std::optional<std::string> string(plist_t dict, const char* key);
  static std::optional<bool> boolean(plist_t dict, const char* key);
  static std::optional<int64_t> integer(plist_t dict, const char* key);
  // nullopt unless every element is a string.
  static std::optional<std::vector<std::string>> strings(plist_t dict, const char* key);
  static std::vector<std::pair<std::string, plist_t>> entries(plist_t dict);

 private:
  plist_t node_ = nullptr;
};
