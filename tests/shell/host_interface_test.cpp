// The module as a host meets it: entry point, identity, and every opcode answer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "support/alloc_counter.h"
#include "support/module_fixture.h"

namespace korro::test {
namespace {

using host::Host;
using host::Plugin;

TEST(ModuleEntry, BothEntryPointsCreateAnEffect) {
  for (const char* name : {"VSTPluginMain", "main"}) {
    Host host;
    Plugin plugin(builtModule(), host, name);
    EXPECT_TRUE(plugin) << name;
  }
}

TEST(ModuleEntry, HostThatAnswersVersionZeroGetsNoEffect) {
  Host host;
  host.versionAnswer = 0;
  Plugin plugin(builtModule(), host);
  EXPECT_EQ(plugin.effect(), nullptr);
  ASSERT_EQ(host.requests().size(), 1u);
  EXPECT_EQ(host.requests()[0].opcode, audioMasterVersion);
  EXPECT_EQ(host.requests()[0].index, 0);
  EXPECT_EQ(host.requests()[0].value, 0);
}

TEST(ModuleEntry, NullCallbackIsRefused) {
  EXPECT_EQ(builtModule().entry()(nullptr), nullptr);
}

TEST(ModuleEntry, ConstructionAlreadyAsksForLatencyAndBlockSize) {
  Host host;
  Plugin plugin(builtModule(), host);
  ASSERT_TRUE(plugin);
  EXPECT_EQ(host.requests().front().opcode, audioMasterVersion);
  EXPECT_EQ(host.count(audioMasterGetOutputLatency), 1);
  EXPECT_EQ(host.count(audioMasterGetBlockSize), 1);
  EXPECT_EQ(host.count(audioMasterAutomate), 0);
}

TEST_F(ModuleTest, RecordCarriesTheIdentity) {
  const AEffect* e = fx().effect();
  EXPECT_EQ(e->magic, fourCharCode('V', 's', 't', 'P'));
  EXPECT_EQ(e->numPrograms, 8);
  EXPECT_EQ(e->numParams, 5);
  EXPECT_EQ(e->numInputs, 2);
  EXPECT_EQ(e->numOutputs, 2);
  EXPECT_EQ(e->flags, effFlagsHasEditor | effFlagsCanMono | effFlagsCanReplacing);
  EXPECT_EQ(e->uniqueID, 0x4B725477);
  EXPECT_EQ(e->version, 1);
  EXPECT_EQ(e->ioRatio, 1.0f);
  EXPECT_EQ(e->initialDelay, 0);
  EXPECT_EQ(e->realQualities, 0);
  EXPECT_EQ(e->offQualities, 0);
  EXPECT_EQ(e->resvd1, 0);
  EXPECT_EQ(e->resvd2, 0);
  EXPECT_NE(e->object, nullptr);
  EXPECT_NE(e->process, nullptr);
  EXPECT_NE(e->processReplacing, nullptr);
  EXPECT_NE(e->setParameter, nullptr);
  EXPECT_NE(e->getParameter, nullptr);
  const char zeros[60] = {};
  EXPECT_EQ(std::memcmp(e->future, zeros, sizeof zeros), 0);
}

TEST_F(ModuleTest, TextOpcodesGiveTheProductTexts) {
  EXPECT_EQ(fx().dispatch(effGetEffectName, 0, 0, nullptr), 0) << "a null buffer is ignored";
  EXPECT_EQ(fx().text(effGetEffectName), "Korro Tarrow");
  EXPECT_EQ(fx().text(effGetProductString), "Korro Tarrow - spring reverb plug-in");
  const std::string vendor = fx().text(effGetVendorString);
  EXPECT_EQ(vendor.rfind("https://", 0), 0u) << vendor;
  EXPECT_LT(vendor.size(), 64u);
  char buffer[64];
  EXPECT_EQ(fx().dispatch(effGetEffectName, 0, 0, buffer), 1);
  EXPECT_EQ(fx().dispatch(effGetVendorString, 0, 0, buffer), 1);
  EXPECT_EQ(fx().dispatch(effGetProductString, 0, 0, buffer), 1);
}

TEST_F(ModuleTest, FixedAnswers) {
  EXPECT_EQ(fx().dispatch(effOpen), 0);
  EXPECT_EQ(fx().dispatch(effGetVu), 0);
  EXPECT_EQ(fx().dispatch(effIdentify), 0x4E764566);
  EXPECT_EQ(fx().dispatch(effGetChunk), 0);
  EXPECT_EQ(fx().dispatch(effSetChunk), 0);
  EXPECT_EQ(fx().dispatch(effGetNumProgramCategories), 1);
  EXPECT_EQ(fx().dispatch(effConnectInput, 1, 0), 1);
  EXPECT_EQ(fx().dispatch(effConnectOutput, 1, 1), 1);
  EXPECT_EQ(fx().dispatch(effGetPlugCategory), 0);
  EXPECT_EQ(fx().dispatch(effSetBypass, 0, 1), 0);
  EXPECT_EQ(fx().dispatch(effGetVendorVersion), 0);
  EXPECT_EQ(fx().dispatch(effGetTailSize), 0);
  EXPECT_EQ(fx().dispatch(effKeysRequired), 1);
  EXPECT_EQ(fx().dispatch(effGetVstVersion), 2200);
  EXPECT_EQ(fx().dispatch(effGetCurrentMidiProgram), -1) << "must survive as a full-width negative answer";
  for (const char* text : {"bypass", "2in2out", "plugAsChannelInsert", "receiveVstTimeInfo"}) {
    std::string copy = text;
    EXPECT_EQ(fx().dispatch(effCanDo, 0, 0, copy.data()), 0) << text;
  }
  for (int index : {0, 4, 5, -1, 1000}) EXPECT_EQ(fx().dispatch(effCanBeAutomated, index), 1) << index;
}

TEST_F(ModuleTest, EveryUnlistedOpcodeAnswersZeroAndWritesNothing) {
  std::set<int> quiet = {16, 17, 18, 20, 21, 25, 27, 33, 34, 36, 37, 38, 39, 40, 41, 42, 46, 50,
                         53, 54, 55, 56, 62, 64, 65, 66, 67, 68};
  for (int op = 69; op < 300; ++op) quiet.insert(op);
  quiet.insert(-1);
  quiet.insert(-100000);
  for (int op : quiet) {
    char buffer[256];
    std::memset(buffer, 0x5a, sizeof buffer);
    EXPECT_EQ(fx().dispatch(op, 0, 0, buffer, 0.0f), 0) << "opcode " << op;
    for (char c : buffer) ASSERT_EQ(c, 0x5a) << "opcode " << op << " wrote into the buffer";
  }
  // Still the same effect afterwards.
  EXPECT_EQ(fx().text(effGetProgramName), "Basic Spring");
}

TEST_F(ModuleTest, RateAndBlockSizeWaitForResume) {
  // Storing them asks nothing of the host; resume then asks latency and block size once each.
  host.clear();
  EXPECT_EQ(fx().dispatch(effSetSampleRate, 0, 0, nullptr, 48000.0f), 0);
  EXPECT_EQ(fx().dispatch(effSetBlockSize, 0, 256), 0);
  EXPECT_EQ(fx().dispatch(effSetBlockSizeAndSampleRate, 0, 128, nullptr, 96000.0f), 1);
  EXPECT_TRUE(host.requests().empty());
  EXPECT_EQ(fx().dispatch(effMainsChanged, 0, 1), 0);
  EXPECT_EQ(host.count(audioMasterGetOutputLatency), 1);
  EXPECT_EQ(host.count(audioMasterGetBlockSize), 1);
  EXPECT_EQ(fx().dispatch(effMainsChanged, 0, 0), 0);
  EXPECT_EQ(host.count(audioMasterGetOutputLatency), 1) << "suspend asks nothing";
}

TEST_F(ModuleTest, EditorOpcodesAnswerAtAnyTime) {
  ERect* rect = nullptr;
  ASSERT_EQ(fx().dispatch(effEditGetRect, 0, 0, &rect), 1);
  ASSERT_NE(rect, nullptr);
  EXPECT_EQ(rect->top, 0);
  EXPECT_EQ(rect->left, 0);
  EXPECT_EQ(rect->bottom, 196);
  EXPECT_EQ(rect->right, 300);
  EXPECT_EQ(fx().dispatch(effEditGetRect, 0, 0, nullptr), 0) << "a null pointer is not written through";
  EXPECT_EQ(fx().dispatch(effEditIdle), 0) << "idle while closed";
  EXPECT_EQ(fx().dispatch(effSetEditKnobMode, 0, 1), 1);
  EXPECT_EQ(fx().dispatch(effEditKeyDown, 'a', 0, nullptr, 0.0f), -1) << "keys are not taken";
  EXPECT_EQ(fx().dispatch(effEditKeyUp, 'a', 0, nullptr, 1e30f), -1);
  EXPECT_EQ(fx().dispatch(effEditClose), 0) << "closing a closed editor";
}

TEST(ScanningHost, CallbackThatAnswersAlmostNothingIsSurvived) {
  // Hosts that scan in a separate process answer only the version request.
  Host host;
  host.minimal = true;
  Plugin plugin(builtModule(), host);
  ASSERT_TRUE(plugin);
  plugin.dispatch(effOpen);
  for (int i = 0; i < 5; ++i) {
    plugin.text(effGetParamName, i);
    plugin.text(effGetParamDisplay, i);
    plugin.text(effGetParamLabel, i);
  }
  plugin.text(effGetEffectName);
  plugin.dispatch(effSetSampleRate, 0, 0, nullptr, 0.0f);
  plugin.dispatch(effSetBlockSize, 0, 0);
  plugin.dispatch(effMainsChanged, 0, 1);
  StereoBuffer in(300, 0.25f), out(300);
  plugin.processReplacing(in.channels(), out.channels(), 300);
  plugin.process(in.channels(), out.channels(), 300);
  ERect* rect = nullptr;
  plugin.dispatch(effEditGetRect, 0, 0, &rect);
  plugin.dispatch(effEditOpen, 0, 0, nullptr);
  plugin.dispatch(effEditIdle);
  plugin.dispatch(effEditClose);
  plugin.dispatch(effMainsChanged, 0, 0);
  for (float v : out.left) ASSERT_TRUE(std::isfinite(v));
}

TEST(Lifetime, ThousandInstancesComeAndGoWithoutLeaking) {
  Host host;
  { Plugin warmUp(builtModule(), host); }  // first-use allocations of the runtime
  const std::int64_t live = liveAllocations();
  for (int i = 0; i < 1000; ++i) {
    Plugin plugin(builtModule(), host);
    ASSERT_TRUE(plugin);
    if (i % 100 == 0) {
      plugin.dispatch(effSetBlockSize, 0, 4096);  // the destructor must free the resized buffers
      plugin.dispatch(effMainsChanged, 0, 1);
    }
  }
  EXPECT_EQ(liveAllocations(), live);
}

}  // namespace
}  // namespace korro::test
