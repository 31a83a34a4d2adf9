// Factory programs: selection, the "Init N" rule, renaming and copying.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/module_fixture.h"

namespace korro::test {
namespace {

using host::Plugin;

const char* kNames[8] = {"Basic Spring",      "Short Spring",        "Typical Spring",          "Long spring",
                         "FenderTwin Reverb", "Vocal insert medium", "Singing in the bathroom", "Lo-Fi Drums"};
const float kDecay[8] = {0.5f, 0.2f, 0.5f, 0.7f, 0.34f, 0.25f, 0.1f, 0.76f};
const float kDamp[8] = {0.1f, 0.2f, 0.25f, 0.35f, 0.41f, 0.19f, 0.44f, 1.0f};

class Programs : public ModuleTest {
 protected:
  std::string name() { return fx().text(effGetProgramName); }
  std::string indexed(int index, int category = 0) { return fx().text(effGetProgramNameIndexed, index, category); }
  void rename(const std::string& text) {
    std::string copy = text;
    fx().dispatch(effSetProgramName, 0, 0, copy.data());
  }
};

TEST_F(Programs, FactoryTable) {
  EXPECT_EQ(fx().dispatch(effGetProgram), 0);
  for (int p = 0; p < 8; ++p) {
    EXPECT_EQ(indexed(p), kNames[p]);
    EXPECT_EQ(indexed(p, 7), kNames[p]) << "the category has no influence";
    fx().dispatch(effSetProgram, 0, p);
    EXPECT_EQ(fx().dispatch(effGetProgram), p);
    EXPECT_EQ(name(), kNames[p]);
    EXPECT_EQ(fx().getParameter(1), kDecay[p]) << p;
    EXPECT_EQ(fx().getParameter(2), kDamp[p]) << p;
    EXPECT_EQ(fx().getParameter(0), 1.0f);
    EXPECT_EQ(fx().getParameter(3), 0.5f);
    EXPECT_EQ(fx().getParameter(4), 0.5f);
  }
  fx().dispatch(effSetProgram, 0, 7);
  EXPECT_EQ(fx().text(effGetParamDisplay, 2), "100.0000");
}

TEST_F(Programs, OutOfRangeNumbersAreRefused) {
  fx().dispatch(effSetProgram, 0, 4);
  for (std::intptr_t p : {8, 9, 1000, -1, -8, INT32_MIN}) {
    EXPECT_EQ(fx().dispatch(effSetProgram, 0, p), 0);
    EXPECT_EQ(fx().dispatch(effGetProgram), 4) << p;
  }
  for (int index : {8, -1, 100}) {
    EXPECT_EQ(fx().dispatch(effGetProgramNameIndexed, index, 0, nullptr), 0);
    EXPECT_EQ(indexed(index), Plugin::kUntouched) << index;
    EXPECT_EQ(fx().dispatch(effCopyProgram, index), 0) << index;
  }
}

TEST_F(Programs, InitNamesCarryTheProgramNumber) {
  fx().dispatch(effSetProgram, 0, 2);
  rename("Init");
  EXPECT_EQ(name(), "Init 3");
  EXPECT_EQ(indexed(2), "Init") << "the indexed name is the stored one";
  rename("Init ");
  EXPECT_EQ(name(), "Init ");
  rename("Initial");
  EXPECT_EQ(name(), "Initial");
}

TEST_F(Programs, RenamingKeepsAtMost35Characters) {
  fx().dispatch(effSetProgram, 0, 6);
  rename(std::string(300, 'x'));
  EXPECT_EQ(name(), std::string(35, 'x'));
  EXPECT_EQ(indexed(6), std::string(35, 'x'));
  EXPECT_EQ(indexed(7), "Lo-Fi Drums") << "the neighbour record is untouched";
  rename("");
  EXPECT_EQ(name(), "");
  EXPECT_EQ(fx().dispatch(effSetProgramName, 0, 0, nullptr), 0);
  EXPECT_EQ(fx().dispatch(effGetProgramName, 0, 0, nullptr), 0);
}

TEST_F(Programs, CopyTakesTheWholeCurrentRecord) {
  fx().dispatch(effSetProgram, 0, 1);
  fx().setParameter(1, 0.2f);
  EXPECT_EQ(fx().dispatch(effCopyProgram, 5), 1);
  EXPECT_EQ(fx().dispatch(effGetProgram), 1) << "copying selects nothing";
  EXPECT_EQ(indexed(5), "Short Spring");
  fx().dispatch(effSetProgram, 0, 5);
  EXPECT_EQ(fx().getParameter(1), 0.2f);
  EXPECT_EQ(fx().getParameter(2), 0.2f);
}

TEST_F(Programs, AProgramChangeRestartsTheReverb) {
  fx().start(44100.0f, 256);
  fx().setParameter(4, 1.0f);  // wet only
  StereoBuffer burst(256, 0.5f), out(256);
  fx().processReplacing(burst.channels(), out.channels(), 256);
  StereoBuffer silence(256);
  float tail = 0;
  for (int b = 0; b < 8; ++b) {
    fx().processReplacing(silence.channels(), out.channels(), 256);
    for (float v : out.left) tail = std::max(tail, std::fabs(v));
  }
  ASSERT_GT(tail, 1e-3f) << "the burst should still ring";
  // What a block asks of the host when nothing changed.
  host.clear();
  fx().processReplacing(silence.channels(), out.channels(), 256);
  const std::vector<host::HostRequest> plainBlock = host.requests();

  // While resumed the host sees resume's two questions at once, in order, and
  // the new values; the reverb restarts at the next block.
  host.clear();
  fx().dispatch(effSetProgram, 0, 1);
  ASSERT_EQ(host.requests().size(), 2u);
  EXPECT_EQ(host.requests()[0].opcode, audioMasterGetOutputLatency);
  EXPECT_EQ(host.requests()[1].opcode, audioMasterGetBlockSize);
  EXPECT_EQ(fx().dispatch(effGetProgram), 1);
  EXPECT_EQ(fx().getParameter(1), 0.2f);
  host.clear();
  fx().processReplacing(silence.channels(), out.channels(), 256);
  EXPECT_EQ(host.requests().size(), plainBlock.size()) << "the rebuild asks the host nothing";
  for (float v : out.left) EXPECT_LT(std::fabs(v), 1e-6f);
}

}  // namespace
}  // namespace korro::test
