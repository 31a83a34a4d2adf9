// Running korro-render as a user would, audio files in and out, and the same
// audio driven through the module by the harness for comparison.
#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/host/vst_host.h"

namespace korro::test {

struct ToolRun {
  int exitCode = -1;  // 128 + signal when killed
  std::string out;
  std::string err;
};

// Runs a program (argv[0] a path) with the test's environment.
ToolRun runTool(std::vector<std::string> argv);
// Runs the built korro-render with these arguments.
ToolRun runRender(const std::vector<std::string>& args);

struct Audio {
  int rate = 0;
  int format = 0;  // libsndfile's format code
  std::vector<float> left, right;  // right empty for mono
  std::size_t frames() const { return left.size(); }
};

void writeAudio(const std::string& path, const Audio& audio, int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT);
Audio readAudio(const std::string& path);

// Bursts of noise and single spikes between silences, different per channel;
// deterministic.
Audio testSignal(int rate, double seconds, bool stereo = true, unsigned seed = 11);

struct HostSettings {
  int program = 0;
  std::vector<std::pair<int, float>> parameters;  // (index, value) after the program
  int block = 512;
  bool adding = false;
  long tailFrames = 0;
};

// The module, driven directly through the harness: a host that starts the
// effect, picks the program, sets the parameters and then streams the input
// followed by tailFrames of silence in blocks. A mono input is announced as
// an unconnected second input.
Audio hostRender(const Audio& in, const HostSettings& settings);

// Expects two renders to be equal sample for sample.
void expectSameAudio(const Audio& expected, const Audio& actual);

// A fresh directory per test, removed with everything in it afterwards.
class RenderTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  // Names in the directory, sorted.
  std::vector<std::string> listing() const;

  std::string dir_;
};

}  // namespace korro::test
