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

  // Root is granted what it asks for; without a reference to fill, nothing is made.
  AuthorizationItem item = {"system.preferences", 0, nullptr, 0};
  AuthorizationRights rights = {1, &item};
  EXPECT_EQ(AuthorizationCreate(&rights, nullptr, kAuthorizationFlagExtendRights, nullptr), errAuthorizationSuccess);
  EXPECT_EQ(emu_cf_live_objects(), live);
}

TEST_F(Authorization, RefusesBadArguments) {
  AuthorizationRef authorization = nullptr;
  EXPECT_EQ(AuthorizationCreate(nullptr, nullptr, 1u << 30, &authorization), errAuthorizationInvalidFlags);
  AuthorizationRights noItems = {1, nullptr};
  EXPECT_EQ(AuthorizationCreate(&noItems, nullptr, kAuthorizationFlagDefaults, &authorization),
            errAuthorizationInvalidSet);
  EXPECT_EQ(authorization, nullptr);
  EXPECT_EQ(AuthorizationFree(nullptr, kAuthorizationFlagDestroyRights), errAuthorizationInvalidRef);
  EXPECT_EQ(AuthorizationFree(reinterpret_cast<AuthorizationRef>(const_cast<__CFString*>(CFSTR("not one"))),
                              kAuthorizationFlagDefaults),
            errAuthorizationInvalidRef);
}

}  // namespace
