#pragma once
#include <gtest/gtest.h>

#include <string>

#include "emu/ObjectCounts.h"

// Every support test must leave no CF object alive behind it. Counted from
// before the derived fixture's members exist until after they are gone.
class SupportTest : public ::testing::Test {
 protected:
  SupportTest() : liveAtStart_(emu_cf_live_objects()) {}
  ~SupportTest() override {
    EXPECT_EQ(emu_cf_live_objects(), liveAtStart_) << "CF objects were left alive";
  }

  static std::string fixture(const std::string& name) {
    return std::string(MACHELPER_SOURCE_DIR) + "/tests/fixtures/support/" + name;
  }

 private:
  long liveAtStart_;
};
