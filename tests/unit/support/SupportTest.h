#pragma once
#include <gtest/gtest.h>

#include <string>

#include "emu/ObjectCounts.h"

// Every support test must leave no CF object alive behind it.
class SupportTest : public ::testing::Test {
 protected:
  void SetUp() override { liveAtStart_ = emu_cf_live_objects(); }
  void TearDown() override {
    EXPECT_EQ(emu_cf_live_objects(), liveAtStart_) << "CF objects were left alive";
  }

  static std::string fixture(const std::string& name) {
    return std::string(MACHELPER_SOURCE_DIR) + "/tests/fixtures/support/" + name;
  }

 private:
  long liveAtStart_ = 0;
};
