#pragma once
// The named sections of an ELF executable. On a Mac a privileged helper
// carries its Info.plist and launchd.plist in the Mach-O sections
// __TEXT,__info_plist and __TEXT,__launchd_plist; the Linux build puts the
// same bytes in ELF sections of those names, and this reads them the way the
// installer reads the Mach-O ones: from the section headers, without running
// or loading the file.
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

class ElfImage {
 public:
  // nullopt with `error` set for anything but a well-formed 64-bit
  // little-endian ELF file whose section table lies within the file.
  static std::optional<ElfImage> parse(std::string bytes, std::string& error);
  static std::optional<ElfImage> read(const std::string& path, std::string& error);

  std::optional<std::string_view> section(const std::string& name) const;
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::map<std::string, std::pair<size_t, size_t>> sections_;  // name -> offset, size
};
