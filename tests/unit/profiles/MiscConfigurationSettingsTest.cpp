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
  EXPECT_EQ(family.deleteNetworkConfigForSsid(nullptr), nullptr);
  EXPECT_TRUE(log.saw(4, "No command object was provided while attempting to delete a network configuration for "
                         "an SSID!"));
}

}  // namespace
