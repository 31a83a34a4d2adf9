// What only CLAP has, through a host of our own: the descriptor, ports and
// parameters as a host reads them (against the VST 2 module's own answers),
// preset discovery, calls out of order, the editor's offer and its gestures.
// Samples, state, tail and editor sizes: tests/fronts.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "clap_host.h"
#include "korro/version.h"
#include "support/alloc_counter.h"
#include "support/gesture_log.h"
#include "support/host_toolkit.h"
#include "support/module_fixture.h"

// Last: Xlib's macros (None, Bool, Status) clash with other names.
#include "support/x11_host.h"

namespace korro::test {
namespace {

using clap::Id;

// A name as the module gives it, without the blanks it pads it with.
std::string trimmed(std::string s) {
  s.erase(0, s.find_first_not_of(' '));
  s.erase(s.find_last_not_of(' ') + 1);
  return s;
}

TEST(ClapPlugin, DescriptorPortsAndParametersAsAHostReadsThem) {
  const ClapModule& m = builtClap();
  ASSERT_TRUE(m.error().empty()) << m.error();
  const clap::PluginFactory* f = m.factory();
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(f->getPluginCount(f), 1u);
  const clap::PluginDescriptor* d = f->getPluginDescriptor(f, 0);
  EXPECT_EQ(f->getPluginDescriptor(f, 1), nullptr);
  EXPECT_STREQ(d->id, "org.example.korro-tarrow.tarrow");
  EXPECT_STREQ(d->name, "Korro Tarrow");
  EXPECT_STREQ(d->version, kProjectVersion);
  std::vector<std::string> features;
  for (const char* const* p = d->features; *p; ++p) features.push_back(*p);
  EXPECT_EQ(features, (std::vector<std::string>{"audio-effect", "reverb", "stereo"}));
  ClapHost host;
  EXPECT_EQ(f->createPlugin(f, &host.record, "org.example.other"), nullptr);
  EXPECT_EQ(m.entry()->getFactory("clap.unknown-factory"), nullptr);

  ClapInstance fx(host);
  ASSERT_TRUE(fx);
  EXPECT_EQ(fx.plugin()->getExtension(fx.plugin(), "clap.note-ports"), nullptr);
  const auto* ports = fx.ext<clap::PluginAudioPorts>(clap::kAudioPortsId);
  for (bool input : {true, false}) {
    ASSERT_EQ(ports->count(fx.plugin(), input), 1u);
    clap::AudioPortInfo info{};
    ASSERT_TRUE(ports->get(fx.plugin(), 0, input, &info));
    EXPECT_EQ(info.channelCount, 2u);
    EXPECT_EQ(info.flags & clap::kPortIsMain, clap::kPortIsMain);
    EXPECT_STREQ(info.portType, "stereo");
    EXPECT_EQ(info.inPlacePair, input ? 1u : 0u);
    EXPECT_EQ(info.id, input ? 0u : 1u);
    EXPECT_FALSE(ports->get(fx.plugin(), 1, input, &info));
  }

  const auto* params = fx.ext<clap::PluginParams>(clap::kParamsId);
  ASSERT_EQ(params->count(fx.plugin()), 5u);
  host::Host vstHost;
  host::Plugin vst(builtModule(), vstHost);
  for (std::uint32_t i = 0; i < 5; ++i) {
    const auto index = static_cast<std::int32_t>(i);
    clap::ParamInfo info{};
    ASSERT_TRUE(params->getInfo(fx.plugin(), i, &info));
    EXPECT_EQ(info.id, i);
    EXPECT_EQ(info.name, trimmed(vst.text(effGetParamName, index)));
    EXPECT_EQ(info.minValue, 0.0);
    EXPECT_EQ(info.maxValue, 1.0);
    EXPECT_EQ(info.defaultValue, vst.getParameter(index));
    EXPECT_TRUE(info.flags & clap::kParamIsAutomatable);
    EXPECT_FALSE(info.flags & clap::kParamIsBypass) << "it does not pass the input through";
    EXPECT_EQ((info.flags & clap::kParamIsStepped) != 0, i == 0);
    EXPECT_EQ(fx.value(i), info.defaultValue);
  }
  clap::ParamInfo info{};
  EXPECT_FALSE(params->getInfo(fx.plugin(), 5, &info));
  double v = 7.0;
  EXPECT_FALSE(params->getValue(fx.plugin(), 5, &v));

  // One text and its inverse through the format: the texts themselves are ParameterText's.
  char text[64] = {};
  ASSERT_TRUE(params->valueToText(fx.plugin(), 3, 0.0, text, sizeof text));
  EXPECT_STREQ(text, "-oo dB");
  double back = -1.0;
  ASSERT_TRUE(params->textToValue(fx.plugin(), 4, "25%", &back));
  EXPECT_EQ(back, 0.25);
  char out[4];
  EXPECT_FALSE(params->valueToText(fx.plugin(), 3, 0.5, out, sizeof out)) << "too small for \"0.00dB\"";
  EXPECT_FALSE(params->textToValue(fx.plugin(), 9, "50%", &v));
  EXPECT_FALSE(params->textToValue(fx.plugin(), 1, "fifty", &v));
}

// ---------------------------------------------------------------- presets

TEST(ClapPlugin, FactoryProgramsAreDiscoveredAndLoadedByTheirNumber) {
  const auto* f = static_cast<const clap::PresetDiscoveryFactory*>(
      builtClap().entry()->getFactory(clap::kPresetDiscoveryFactoryId));
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(f->count(f), 1u);
  struct Found {
    std::vector<clap::PresetLocation> locations;
    std::vector<std::pair<std::string, std::string>> presets;
    std::vector<std::string> ids;
    std::vector<std::uint32_t> flags;
  } found;
  clap::PresetIndexer indexer{};
  indexer.indexerData = &found;
  indexer.declareLocation = [](const clap::PresetIndexer* ix, const clap::PresetLocation* l) {
    static_cast<Found*>(ix->indexerData)->locations.push_back(*l);
    return true;
  };
  const clap::PresetProvider* provider = f->create(f, &indexer, f->getDescriptor(f, 0)->id);
  ASSERT_NE(provider, nullptr);
  ASSERT_TRUE(provider->init(provider));
  ASSERT_EQ(found.locations.size(), 1u);
  EXPECT_EQ(found.locations[0].kind, clap::kLocationPlugin);
  EXPECT_EQ(found.locations[0].location, nullptr);
  clap::PresetMetadataReceiver r{};
  r.receiverData = &found;
  r.beginPreset = [](const clap::PresetMetadataReceiver* rr, const char* name, const char* key) {
    static_cast<Found*>(rr->receiverData)->presets.emplace_back(name, key);
    return true;
  };
  r.addPluginId = [](const clap::PresetMetadataReceiver* rr, const clap::UniversalPluginId* id) {
    static_cast<Found*>(rr->receiverData)->ids.push_back(std::string(id->abi) + ":" + id->id);
  };
  r.setFlags = [](const clap::PresetMetadataReceiver* rr, std::uint32_t flags) {
    static_cast<Found*>(rr->receiverData)->flags.push_back(flags);
  };
  ASSERT_TRUE(provider->getMetadata(provider, clap::kLocationPlugin, nullptr, &r));
  provider->destroy(provider);
  ASSERT_EQ(found.presets.size(), 8u);
  host::Host vstHost;
  host::Plugin vst(builtModule(), vstHost);
  for (int k = 0; k < 8; ++k) EXPECT_EQ(found.presets[k].first, vst.text(effGetProgramNameIndexed, k)) << k;
  EXPECT_EQ(found.ids, std::vector<std::string>(8, "clap:org.example.korro-tarrow.tarrow"));
  EXPECT_EQ(found.flags, std::vector<std::uint32_t>(8, clap::kPresetIsFactoryContent));

  ClapHost host;
  ClapInstance fx(host);
  ASSERT_TRUE(fx.activate(44100, 64));
  const auto* load = fx.ext<clap::PluginPresetLoad>(clap::kPresetLoadId);
  for (int k = 0; k < 8; ++k) {
    ASSERT_TRUE(load->fromLocation(fx.plugin(), clap::kLocationPlugin, nullptr, found.presets[k].second.c_str()));
    vst.dispatch(effSetProgram, 0, k);
    for (Id i = 0; i < 5; ++i) EXPECT_EQ(fx.value(i), vst.getParameter(static_cast<std::int32_t>(i))) << k << ": " << i;
  }
  EXPECT_EQ(host.presetsLoaded.size(), 8u);
  EXPECT_FALSE(load->fromLocation(fx.plugin(), clap::kLocationPlugin, nullptr, "8"));
  EXPECT_FALSE(load->fromLocation(fx.plugin(), clap::kLocationPlugin, nullptr, "2x"));
  EXPECT_FALSE(load->fromLocation(fx.plugin(), clap::kLocationFile, "/tmp/x", "1"));
  EXPECT_EQ(host.presetErrors.size(), 3u);
}

// ---------------------------------------------------------------- hostile calls

TEST(ClapPlugin, HostileCallsNeitherCrashNorGiveNaN) {
  ClapHost host;
  ClapInstance fx(host);
  const clap::Plugin* p = fx.plugin();
  StereoBuffer in(512, 0.25f), out(512);
  float* i[2] = {in.left.data(), in.right.data()};
  float* o[2] = {out.left.data(), out.right.data()};
  EXPECT_EQ(fx.process(i, o, 512), clap::kProcessError) << "before activate";
  EXPECT_FALSE(p->startProcessing(p));
  ASSERT_TRUE(fx.activate(44100, 256));

  EXPECT_EQ(fx.process(i, o, 0, {{0, 1, 0.9}}), clap::kProcessTail);
  EXPECT_EQ(fx.value(1), static_cast<double>(0.9f)) << "a change in an empty block still applies";
  EXPECT_EQ(fx.process(i, o, 512, {{3, 77, 0.5}, {9, 1, NAN}, {10, 3, 1e30}, {11, 2, -INFINITY}, {600, 4, 2.0}}),
            clap::kProcessTail)
      << "longer than announced, unknown id, values out of range, an event past the end";
  EXPECT_TRUE(std::isnan(fx.value(1)));
  EXPECT_EQ(fx.value(4), 2.0);

  // Missing ports, channels and pointers.
  const auto* params = fx.ext<clap::PluginParams>(clap::kParamsId);
  float* nulls[2] = {nullptr, nullptr};
  clap::AudioBuffer none{nullptr, nullptr, 0, 0, 0};
  clap::AudioBuffer mono{i, nullptr, 1, 0, 0};
  clap::AudioBuffer empty{nulls, nullptr, 2, 0, 0};
  clap::AudioBuffer stereoOut{o, nullptr, 2, 0, 0};
  for (const auto& [input, output, inputs, outputs] :
       {std::tuple{&none, &stereoOut, 0u, 1u}, std::tuple{&mono, &stereoOut, 1u, 1u},
        std::tuple{&empty, &empty, 1u, 1u}, std::tuple{&stereoOut, &none, 1u, 0u},
        std::tuple{static_cast<clap::AudioBuffer*>(nullptr), static_cast<clap::AudioBuffer*>(nullptr), 1u, 1u}}) {
    clap::Process pr{-1, 300, nullptr, input, output, inputs, outputs, nullptr, nullptr};
    EXPECT_EQ(p->process(p, &pr), clap::kProcessTail);
  }
  EXPECT_EQ(p->process(p, nullptr), clap::kProcessError);
  const AllocationWatch watch;
  params->flush(p, nullptr, nullptr);  // its events apply as a block's do
  EXPECT_EQ(watch.count(), 0) << "flush allocates nothing";
  for (int b = 0; b < 100; ++b) {
    fx.process(i, o, 256);
    for (int k = 0; k < 256; ++k) ASSERT_TRUE(std::isfinite(out.left[k]) && std::isfinite(out.right[k]));
  }
  EXPECT_FALSE(fx.ext<clap::PluginState>(clap::kStateId)->load(p, nullptr));
}

TEST(ClapPlugin, TheEditorIsOfferedWhateverTheHostOffersButNeedsItsTimer) {
  ClapHost bare;
  bare.offerExtensions = false;
  ClapInstance fx(bare);
  const auto* gui = fx.ext<clap::PluginGui>(clap::kGuiId);
  ASSERT_NE(gui, nullptr);
  EXPECT_TRUE(gui->isApiSupported(fx.plugin(), "x11", false));
  EXPECT_FALSE(gui->isApiSupported(fx.plugin(), "x11", true));
  EXPECT_FALSE(gui->isApiSupported(fx.plugin(), "wayland", false));
  EXPECT_FALSE(gui->create(fx.plugin(), "x11", false)) << "no timer: no editor that never idles";

  ClapHost host;
  ClapInstance withTimer(host);
  ASSERT_TRUE(gui->create(withTimer.plugin(), "x11", false));
  EXPECT_EQ(host.timersRegistered, 1);
  std::uint32_t w = 0, h = 0;
  ASSERT_TRUE(gui->getSize(withTimer.plugin(), &w, &h));
  EXPECT_EQ(w, 300u);
  EXPECT_EQ(h, 196u);
  EXPECT_FALSE(gui->canResize(withTimer.plugin()));
  // Hosts size their frame from the hints: fixed in both directions, no aspect to keep.
  clap::GuiResizeHints hints{true, true, true, 3, 2};
  ASSERT_TRUE(gui->getResizeHints(withTimer.plugin(), &hints));
  EXPECT_FALSE(hints.canResizeHorizontally);
  EXPECT_FALSE(hints.canResizeVertically);
  EXPECT_FALSE(hints.preserveAspectRatio);
  EXPECT_TRUE(gui->setSize(withTimer.plugin(), 300, 196));
  EXPECT_FALSE(gui->setSize(withTimer.plugin(), 400, 196));
  // The host's scale reaches the editor whole (the editor snaps 1.25 to 1.5).
  EXPECT_TRUE(gui->setScale(withTimer.plugin(), 1.25));
  ASSERT_TRUE(gui->getSize(withTimer.plugin(), &w, &h));
  EXPECT_EQ(w, 450u);
  EXPECT_EQ(h, 294u);
  gui->destroy(withTimer.plugin());
}

// Every edit reaches the host as a whole gesture (the editor brackets only
// drags), and reaches the engine; also when the host's event list takes one
// event a block: what it refuses waits, and no end is lost. Needs an X server:
// ctest runs it under Xvfb.
TEST(ClapEditor, EveryEditReachesTheHostAsAWholeGesture) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X server";
  HostWindow window;
  ASSERT_NE(window.display, nullptr);
  ClapHost referenceHost;
  ClapInstance reference(referenceHost);
  ASSERT_TRUE(reference.activate(44100, 64));
  StereoBuffer in(64), out(64);
  reference.process(in.channels(), out.channels(), 64, {{0, 0, 0.0}, {0, 1, 0.25}});
  const auto tail = [](ClapInstance& fx) { return fx.ext<clap::PluginTail>(clap::kTailId)->get(fx.plugin()); };

  for (int room : {1000, 1}) {
    SCOPED_TRACE(::testing::Message() << "the host takes " << room << " events a block");
    ClapHost host;
    ClapInstance fx(host);
    ASSERT_TRUE(fx.activate(44100, 64));
    const clap::Plugin* p = fx.plugin();
    const auto* gui = fx.ext<clap::PluginGui>(clap::kGuiId);
    ASSERT_TRUE(gui->create(p, "x11", false));
    clap::Window parent{"x11", {}};
    parent.x11 = static_cast<unsigned long>(window.window);
    ASSERT_TRUE(gui->setParent(p, &parent));
    struct Sink {
      GestureLog log;
      int room, left = 0;
    } sink{{}, room};
    clap::OutputEvents list{&sink, [](const clap::OutputEvents* l, const clap::EventHeader* h) {
                              auto* s = static_cast<Sink*>(l->ctx);
                              if (s->left == 0) return false;
                              --s->left;
                              const auto* g = reinterpret_cast<const clap::ParamGestureEvent*>(h);
                              const auto* v = reinterpret_cast<const clap::ParamValueEvent*>(h);
                              if (h->type == clap::kParamGestureBegin) s->log.begin(g->paramId);
                              if (h->type == clap::kParamGestureEnd) s->log.end(g->paramId);
                              if (h->type == clap::kParamValueEvent) s->log.value(v->paramId, v->value);
                              return true;
                            }};
    auto block = [&] {
      sink.left = sink.room;
      clap::AudioBuffer ib{in.channels(), nullptr, 2, 0, 0}, ob{out.channels(), nullptr, 2, 0, 0};
      clap::Process pr{-1, 64, nullptr, &ib, &ob, 1, 1, nullptr, &list};
      p->process(p, &pr);
    };
    const auto* timer = fx.ext<clap::PluginTimerSupport>(clap::kTimerSupportId);
    for (int i = 0; i < 5; ++i) {
      timer->onTimer(p, 1);
      pause(10);
    }
    Pointer pointer;
    editEveryWay(pointer, [&] {
      timer->onTimer(p, 1);
      block();
    });
    for (int i = 0; i < 20; ++i) block();
    EXPECT_TRUE(sink.log.whole()) << sink.log.strays << " events outside a gesture";
    EXPECT_EQ(sink.log.gestures[0], 1) << "the switch";
    // Gestures that meet while the host's list is full go out as one.
    if (room > 1) {
      EXPECT_EQ(sink.log.gestures[1], 3) << "Decay dragged, reset and typed";
    }
    EXPECT_EQ(sink.log.last[0], 0.0);
    EXPECT_EQ(sink.log.last[1], static_cast<double>(0.25f));
    EXPECT_EQ(fx.value(1), static_cast<double>(0.25f));
    EXPECT_EQ(tail(fx), tail(reference)) << "the engine has the edited values";
    gui->destroy(p);
  }
}

// A Qt host at QT_SCALE_FACTOR=2 (Qtractor) names no scale and doubles every
// size it is told. Needs an X server: ctest runs it under Xvfb.
TEST(ClapEditor, InAQtHostAtScaleFactor2ThePictureIs600By392AndTheHostIsToldHalf) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X server";
  HostToolkit qt({"libQt6Gui.so.6", "libQt5Gui.so.5"}, "QT_SCALE_FACTOR", "2");
  ASSERT_TRUE(qt.loaded) << "neither Qt 6 nor Qt 5 is installed";
  HostWindow window(nullptr, 600, 392);
  ASSERT_NE(window.display, nullptr);
  ClapHost host;
  ClapInstance fx(host);
  const auto* gui = fx.ext<clap::PluginGui>(clap::kGuiId);
  const auto* timer = fx.ext<clap::PluginTimerSupport>(clap::kTimerSupportId);
  auto idle = [&] {
    for (int i = 0; i < 3; ++i) {
      timer->onTimer(fx.plugin(), 1);
      pause(10);
    }
  };
  ASSERT_TRUE(gui->create(fx.plugin(), "x11", false));
  std::uint32_t w = 0, h = 0;
  ASSERT_TRUE(gui->getSize(fx.plugin(), &w, &h));
  EXPECT_EQ(std::make_pair(w, h), std::make_pair(300u, 196u));
  EXPECT_TRUE(gui->setSize(fx.plugin(), 300, 196));
  clap::Window parent{"x11", {}};
  parent.x11 = window.window;
  ASSERT_TRUE(gui->setParent(fx.plugin(), &parent));
  idle();
  EXPECT_EQ(window.size(window.child()), (std::pair<int, int>{600, 392}));
  // The host's own call still sets the picture's scale, told halved as well.
  EXPECT_TRUE(gui->setScale(fx.plugin(), 1.0));
  idle();
  EXPECT_EQ(window.size(window.child()), (std::pair<int, int>{300, 196}));
  ASSERT_TRUE(gui->getSize(fx.plugin(), &w, &h));
  EXPECT_EQ(std::make_pair(w, h), std::make_pair(150u, 98u));
  EXPECT_EQ(host.resizeRequests, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{150, 98}}));
  gui->destroy(fx.plugin());
}

}  // namespace
}  // namespace korro::test
