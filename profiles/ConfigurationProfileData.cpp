#include "ConfigurationProfileData.h"

#include "StringTools.h"

void ConfigurationProfileData::clear() { *this = ConfigurationProfileData(); }

bool ConfigurationProfileData::isEmpty() const {
  for (const std::string* text :
       {&identifier, &profileName, &ssidName, &username, &payloadUuid, &authenticationType}) {
    if (!xpc::StringTools::stringIsEmpty(*text)) return false;
  }
  return true;
}
