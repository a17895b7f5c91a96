// The housekeeping family called in-process: what it and its handlers answer
// to a missing message.
#include "CFTestSupport.h"
#include "LogCapture.h"
#include "MiscConfigurationSettings.h"

namespace {

const char kNoCommand[] = "No command object was provided while handling misc configuration commands!";

class MiscConfigurationSettingsTest : public CFTest {
 protected:
  LogCapture log;
  MiscConfigurationSettings family{log.logger()};
};

TEST_F(MiscConfigurationSettingsTest, NoMessageGetsNoReply) {
  EXPECT_EQ(family.handleCommand("deletessidconfiguration", nullptr), nullptr);
  EXPECT_TRUE(log.saw(4, kNoCommand));
  using Self = MiscConfigurationSettings;
  const char kNoSsidRequest[] =
      "No command object was provided while attempting to delete a network configuration for an SSID!";
  const std::pair<xpc_object_t (Self::*)(xpc_object_t), const char*> handlers[] = {
      {&Self::installZipToApplicationFolder,
       "No command object was provided while attempting to install a .zip to the application folder!"},
      {&Self::deleteFileAsRoot, "No command object was provided while attempting to delete a file as root!"},
      {&Self::deleteNetworkConfigForSsid, kNoSsidRequest},
      {&Self::removeHelperApp, "The message provided to removeHelperApp() was NULL!"},
      {&Self::deleteProfilesForSsid, kNoSsidRequest},
  };
  for (const auto& [handler, text] : handlers) {
    EXPECT_EQ((family.*handler)(nullptr), nullptr) << text;
    EXPECT_TRUE(log.saw(4, text)) << text;
  }
}

}  // namespace
