// One loaded module per test process and a fresh effect per test.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "support/stereo_buffer.h"
#include "tools/host/vst_host.h"

namespace korro::test {

const host::Module& builtModule();

class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    plugin = std::make_unique<host::Plugin>(builtModule(), host);
    ASSERT_TRUE(*plugin) << "the module refused to start";
  }
  void TearDown() override { plugin.reset(); }

  host::Plugin& fx() { return *plugin; }

  host::Host host;
  std::unique_ptr<host::Plugin> plugin;
};

}  // namespace korro::test
