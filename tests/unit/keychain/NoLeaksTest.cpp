// Every keychain command, answered or refused, releases every CF and XPC
// object it made. The router runs in-process behind a loopback service, as in
// the helper, and emu counts the live objects. The keychain family keeps its
// keychain handle and the last item it found from one command to the next, so
// the count is taken over a whole session: whatever is still alive once the
// router is gone has leaked.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Certificate.h"
#include "Eventually.h"
#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcCommandHandler.h"
#include "XpcTestClient.h"
#include "emu/ObjectCounts.h"

namespace {

TEST(KeychainNoLeaksTest, EveryCommandReleasesWhatItMade) {
  Certificate isrg("ISRG_Root_X1.crt");
  Certificate amazon("Amazon_Root_CA_1.crt");
  const std::vector<Arg> entry{{"Account", "alex"}, {"Service", "eap.wlan"}, {"Label", "Campus"},
                               {"Description", "802.1X Password"}, {"Password", "pw"}};
  const std::vector<Arg> isrgByName{{"CertLabel", "ISRG Root X1"}, {"Thumbprint", isrg.thumbprint}};
  const std::vector<Arg> amazonByName{{"CertLabel", "Amazon Root CA 1"}, {"Thumbprint", amazon.thumbprint}};
  // Ends with the keychain as it began, so that a second run takes the same paths.
  const std::pair<const char*, std::vector<Arg>> requests[] = {
      {"createsystemkeychainentry", entry},
      {"createsystemkeychainentry", entry},
      {"createsystemkeychainentry", {{"Account", "alex"}}},
      {"deletesystemkeychainentry", {{"Service", "eap.wlan"}, {"Account", "alex"}}},
      {"deletesystemkeychainentry", {{"Service", "eap.wlan"}, {"Account", "alex"}}},
      {"installsystemcacert", {Arg::data("CertificateData", isrg.der)}},
      {"installsystemcacert", {Arg::data("CertificateData", isrg.der), {"TrustModel", 1}}},
      {"installsystemcacert", {Arg::data("CertificateData", isrg.der), {"TrustModel", 2}}},
      {"installsystemcacert", {Arg::data("CertificateData", "not a certificate")}},
      {"installsystemcacert", {}},
      {"certificateexistsinsystemstore", isrgByName},
      {"certificateexistsinsystemstore", amazonByName},
      {"certificateexistsinsystemstore", {{"CertLabel", "ISRG Root X1"}}},
      {"deletesystemcert", isrgByName},
      {"deletesystemcert", isrgByName},
      {"installsystemcacertwithsecuritycmd", {{"PEMdata", amazon.pem}}},
      {"installsystemcacertwithsecuritycmd", {{"PEMdata", "garbage"}}},
      {"installsystemcacertwithsecuritycmd", {}},
      {"deletesystemcert", amazonByName},
  };
  long xpcBefore = emu_xpc_live_objects();
  long cfBefore = 0;
  // The first run lets the framework make what it keeps for the process.
  for (const char* service : {"test.keychain.warmup", "test.keychain.leaks"}) {
    cfBefore = emu_cf_live_objects();
    {
      // One router's life with a client that sends every request of the session.
      Logger logger;
      Logger* log = &logger;
      XpcCommandHandler router(&logger);
      XpcCommandHandler* handler = &router;
      ServiceLoopback loopback(service, ^(xpc_connection_t peer, xpc_object_t message) {
        log->setXpcConnection(peer);
        handler->handleCommand(peer, message);
      });
      XpcTestClient client(service);
      for (const auto& [command, args] : requests) {
        EXPECT_EQ(xpc_get_type(client.send(makeRequest(command, args).get()).get()), XPC_TYPE_DICTIONARY) << command;
      }
      // As the helper does on a peer's last event: the runtime frees the peer after it.
      logger.setXpcConnection(nullptr);
    }
    // Connection teardown finishes on the runtime's queues.
    EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == xpcBefore; }))
        << emu_xpc_live_objects() - xpcBefore << " XPC objects left behind by " << service;
  }
  EXPECT_EQ(emu_cf_live_objects(), cfBefore) << "CF objects outlived the session";
}

}  // namespace
