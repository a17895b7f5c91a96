#include "BackgroundItems.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "Plist.h"

bool BackgroundItems::staysInsideBundle(const std::string& relative) {
  if (relative.empty() || relative.front() == '/') return false;
  for (size_t start = 0; start <= relative.size();) {
    size_t end = relative.find('/', start);
    if (end == std::string::npos) end = relative.size();
    if (relative.compare(start, end - start, "..") == 0) return false;
    start = end + 1;
  }
  return true;
}

std::vector<BackgroundItems::Item> BackgroundItems::load() const {
  std::vector<Item> items;
  Plist file = Plist::load(path_);
  plist_t daemons = Plist::child(file.get(), "Daemons", PLIST_ARRAY);
  for (uint32_t i = 0; daemons && i < plist_array_get_size(daemons); ++i) {
    plist_t entry = plist_array_get_item(daemons, i);
    Item item;
    item.bundle = Plist::string(entry, "Bundle").value_or("");
    item.plist = Plist::string(entry, "Plist").value_or("");
    item.approved = Plist::boolean(entry, "Approved").value_or(false);
    if (item.bundle.empty() || item.plist.empty() || item.plist.find('/') != std::string::npos) continue;
    items.push_back(std::move(item));
  }
  return items;
}

bool BackgroundItems::save(const std::vector<Item>& items, std::string& error) const {
  Plist file(plist_new_dict());
  plist_t daemons = plist_new_array();
  for (const Item& item : items) {
    plist_t entry = plist_new_dict();
    plist_dict_set_item(entry, "Bundle", plist_new_string(item.bundle.c_str()));
    plist_dict_set_item(entry, "Plist", plist_new_string(item.plist.c_str()));
    plist_dict_set_item(entry, "Approved", plist_new_bool(item.approved));
    plist_array_append_item(daemons, entry);
  }
  plist_dict_set_item(file.get(), "Daemons", daemons);
  const std::string xml = file.toXml();
  const std::string temporary = path_ + "-new";
  std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
  out.write(xml.data(), static_cast<std::streamsize>(xml.size()));
  out.close();
  if (!out || rename(temporary.c_str(), path_.c_str()) != 0) {
    error = "cannot write " + path_ + ": " + strerror(errno);
    unlink(temporary.c_str());
    return false;
  }
  return true;
}
