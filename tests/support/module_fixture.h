// One loaded module per test process and a fresh effect per test.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "host/vst_host.h"

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

// A stereo pair of channel buffers that host-style float** can point into.
struct StereoBuffer {
  explicit StereoBuffer(int frames, float fill = 0.0f) : left(frames, fill), right(frames, fill) {}
  float** channels() {
    ptrs[0] = left.data();
    ptrs[1] = right.data();
    return ptrs;
  }
  std::vector<float> left, right;
  float* ptrs[2] = {};
};

}  // namespace korro::test
