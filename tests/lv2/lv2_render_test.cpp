// The bundle in third-party LV2 hosts (lilv's lv2file and lv2apply) gives the
// same samples as the VST 2 module at the same settings and block lengths.
#include <cstdlib>

#include "support/module_fixture.h"
#include "support/render_support.h"

namespace korro::test {
namespace {

class Lv2Render : public RenderTest {
 protected:
  void SetUp() override {
    if (!*KORRO_LV2FILE || !*KORRO_LV2APPLY) GTEST_SKIP() << "lilv's lv2file or lv2apply is not installed";
    RenderTest::SetUp();
    setenv("LV2_PATH", KORRO_LV2_PATH, 1);
#ifdef KORRO_HOST_PRELOAD
    setenv("LD_PRELOAD", KORRO_HOST_PRELOAD, 1);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // the host's own leaks; the plug-in's are checked in process
#endif
  }

  // Whole blocks only: lv2file runs its last block at full length too.
  Audio input(int rate, int block) {
    Audio in = testSignal(rate, 0.4);
    in.left.resize(in.frames() - in.frames() % block);
    in.right.resize(in.frames());
    writeAudio(path("in.wav"), in);
    return in;
  }

  // The host's output for in.wav; `options` go between the files and the plug-in.
  Audio lv2(const char* tool, const std::vector<std::string>& options) {
    std::vector<std::string> argv{tool, "-i", path("in.wav"), "-o", path("out.wav")};
    argv.insert(argv.end(), options.begin(), options.end());
    argv.push_back("https://korro-tarrow.example.org/lv2/tarrow");
    const ToolRun run = runTool(std::move(argv));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return readAudio(path("out.wav"));
  }
};

TEST_F(Lv2Render, EveryPresetInLv2fileEqualsItsVstProgram) {
  const int blocks[] = {512, 1000, 64, 4096};
  host::Host host;
  host::Plugin module(builtModule(), host);
  for (int p = 0; p < 8; ++p) {
    const std::string name = module.text(effGetProgramNameIndexed, p);  // the preset's label in the bundle
    HostSettings vst;
    vst.program = p;
    vst.block = blocks[p % 4];
    const int rate = p % 2 ? 96000 : 44100;
    SCOPED_TRACE(name + " at " + std::to_string(rate) + " Hz, block " + std::to_string(vst.block));
    const Audio in = input(rate, vst.block);
    expectSameAudio(hostRender(in, vst), lv2(KORRO_LV2FILE, {"-b", std::to_string(vst.block), "-P", name}));
  }
}

// Percent for Decay, Damp and Mix; the editor's decibels for Output, where
// -12 dB is the value 0.25 and +12 dB the value 1; a toggle for Bypass.
struct Setting {
  std::vector<std::pair<std::string, std::string>> ports;
  std::vector<std::pair<int, float>> parameters;
};
const Setting kSettings[] = {
    {{{"decay", "83"}, {"damp", "27"}, {"mix", "64"}, {"output", "-12"}, {"bypass", "1"}},
     {{1, 0.83f}, {2, 0.27f}, {4, 0.64f}, {3, 0.25f}, {0, 1.0f}}},
    {{{"decay", "34"}, {"mix", "100"}, {"output", "12"}, {"bypass", "0"}},
     {{1, 0.34f}, {4, 1.0f}, {3, 1.0f}, {0, 0.0f}}},
};

TEST_F(Lv2Render, ControlValuesInLv2fileAndLv2applyEqualTheVstParameters) {
  for (const int rate : {44100, 96000}) {
    for (const Setting& s : kSettings) {
      SCOPED_TRACE(std::to_string(rate) + " Hz, decay " + s.ports[0].second);
      std::vector<std::string> file{"-b", "300"}, apply;
      for (const auto& [symbol, value] : s.ports) {
        file.insert(file.end(), {"-p", symbol + ":" + value});
        apply.insert(apply.end(), {"-c", symbol, value});
      }
      HostSettings vst;
      vst.parameters = s.parameters;
      vst.block = 300;
      const Audio in = input(rate, vst.block);
      expectSameAudio(hostRender(in, vst), lv2(KORRO_LV2FILE, file));
      vst.block = 1;  // lv2apply runs one frame at a time and tells no block length
      expectSameAudio(hostRender(in, vst), lv2(KORRO_LV2APPLY, apply));
    }
  }
}

}  // namespace
}  // namespace korro::test
