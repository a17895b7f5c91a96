#include "ElfImage.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace {

// Offset and length both within a file of `size` bytes, without overflow.
bool fits(uint64_t offset, uint64_t length, size_t size) {
  return offset <= size && length <= size - offset;
}

}  // namespace

std::optional<ElfImage> ElfImage::parse(std::string bytes, std::string& error) {
  Elf64_Ehdr header;
  if (bytes.size() < sizeof header || memcmp(bytes.data(), ELFMAG, SELFMAG) != 0) {
    error = "not an ELF file";
    return std::nullopt;
  }
  memcpy(&header, bytes.data(), sizeof header);
  if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB) {
    error = "not a 64-bit little-endian ELF file";
    return std::nullopt;
  }
  if (header.e_shoff == 0 || header.e_shentsize != sizeof(Elf64_Shdr)) {
    error = "no section header table";
    return std::nullopt;
  }
  auto sectionHeader = [&](uint64_t index, Elf64_Shdr& out) {
    if (header.e_shoff > bytes.size() ||
        index >= (bytes.size() - header.e_shoff) / sizeof(Elf64_Shdr)) {
      return false;
    }
    memcpy(&out, bytes.data() + header.e_shoff + index * sizeof(Elf64_Shdr), sizeof out);
    return true;
  };

  // Counts past the 16-bit fields live in the first section header.
  Elf64_Shdr first;
  if (!sectionHeader(0, first)) {
    error = "section header table lies outside the file";
    return std::nullopt;
  }
  uint64_t count = header.e_shnum ? header.e_shnum : first.sh_size;
  uint64_t namesIndex = header.e_shstrndx == SHN_XINDEX ? first.sh_link : header.e_shstrndx;
  Elf64_Shdr names;
  if (namesIndex >= count || !sectionHeader(count - 1, names) ||
      !sectionHeader(namesIndex, names) || names.sh_type == SHT_NOBITS ||
      !fits(names.sh_offset, names.sh_size, bytes.size())) {
    error = "malformed section header table";
    return std::nullopt;
  }

  ElfImage image;
  for (uint64_t i = 0; i < count; ++i) {
    Elf64_Shdr section;
    sectionHeader(i, section);
    if (section.sh_name >= names.sh_size) continue;
    const char* name = bytes.data() + names.sh_offset + section.sh_name;
    size_t nameLength = strnlen(name, names.sh_size - section.sh_name);
    if (nameLength == names.sh_size - section.sh_name) continue;  // not terminated
    if (section.sh_type == SHT_NOBITS || !fits(section.sh_offset, section.sh_size, bytes.size())) {
      continue;
    }
    image.sections_.emplace(std::string(name, nameLength),
                            std::make_pair(section.sh_offset, section.sh_size));
  }
  image.bytes_ = std::move(bytes);
  return image;
}

std::optional<ElfImage> ElfImage::read(const std::string& path, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = "cannot read " + path + ": " + strerror(errno);
    return std::nullopt;
  }
  return parse(std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()),
               error);
}

std::optional<std::string_view> ElfImage::section(const std::string& name) const {
  auto it = sections_.find(name);
  if (it == sections_.end()) return std::nullopt;
  return std::string_view(bytes_).substr(it->second.first, it->second.second);
}
