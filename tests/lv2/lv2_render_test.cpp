// The bundle in third-party LV2 hosts (lilv's lv2file and lv2apply) gives the
// same samples as the VST 2 module at the same settings and block lengths.
#include <cstdlib>

#include "render/render_support.h"

namespace korro::test {
namespace {

constexpr const char* kUri = "https://korro-tarrow.example.org/lv2/tarrow";
constexpr const char* kPrograms[] = {"Basic Spring",      "Short Spring",        "Typical Spring",
                                     "Long spring",       "FenderTwin Reverb",   "Vocal insert medium",
                                     "Singing in the bathroom", "Lo-Fi Drums"};

class Lv2Render : public RenderTest {
 protected:
  void SetUp() override {
    if (std::string(KORRO_LV2FILE).empty() || std::string(KORRO_LV2APPLY).empty())
      GTEST_SKIP() << "lilv's lv2file or lv2apply is not installed";
    RenderTest::SetUp();
    setenv("LV2_PATH", KORRO_LV2_PATH, 1);
  }

  // Whole blocks only: lv2file runs its last block at full length too.
  Audio input(int rate, int block) {
    Audio in = testSignal(rate, 0.4);
    const std::size_t frames = in.frames() - in.frames() % block;
    in.left.resize(frames);
    in.right.resize(frames);
    writeAudio(path("in.wav"), in);
    return in;
  }

  Audio lv2file(int block, std::vector<std::string> options) {
    std::vector<std::string> argv{KORRO_LV2FILE, "-i", path("in.wav"), "-o", path("out.wav"), "-b",
                                  std::to_string(block)};
    argv.insert(argv.end(), options.begin(), options.end());
    argv.push_back(kUri);
    return run(std::move(argv));
  }

  Audio run(std::vector<std::string> argv) {
    const ToolRun r = runTool(std::move(argv));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    return readAudio(path("out.wav"));
  }
};

TEST_F(Lv2Render, EveryPresetInLv2fileEqualsItsVstProgram) {
  const int blocks[] = {512, 1000, 64, 4096};
  for (int p = 0; p < 8; ++p) {
    HostSettings vst;
    vst.program = p;
    vst.block = blocks[p % 4];
    const int rate = p % 2 ? 96000 : 44100;
    SCOPED_TRACE(std::string(kPrograms[p]) + " at " + std::to_string(rate) + " Hz, block " +
                 std::to_string(vst.block));
    const Audio in = input(rate, vst.block);
    expectSameAudio(hostRender(in, vst), lv2file(vst.block, {"-P", kPrograms[p]}));
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
      std::vector<std::string> fileOptions, applyOptions;
      for (const auto& [symbol, value] : s.ports) {
        fileOptions.insert(fileOptions.end(), {"-p", symbol + ":" + value});
        applyOptions.insert(applyOptions.end(), {"-c", symbol, value});
      }
      HostSettings vst;
      vst.parameters = s.parameters;
      vst.block = 300;
      const Audio in = input(rate, vst.block);
      expectSameAudio(hostRender(in, vst), lv2file(vst.block, fileOptions));

      // lv2apply runs one frame at a time and tells no block length.
      vst.block = 1;
      std::vector<std::string> argv{KORRO_LV2APPLY, "-i", path("in.wav"), "-o", path("out.wav")};
      argv.insert(argv.end(), applyOptions.begin(), applyOptions.end());
      argv.push_back(kUri);
      expectSameAudio(hostRender(in, vst), run(std::move(argv)));
    }
  }
}

}  // namespace
}  // namespace korro::test
