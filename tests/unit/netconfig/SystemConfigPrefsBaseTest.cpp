// A preferences session on its own: what a read-only one refuses, how it
// binds to a protocol, and what an unbound one answers.
#include <string>
#include <vector>

#include "NetconfigTestSupport.h"
#include "SystemConfigPrefsBase.h"

namespace {

using xpc::SystemConfigPrefsBase;

class SystemConfigPrefsBaseTest : public CFTest {
 protected:
  LogCapture log;
};

TEST_F(SystemConfigPrefsBaseTest, AReadOnlySessionReadsButNeverWrites) {
  std::string before = fileBytes(kPreferencesPlist);
  SystemConfigPrefsBase session(log.logger(), true);
  EXPECT_TRUE(log.saw(5, "Getting read-only handle to the settings."));
  ASSERT_TRUE(session.acquireProtocolHandle(kWiFi, kSCNetworkProtocolTypeIPv6));

  bool enabled = false;
  EXPECT_TRUE(session.isProtocolEnabled(enabled));
  EXPECT_TRUE(enabled);
  EXPECT_TRUE(log.saw(5, "--> Desired protocol is enabled."));

  EXPECT_FALSE(session.setProtocolEnabled(false));
  EXPECT_EQ(log.take(), (std::vector<LogLine>{
                            {4, "The system configuration preferences object was allocated as read-only, but "
                                "signaled an intent to write!"},
                            {4, "No authorization available to write system settings!"}}));
  EXPECT_EQ(fileBytes(kPreferencesPlist), before);
}

TEST_F(SystemConfigPrefsBaseTest, ABindingIsKeptUntilAnotherProtocolIsAsked) {
  SystemConfigPrefsBase session(log.logger(), false);
  ASSERT_TRUE(session.acquireProtocolHandle(kWiFi, kSCNetworkProtocolTypeIPv6));
  log.take();
  ASSERT_TRUE(session.acquireProtocolHandle(kWiFi, std::string("IPv6")));
  EXPECT_TRUE(log.take().empty()) << "the same service and type again costs nothing";

  ASSERT_TRUE(session.setProtocolEnabled(false));
  bool enabled = true;
  EXPECT_TRUE(session.isProtocolEnabled(enabled));
  EXPECT_FALSE(enabled);
  EXPECT_TRUE(log.saw(5, "--> Desired protocol is DISABLED!"));

  ASSERT_TRUE(session.acquireProtocolHandle(kEthernet, kSCNetworkProtocolTypeIPv6));
  std::vector<LogLine> lines = log.take();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], (LogLine{5, "Destroying protocol handle reference."}));
  EXPECT_EQ(lines[1], (LogLine{5, "Creating a new P-ref."}));
}

// The failed binding's own line is checked end to end, for every service command.
TEST_F(SystemConfigPrefsBaseTest, AnUnboundSessionRefusesProtocolWork) {
  SystemConfigPrefsBase session(log.logger(), false);
  EXPECT_FALSE(session.acquireProtocolHandle("11111111-2222-3333-4444-555555555555", kSCNetworkProtocolTypeProxies));
  CFDictionaryRef settings = nullptr;
  bool enabled = false;
  EXPECT_FALSE(session.getProtocolSettings(&settings));
  EXPECT_TRUE(log.saw(4, "No configuration settings reference is available while trying to get protocol "
                         "information!"));
  EXPECT_FALSE(session.isProtocolEnabled(enabled));
  EXPECT_TRUE(log.saw(4, "No setting configuration reference is available while trying to determine if a "
                         "protocol is enabled!"));
  EXPECT_FALSE(session.setProtocolEnabled(true));
  EXPECT_TRUE(log.saw(4, "No configuration settings reference was available while trying to change the "
                         "state of a protocol!"));
  EXPECT_FALSE(session.writeNewConfiguration(cfdictionary().get()));
  EXPECT_TRUE(log.saw(4, "No protocol reference available while trying to write a setting configuration!"));
}

}  // namespace
