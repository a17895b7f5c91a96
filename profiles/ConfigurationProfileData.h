#pragma once
#include <string>
#include <utility>
#include <vector>

// One configuration profile as far as the Wi-Fi network it configures goes:
// what the installed-profile listing or a profile document says of it.
class ConfigurationProfileData {
 public:
  ConfigurationProfileData() = default;
  ConfigurationProfileData(const ConfigurationProfileData& other) = default;
  ConfigurationProfileData& operator=(const ConfigurationProfileData& other) = default;

  void clear();
  // True when every text field is empty (StringTools::stringIsEmpty).
  bool isEmpty() const;

  std::string getIdentifier() const { return identifier; }
  std::string getProfileName() const { return profileName; }
  std::string getSsidName() const { return ssidName; }
  // A user's short name, or "_computerlevel" for the machine.
  std::string getUsername() const { return username; }
  std::vector<int> getEapTypes() const { return eapTypes; }
  std::string getPayloadUuid() const { return payloadUuid; }
  std::string get80211AuthenticationType() const { return authenticationType; }

  void setIdentifier(std::string value) { identifier = std::move(value); }
  void setProfileName(std::string value) { profileName = std::move(value); }
  void setSsidName(std::string value) { ssidName = std::move(value); }
  void setUsername(std::string value) { username = std::move(value); }
  void setPayloadUuid(std::string value) { payloadUuid = std::move(value); }
  void set80211AuthenticationType(std::string value) { authenticationType = std::move(value); }
  void addEapType(int type) { eapTypes.push_back(type); }

 private:
  std::string identifier;
  std::string profileName;
  std::string ssidName;
  std::string username;
  std::vector<int> eapTypes;
  std::string payloadUuid;
  std::string authenticationType;
};
