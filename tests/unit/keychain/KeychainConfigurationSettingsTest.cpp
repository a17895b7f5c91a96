// The keychain family called in-process: what its handlers and the family
// contract answer to a missing message, which no request can send.
#include "CFTestSupport.h"
#include "KeychainConfigurationSettings.h"
#include "LogCapture.h"

namespace {

TEST(KeychainConfigurationSettingsTest, NoMessageGetsNoReplyAnywhere) {
  LogCapture log;
  KeychainConfigurationSettings family(log.logger());
  using Self = KeychainConfigurationSettings;
  const char kInstall[] =
      "No command object was provided while attempting to install a CA certificate to the system store!";
  const std::pair<Self::Handler, const char*> handlers[] = {
      {&Self::create8021XPasswordEntry,
       "No command object was provided while attempting to create an 802.1X password entry!"},
      {&Self::delete8021XPasswordEntry,
       "No command object was provided while attempting to delete an 802.1X password entry!"},
      {&Self::installCaCertificateToSystemStore, kInstall},
      {&Self::deleteCertifcateFromSystemStore,
       "No command object was provided while attempting to delete a certificate from the system store!"},
      {&Self::certificateExistsByLabel,
       "No command object was provided while attempting to check if a certificate exists!"},
      {&Self::installCaCertificateToSystemStoreWithSecurityCmd, kInstall},
  };
  for (const auto& [handler, text] : handlers) {
    EXPECT_EQ((family.*handler)(nullptr), nullptr) << text;
    EXPECT_TRUE(log.saw(4, text)) << text;
  }
  EXPECT_EQ(family.handleCommand("InstallSystemCACert", nullptr), nullptr);
  EXPECT_TRUE(
      log.saw(4, "No command object was provided while attempting to handle commands for keychain settings!"));
}

}  // namespace
