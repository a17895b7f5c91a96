#include "SCTestSupport.h"

namespace {

using namespace sctest;
using Authorization = CFTest;

TEST_F(Authorization, RootGetsAReferenceThatMustBeFreed) {
  long live = emu_cf_live_objects();
  AuthorizationRef authorization = nullptr;
  ASSERT_EQ(AuthorizationCreate(nullptr, kAuthorizationEmptyEnvironment,
                                kAuthorizationFlagExtendRights | kAuthorizationFlagPreAuthorize, &authorization),
            errAuthorizationSuccess);
  ASSERT_NE(authorization, nullptr);
  EXPECT_EQ(emu_cf_live_objects(), live + 1) << "an unfreed reference shows as a leak";

  // It lets a preferences session write.
  auto prefs = adopt(SCPreferencesCreateWithAuthorization(nullptr, CFSTR("test"), nullptr, authorization));
  ASSERT_TRUE(prefs);
  ASSERT_TRUE(SCPreferencesLock(prefs.get(), false));
  EXPECT_TRUE(SCPreferencesUnlock(prefs.get()));

  EXPECT_EQ(AuthorizationFree(authorization, kAuthorizationFlagDefaults), errAuthorizationSuccess);
  EXPECT_EQ(emu_cf_live_objects(), live + 1) << "the preferences session is still open";
  prefs.reset();
  EXPECT_EQ(emu_cf_live_objects(), live);
}

}  // namespace
