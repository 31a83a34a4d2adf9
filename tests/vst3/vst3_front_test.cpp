// What only VST3 has, through a host of our own: interface ids, the factory,
// one object answering every face, buses and arrangements, parameters and the
// program list (against the VST 2 module's own answers), what the host hears
// back, silence flags, calls out of order, activation on the audio thread and
// the view. Samples, state, tail and editor sizes: tests/fronts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "korro/version.h"
#include "support/alloc_counter.h"
#include "support/host_toolkit.h"
#include "support/module_fixture.h"
#include "vst3_host.h"

// Last: Xlib's macros (None, Bool, Status) clash with other names.
#include "support/x11_host.h"

namespace korro::test {
namespace {

using namespace vst3host;

const Module& builtVst3() {
  static const Module module(KORRO_VST3_PATH);
  return module;
}

constexpr ParamId kProgram = 1000;

std::string ascii(const char16* text) {
  std::string s;
  for (int i = 0; i < 128 && text[i]; ++i) s += static_cast<char>(text[i]);
  return s;
}
std::u16string wide(const char* text) { return std::u16string(text, text + std::strlen(text)); }

std::string hex(const Tuid& t) {
  std::string s;
  char b[4];
  for (int i = 0; i < 16; ++i) {
    std::snprintf(b, sizeof b, i ? " %02X" : "%02X", t.bytes[i]);
    s += b;
  }
  return s;
}

// The module's program names and the values a program brings.
struct ModuleAnswers {
  host::Host host;
  host::Plugin vst{builtModule(), host};
  std::string programName(int k) { return vst.text(effGetProgramNameIndexed, k); }
  std::vector<double> programValues(int k) {
    vst.dispatch(effSetProgram, 0, k);
    std::vector<double> v;
    for (int i = 0; i < 5; ++i) v.push_back(vst.getParameter(i));
    return v;
  }
};

// ---------------------------------------------------------------- ids, factory, interfaces

TEST(Vst3Ids, LaidOutOnEachPlatformAsTheFormatFixesThem) {
  // The two worked examples, in both layouts.
  EXPECT_EQ(hex(makeTuid(0x00000000, 0x00000000, 0xC0000000, 0x00000046, IdLayout::Com)),
            "00 00 00 00 00 00 00 00 C0 00 00 00 00 00 00 46");
  EXPECT_EQ(hex(makeTuid(0x00000000, 0x00000000, 0xC0000000, 0x00000046, IdLayout::BigEndian)),
            "00 00 00 00 00 00 00 00 C0 00 00 00 00 00 00 46");
  EXPECT_EQ(hex(makeTuid(0x22888DDB, 0x156E45AE, 0x8358B348, 0x08190625, IdLayout::Com)),
            "DB 8D 88 22 6E 15 AE 45 83 58 B3 48 08 19 06 25");
  EXPECT_EQ(hex(makeTuid(0x22888DDB, 0x156E45AE, 0x8358B348, 0x08190625, IdLayout::BigEndian)),
            "22 88 8D DB 15 6E 45 AE 83 58 B3 48 08 19 06 25");
  // Every word's every byte lands apart: B's halves swap their bytes in COM order.
  EXPECT_EQ(hex(makeTuid(0x42043F99, 0xB7DA453C, 0xA569E79D, 0x9AAEC33D, IdLayout::Com)),
            "99 3F 04 42 DA B7 3C 45 A5 69 E7 9D 9A AE C3 3D");
  EXPECT_EQ(kNativeIdLayout, IdLayout::BigEndian);

  // Every id the front and this host use, as the format's table gives the Linux bytes.
  const struct {
    const Tuid& id;
    const char* bytes;
  } ids[] = {
      {kFUnknownId, "00 00 00 00 00 00 00 00 C0 00 00 00 00 00 00 46"},
      {kPluginBaseId, "22 88 8D DB 15 6E 45 AE 83 58 B3 48 08 19 06 25"},
      {kPluginFactoryId, "7A 4D 81 1C 52 11 4A 1F AE D9 D2 EE 0B 43 BF 9F"},
      {kPluginFactory2Id, "00 07 B6 50 F2 4B 4C 0B A4 64 ED B9 F0 0B 2A BB"},
      {kPluginFactory3Id, "45 55 A2 AB C1 23 4E 57 9B 12 29 10 36 87 89 31"},
      {kComponentId, "E8 31 FF 31 F2 D5 43 01 92 8E BB EE 25 69 78 02"},
      {kAudioProcessorId, "42 04 3F 99 B7 DA 45 3C A5 69 E7 9D 9A AE C3 3D"},
      {kProcessContextRequirementsId, "2A 65 43 03 EF 76 4E 3D 95 B5 FE 83 73 0E F6 D0"},
      {kEditControllerId, "DC D7 BB E3 77 42 44 8D A8 74 AA CC 97 9C 75 9E"},
      {kComponentHandlerId, "93 A0 BE A3 0B D0 45 DB 8E 89 0B 0C C1 E4 6A C6"},
      {kConnectionPointId, "70 A4 15 6F 6E 6E 40 26 98 91 48 BF AA 60 D8 D1"},
      {kBStreamId, "C3 BF 6E A2 30 99 47 52 9B 6B F9 90 1E E3 3E 9B"},
      {kUnitInfoId, "3D 4B D6 B5 91 3A 4F D2 A8 86 E7 68 A5 EB 92 C1"},
      {kParameterChangesId, "A4 77 96 63 0B B6 4A 56 B4 43 84 A8 46 6F EB 9D"},
      {kParamValueQueueId, "01 26 3A 18 ED 07 4F 6F 98 C9 D3 56 46 86 F9 BA"},
      {kPlugViewId, "5B C3 25 07 D0 60 49 EA A6 15 1B 52 2B 75 5B 29"},
      {kPlugFrameId, "36 7F AF 01 AF A9 46 93 8D 4D A2 A0 ED 08 82 A3"},
      {kContentScaleSupportId, "65 ED 96 90 8A C4 45 25 8A AD EF 7A 72 EA 70 3F"},
      {kRunLoopId, "18 C3 53 66 97 76 4F 1A 9C 5B 83 85 7A 87 13 89"},
      {kTimerHandlerId, "10 BD D9 4F 41 42 47 74 82 1F AD 8F EC A7 2C A9"},
      {kHostApplicationId, "58 E5 95 CC DB 2D 49 69 8B 6A AF 8C 36 A6 64 E5"},
  };
  for (const auto& i : ids) EXPECT_EQ(hex(i.id), i.bytes);
}

TEST(Vst3Factory, DescribesOneReverbClassAndMakesOnlyThat) {
  const Module& m = builtVst3();
  ASSERT_NE(m.factory(), nullptr) << m.error();
  auto* f = m.factory();
  for (const Tuid* iid : {&kFUnknownId, &kPluginFactoryId, &kPluginFactory2Id, &kPluginFactory3Id}) {
    void* out = nullptr;
    EXPECT_EQ(f->table->queryInterface(f, iid, &out), kOk);
    EXPECT_EQ(out, f);
  }
  void* out = &out;
  EXPECT_EQ(f->table->queryInterface(f, &kComponentId, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);

  FactoryInfo fi{};
  ASSERT_EQ(f->table->getFactoryInfo(f, &fi), kOk);
  EXPECT_STREQ(fi.vendor, "Korro Tarrow");
  EXPECT_EQ(fi.flags, 0x10);
  ASSERT_EQ(f->table->countClasses(f), 1);

  ClassInfo ci{};
  ASSERT_EQ(f->table->getClassInfo(f, 0, &ci), kOk);
  EXPECT_STREQ(ci.category, "Audio Module Class");
  EXPECT_STREQ(ci.name, "Korro Tarrow");
  EXPECT_EQ(ci.cardinality, 0x7FFFFFFF);
  EXPECT_NE(f->table->getClassInfo(f, 1, &ci), kOk);
  EXPECT_NE(f->table->getClassInfo(f, -1, &ci), kOk);
  EXPECT_NE(f->table->getClassInfo(f, 0, nullptr), kOk);

  ClassInfo2 c2{};
  ASSERT_EQ(f->table->getClassInfo2(f, 0, &c2), kOk);
  EXPECT_EQ(hex(c2.classId), hex(ci.classId));
  EXPECT_STREQ(c2.category, "Audio Module Class");
  EXPECT_STREQ(c2.name, "Korro Tarrow");
  EXPECT_STREQ(c2.subCategories, "Fx|Reverb");
  EXPECT_STREQ(c2.vendor, "Korro Tarrow");
  EXPECT_STREQ(c2.version, kProjectVersion);
  EXPECT_NE(f->table->getClassInfo2(f, 1, &c2), kOk);

  ClassInfoW cw{};
  ASSERT_EQ(f->table->getClassInfoUnicode(f, 0, &cw), kOk);
  EXPECT_EQ(hex(cw.classId), hex(ci.classId));
  EXPECT_STREQ(cw.category, "Audio Module Class");
  EXPECT_EQ(ascii(cw.name), "Korro Tarrow");
  EXPECT_STREQ(cw.subCategories, "Fx|Reverb");
  EXPECT_EQ(ascii(cw.vendor), "Korro Tarrow");
  EXPECT_EQ(ascii(cw.version), kProjectVersion);
  EXPECT_NE(f->table->getClassInfoUnicode(f, 1, &cw), kOk);

  // Another class, or no class: nothing made.
  Tuid other = ci.classId;
  other.bytes[15] ^= 1;
  out = &out;
  EXPECT_EQ(f->table->createInstance(f, &other, &kComponentId, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(f->table->createInstance(f, nullptr, &kComponentId, &out), kNoInterface);
  EXPECT_EQ(f->table->createInstance(f, &ci.classId, &kPlugViewId, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_NE(f->table->createInstance(f, &ci.classId, &kComponentId, nullptr), kOk);
  // Asked for by its base id, the object answers as itself.
  out = nullptr;
  ASSERT_EQ(f->table->createInstance(f, &ci.classId, &kFUnknownId, &out), kOk);
  auto* unknown = static_cast<Unknown*>(out);
  EXPECT_EQ(unknown->table->release(unknown), 0u);
}

TEST(Vst3Plugin, AnswersTheInterfacesOfAnEffectAsOneObject) {
  Instance fx(builtVst3());
  ASSERT_TRUE(fx);
  // What a host asks an effect for, asked of every face: each answers the same faces.
  const Tuid* answered[] = {&kFUnknownId, &kPluginBaseId, &kComponentId, &kAudioProcessorId,
                            &kProcessContextRequirementsId, &kEditControllerId, &kUnitInfoId};
  const Tuid kEditController2 = makeTuid(0x7F4EFE59, 0xF3204967, 0xAC27A3AE, 0xAFB63038);
  const Tuid kProgramListData = makeTuid(0x8683B01F, 0x7B354F70, 0xA2651DEC, 0x353AF4FF);
  const Tuid* refused[] = {&kConnectionPointId, &kEditController2, &kProgramListData, &kPlugViewId,
                           &kPluginFactoryId,   &kBStreamId,       &kComponentHandlerId};
  void* faces[] = {fx.component, fx.processor, fx.controller, fx.units};
  std::vector<void*> first;
  for (void* face : faces) {
    auto* u = static_cast<Unknown*>(face);
    std::vector<void*> got;
    for (const Tuid* iid : answered) {
      void* out = nullptr;
      ASSERT_EQ(u->table->queryInterface(u, iid, &out), kOk) << hex(*iid);
      ASSERT_NE(out, nullptr);
      got.push_back(out);
      // Each answer holds a count of its own.
      EXPECT_GE(static_cast<Unknown*>(out)->table->release(out), 1u);
    }
    if (first.empty()) first = got;
    EXPECT_EQ(got, first) << "every face leads to the same faces";
    for (const Tuid* iid : refused) {
      void* out = &out;
      EXPECT_EQ(u->table->queryInterface(u, iid, &out), kNoInterface) << hex(*iid);
      EXPECT_EQ(out, nullptr);
    }
    void* out = &out;
    EXPECT_EQ(u->table->queryInterface(u, nullptr, &out), kNoInterface);
    EXPECT_NE(u->table->queryInterface(u, &kComponentId, nullptr), kOk);
  }
  EXPECT_EQ(first[0], fx.component);
  EXPECT_EQ(first[3], fx.processor);
  EXPECT_EQ(first[5], fx.controller);
  EXPECT_EQ(first[6], fx.units);

  // The context it needs: none (it keeps no tempo or transport).
  auto* req = static_cast<Interface<ProcessContextRequirementsTable>*>(first[4]);
  EXPECT_EQ(req->table->getProcessContextRequirements(req), 0u);

  // One count for all faces: the processor outlives a released component.
  auto* c = fx.component;
  EXPECT_EQ(c->table->addRef(c), 5u);  // component, processor, controller, units, and this
  EXPECT_EQ(fx.processor->table->release(fx.processor), 4u);
  EXPECT_EQ(c->table->addRef(c), 5u);
  EXPECT_EQ(c->table->release(c), 4u);

  Tuid controllerClass{};
  EXPECT_NE(c->table->getControllerClassId(c, &controllerClass), kOk) << "no separate controller class";
  EXPECT_EQ(fx.processor->table->getLatencySamples(fx.processor), 0u);
}

TEST(Vst3Plugin, OneStereoOutputFedByAStereoOrMonoInput) {
  Instance fx(builtVst3());
  ASSERT_TRUE(fx);
  auto* c = fx.component;
  auto* p = fx.processor;
  EXPECT_EQ(c->table->getBusCount(c, kAudio, kInput), 1);
  EXPECT_EQ(c->table->getBusCount(c, kAudio, kOutput), 1);
  EXPECT_EQ(c->table->getBusCount(c, kEvent, kInput), 0);
  EXPECT_EQ(c->table->getBusCount(c, kEvent, kOutput), 0);
  for (std::int32_t dir : {kInput, kOutput}) {
    BusInfo b{};
    ASSERT_EQ(c->table->getBusInfo(c, kAudio, dir, 0, &b), kOk);
    EXPECT_EQ(b.mediaType, kAudio);
    EXPECT_EQ(b.direction, dir);
    EXPECT_EQ(b.channelCount, 2);
    EXPECT_EQ(b.busType, 0) << "main";
    EXPECT_EQ(b.flags & 1u, 1u) << "active by default";
    EXPECT_EQ(ascii(b.name), dir == kInput ? "Input" : "Output");
    EXPECT_NE(c->table->getBusInfo(c, kAudio, dir, 1, &b), kOk);
    EXPECT_NE(c->table->getBusInfo(c, kEvent, dir, 0, &b), kOk);
    EXPECT_NE(c->table->getBusInfo(c, kAudio, dir, 0, nullptr), kOk);
    std::uint64_t a = 0;
    ASSERT_EQ(p->table->getBusArrangement(p, dir, 0, &a), kOk);
    EXPECT_EQ(a, kSpeakerStereo);
    EXPECT_NE(p->table->getBusArrangement(p, dir, 1, &a), kOk);
  }
  BusInfo b{};
  EXPECT_NE(c->table->getBusInfo(c, kAudio, 2, 0, &b), kOk);

  auto arrange = [&](std::vector<std::uint64_t> in, std::vector<std::uint64_t> out) {
    return p->table->setBusArrangements(p, in.data(), static_cast<std::int32_t>(in.size()), out.data(),
                                        static_cast<std::int32_t>(out.size()));
  };
  auto inputChannels = [&] {
    BusInfo info{};
    c->table->getBusInfo(c, kAudio, kInput, 0, &info);
    std::uint64_t a = 0;
    p->table->getBusArrangement(p, kInput, 0, &a);
    return std::pair{info.channelCount, a};
  };
  EXPECT_EQ(arrange({kSpeakerMono}, {kSpeakerStereo}), kTrue);
  EXPECT_EQ(inputChannels(), (std::pair{1, kSpeakerMono}));
  // Refused, and the mono input stays.
  using Arrangements = std::vector<std::uint64_t>;
  const Arrangements stereo{kSpeakerStereo}, mono{kSpeakerMono}, surround{0x3F}, leftOnly{0x1}, none{},
      twoBuses{kSpeakerStereo, kSpeakerStereo};
  for (const auto& [in, out] : {std::pair{stereo, mono}, {surround, stereo}, {leftOnly, stereo}, {stereo, surround},
                                {none, stereo}, {twoBuses, stereo}, {stereo, twoBuses}}) {
    EXPECT_NE(arrange(in, out), kTrue);
    EXPECT_EQ(inputChannels(), (std::pair{1, kSpeakerMono}));
  }
  EXPECT_NE(p->table->setBusArrangements(p, nullptr, 1, nullptr, 1), kTrue);
  EXPECT_EQ(arrange({kSpeakerStereo}, {kSpeakerStereo}), kTrue);
  EXPECT_EQ(inputChannels(), (std::pair{2, kSpeakerStereo}));

  EXPECT_EQ(p->table->canProcessSampleSize(p, 0), kTrue);
  EXPECT_NE(p->table->canProcessSampleSize(p, 1), kTrue) << "32-bit samples only";
  ProcessSetup doubles{0, 1, 512, 44100.0};
  EXPECT_NE(p->table->setupProcessing(p, &doubles), kOk);
  EXPECT_NE(p->table->setupProcessing(p, nullptr), kOk);
}

TEST(Vst3Plugin, FiveParametersAndTheProgramList) {
  Instance fx(builtVst3());
  ASSERT_TRUE(fx);
  auto* e = fx.controller;
  ASSERT_EQ(e->table->getParameterCount(e), 6);
  ModuleAnswers module;
  const char* units[] = {"", "%", "%", "dB", "%"};
  for (std::int32_t i = 0; i < 5; ++i) {
    ParameterInfo info{};
    ASSERT_EQ(e->table->getParameterInfo(e, i, &info), kOk);
    EXPECT_EQ(info.id, static_cast<ParamId>(i));
    std::string name = module.vst.text(effGetParamName, i);
    name.erase(0, name.find_first_not_of(' '));
    EXPECT_EQ(ascii(info.title), name.erase(name.find_last_not_of(' ') + 1));
    EXPECT_EQ(ascii(info.units), units[i]);
    EXPECT_EQ(info.stepCount, i == 0 ? 1 : 0);
    EXPECT_EQ(info.defaultNormalizedValue, module.vst.getParameter(i));
    EXPECT_EQ(info.flags, kCanAutomate) << "automatable, and Bypass is not the host's bypass";
    EXPECT_EQ(info.unitId, 0);
    EXPECT_EQ(fx.value(static_cast<ParamId>(i)), info.defaultNormalizedValue);
  }
  ParameterInfo program{};
  ASSERT_EQ(e->table->getParameterInfo(e, 5, &program), kOk);
  EXPECT_EQ(program.id, kProgram);
  EXPECT_GE(program.id, 5u) << "outside the five";
  EXPECT_EQ(program.stepCount, 7);
  EXPECT_EQ(program.flags, kIsList | kIsProgramChange) << "not automatable";
  EXPECT_EQ(program.unitId, 0);
  EXPECT_EQ(program.defaultNormalizedValue, 0.0);
  ParameterInfo none{};
  EXPECT_NE(e->table->getParameterInfo(e, 6, &none), kOk);
  EXPECT_NE(e->table->getParameterInfo(e, -1, &none), kOk);
  EXPECT_NE(e->table->getParameterInfo(e, 0, nullptr), kOk);

  // One text and its inverse through the format: the texts themselves are ParameterText's.
  char16 text[128];
  std::fill(std::begin(text), std::end(text), u'#');
  ASSERT_EQ(e->table->getParamStringByValue(e, 3, 0.0, text), kOk);
  EXPECT_EQ(ascii(text), "-oo dB");
  double back = -1.0;
  ASSERT_EQ(e->table->getParamValueByString(e, 4, u"25%", &back), kOk);
  EXPECT_EQ(back, 0.25);
  // Program k sits at k/7; the nearest step names it.
  for (int k = 0; k < 8; ++k) {
    char16 out[128] = {};
    ASSERT_EQ(e->table->getParamStringByValue(e, kProgram, k / 7.0, out), kOk);
    EXPECT_EQ(ascii(out), module.programName(k));
    double back = -1.0;
    ASSERT_EQ(e->table->getParamValueByString(e, kProgram, wide(module.programName(k).c_str()).c_str(), &back), kOk);
    EXPECT_EQ(back, k / 7.0);
    EXPECT_EQ(e->table->normalizedToPlain(e, kProgram, k / 7.0), k);
    EXPECT_EQ(e->table->plainToNormalized(e, kProgram, k), k / 7.0);
  }
  const struct {
    double value;
    int program;
  } rounding[] = {{0.5 / 7, 1}, {std::nextafter(0.5 / 7, 0.0), 0}, {6.5 / 7, 7}, {std::nextafter(6.5 / 7, 0.0), 6},
                  {1.0, 7}, {1.5, 7}, {-0.2, 0}, {NAN, 0}};
  for (const auto& r : rounding) {
    char16 out[128] = {};
    ASSERT_EQ(e->table->getParamStringByValue(e, kProgram, r.value, out), kOk) << r.value;
    EXPECT_EQ(ascii(out), module.programName(r.program)) << r.value;
  }
  double v = -1.0;
  EXPECT_NE(e->table->getParamValueByString(e, kProgram, u"Basic", &v), kOk);
  EXPECT_NE(e->table->getParamValueByString(e, 1, u"fifty", &v), kOk);
  EXPECT_NE(e->table->getParamValueByString(e, 5, u"50%", &v), kOk);
  EXPECT_NE(e->table->getParamValueByString(e, 1, nullptr, &v), kOk);
  EXPECT_EQ(v, -1.0);
  char16 out[128];
  EXPECT_NE(e->table->getParamStringByValue(e, 5, 0.5, out), kOk);
  EXPECT_NE(e->table->getParamStringByValue(e, 1, 0.5, nullptr), kOk);
  EXPECT_EQ(e->table->normalizedToPlain(e, 3, 0.25), 0.25) << "the five are their own plain values";
  // The host's own edits, from its UI thread; a program brings its values.
  EXPECT_EQ(e->table->setParamNormalized(e, 2, 0.75), kOk);
  EXPECT_EQ(fx.value(2), 0.75);
  EXPECT_EQ(e->table->setParamNormalized(e, kProgram, 3 / 7.0), kOk);
  EXPECT_EQ(fx.value(kProgram), 3 / 7.0);
  const std::vector<double> third = module.programValues(3);
  EXPECT_EQ(fx.value(1), third[1]);
  EXPECT_EQ(fx.value(2), third[2]);
  EXPECT_NE(e->table->setParamNormalized(e, 5, 0.5), kOk);
  // A text longer than any the plug-in gives is read no further than its buffer.
  std::u16string longText(500, u'9');
  e->table->getParamValueByString(e, 1, longText.c_str(), &v);

  // The unit and its program list: the eight factory programs under their names.
  auto* u = fx.units;
  ASSERT_EQ(u->table->getUnitCount(u), 1);
  UnitInfo unit{};
  ASSERT_EQ(u->table->getUnitInfo(u, 0, &unit), kOk);
  EXPECT_EQ(unit.id, 0);
  EXPECT_EQ(unit.parentUnitId, -1);
  EXPECT_NE(u->table->getUnitInfo(u, 1, &unit), kOk);
  ASSERT_EQ(u->table->getProgramListCount(u), 1);
  ProgramListInfo list{};
  ASSERT_EQ(u->table->getProgramListInfo(u, 0, &list), kOk);
  EXPECT_EQ(unit.programListId, list.id);
  EXPECT_NE(list.id, -1);
  EXPECT_EQ(list.programCount, 8);
  EXPECT_NE(u->table->getProgramListInfo(u, 1, &list), kOk);
  for (int k = 0; k < 8; ++k) {
    char16 name[128] = {};
    ASSERT_EQ(u->table->getProgramName(u, list.id, k, name), kOk);
    EXPECT_EQ(ascii(name), module.programName(k));
  }
  char16 name[128] = {};
  EXPECT_NE(u->table->getProgramName(u, list.id, 8, name), kOk);
  EXPECT_NE(u->table->getProgramName(u, list.id, -1, name), kOk);
  EXPECT_NE(u->table->getProgramName(u, list.id + 1, 0, name), kOk);
  EXPECT_NE(u->table->getProgramName(u, list.id, 0, nullptr), kOk);
}

// ---------------------------------------------------------------- what the host hears back

// The program's five values go back to the host, and the controller shows them.
TEST(Vst3Plugin, AProgramChosenInABlockIsToldBackAsItsFiveValues) {
  ModuleAnswers module;
  Instance fx(builtVst3());
  ASSERT_TRUE(fx.start(44100, 64));
  StereoBuffer in(64), out(64);
  Changes changes, outputs;
  changes.add(kProgram, 30, 4 / 7.0);
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 64, &changes, &outputs), kOk);
  const std::vector<double> expected = module.programValues(4);
  for (ParamId i = 0; i < 5; ++i) {
    double v = -1.0;
    ASSERT_TRUE(outputs.last(i, v)) << i;
    EXPECT_EQ(v, expected[i]) << i;
    EXPECT_EQ(fx.value(i), expected[i]) << i;
  }
  EXPECT_EQ(fx.value(kProgram), 4 / 7.0);

  // Ardour selects a preset through the controller and then sends the same
  // program to the processor; it learns the five values only from there.
  ASSERT_EQ(fx.controller->table->setParamNormalized(fx.controller, kProgram, 6 / 7.0), kOk);
  Changes echo;
  echo.add(kProgram, 0, 6 / 7.0);
  outputs.clear();
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 64, &echo, &outputs), kOk);
  const std::vector<double> echoed = module.programValues(6);
  for (ParamId i = 0; i < 5; ++i) {
    double v = -1.0;
    ASSERT_TRUE(outputs.last(i, v)) << i;
    EXPECT_EQ(v, echoed[i]) << i;
  }
  outputs.clear();
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 64, nullptr, &outputs), kOk);
  EXPECT_EQ(outputs.count, 0) << "no program change, nothing told";
}

TEST(Vst3Plugin, SilenceFlagsMarkChannelsWrittenAllZero) {
  Instance fx(builtVst3());
  ASSERT_TRUE(fx.start(44100, 256));
  StereoBuffer in(256), out(256);
  Changes dryOnly;
  dryOnly.add(4, 0, 0.0).add(0, 0, 0.0);  // Mix 0, springs not fed: the output is the input
  std::uint64_t flags = ~std::uint64_t{0};
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 256, &dryOnly, nullptr, &flags), kOk);
  EXPECT_EQ(flags, 3u) << "both written all zero; bits of channels that do not exist cleared";
  for (int at : {0, 255}) {
    in.left[at] = 0.25f;
    flags = 3;
    ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 256, nullptr, nullptr, &flags), kOk);
    ASSERT_EQ(out.left[at], 0.25f);
    EXPECT_EQ(flags, 2u) << "one sample at " << at << " on the left";
    in.left[at] = 0.0f;
  }
  in.right[100] = -1e-30f;
  flags = 0;
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 256, nullptr, nullptr, &flags), kOk);
  EXPECT_EQ(flags, 1u) << "a tiny value is not zero";
  in.right[100] = -0.0f;
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 256, nullptr, nullptr, &flags), kOk);
  EXPECT_EQ(flags, 3u) << "-0 is zero";
}

// ---------------------------------------------------------------- state

// Round trips and refusals: tests/fronts. A load restarts the controller's
// values in the host; a refused one tells nothing; the controller's copy changes nothing.
TEST(Vst3Plugin, AStateLoadTellsTheHostAndNoStreamIsRefused) {
  Instance a(builtVst3()), b(builtVst3());
  ASSERT_TRUE(a.start(48000, 256) && b.start(48000, 256));
  Stream bad(a.state());
  bad.bytes[4] = 2;
  EXPECT_NE(b.component->table->setState(b.component, bad.self()), kOk);
  EXPECT_EQ(b.handler.restarts, 0);
  Stream s(a.state());
  ASSERT_EQ(b.component->table->setState(b.component, s.self()), kOk);
  EXPECT_EQ(b.handler.restarts, 1);
  EXPECT_EQ(b.handler.lastRestartFlags & kRestartParamValuesChanged, kRestartParamValuesChanged);
  Stream again(a.state());
  EXPECT_EQ(b.controller->table->setComponentState(b.controller, again.self()), kOk);
  EXPECT_EQ(b.state(), a.state());
  EXPECT_NE(b.component->table->setState(b.component, nullptr), kOk);
  EXPECT_NE(b.component->table->getState(b.component, nullptr), kOk);
}

// ---------------------------------------------------------------- hostile calls

TEST(Vst3Plugin, HostileCallsNeitherCrashNorGiveNaN) {
  Instance fx(builtVst3());
  ASSERT_TRUE(fx);
  StereoBuffer in(2048, 0.25f), out(2048);
  EXPECT_NE(fx.process(in.channels(), 2, out.channels(), 64), kOk) << "before activation";
  auto* p = fx.processor;
  EXPECT_NE(p->table->process(p, nullptr), kOk);
  ASSERT_TRUE(fx.start(44100, 256));
  EXPECT_NE(p->table->process(p, nullptr), kOk);

  // A negative length is an empty block; an offset before the block is its start.
  Changes changes;
  changes.add(1, 0, 0.9).add(2, -4, 0.7);
  out.left[0] = 7.0f;
  ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), -5, &changes), kOk);
  EXPECT_EQ(out.left[0], 7.0f) << "nothing written";
  EXPECT_EQ(fx.value(1), static_cast<double>(0.9f));
  EXPECT_EQ(fx.value(2), static_cast<double>(0.7f));

  // Missing buses, channels and pointers; a mono bus where stereo was arranged.
  float* nulls[2] = {nullptr, nullptr};
  float* one[2] = {in.left.data(), nullptr};
  AudioBusBuffers stereoIn{2, 0, in.channels()}, stereoOut{2, 0, out.channels()}, none{0, 0, nullptr},
      empty{2, 0, nulls}, mono{1, 0, one}, noChannels{2, 0, nullptr};
  const struct {
    AudioBusBuffers* in;
    std::int32_t inCount;
    AudioBusBuffers* out;
    std::int32_t outCount;
  } forms[] = {{nullptr, 1, nullptr, 1},   {&none, 1, &stereoOut, 1},      {&mono, 1, &stereoOut, 1},
               {&empty, 1, &empty, 1},     {&stereoIn, 1, &none, 0},       {&stereoIn, 0, &stereoOut, 1},
               {&noChannels, 1, &noChannels, 1}, {&stereoIn, 1, &mono, 1}, {&stereoIn, 1, nullptr, 1}};
  for (const auto& f : forms) {
    for (std::int32_t frames : {300, 1000}) {
      ProcessData d{};
      d.sampleCount = frames;
      d.inputs = f.in;
      d.inputCount = f.inCount;
      d.outputs = f.out;
      d.outputCount = f.outCount;
      EXPECT_EQ(p->table->process(p, &d), kOk);
    }
  }
  ProcessData doubles{};
  doubles.symbolicSampleSize = 1;
  doubles.sampleCount = 16;
  EXPECT_NE(p->table->process(p, &doubles), kOk) << "64-bit samples are not ours";

  for (int b = 0; b < 100; ++b) {
    fx.process(in.channels(), 2, out.channels(), 256);
    for (int k = 0; k < 256; ++k) ASSERT_TRUE(std::isfinite(out.left[k]) && std::isfinite(out.right[k]));
  }

  // Odd rates and block sizes, then a block.
  for (double rate : {0.0, -44100.0, 1.0, 7e6, static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
    SCOPED_TRACE(rate);
    fx.stop();
    ProcessSetup setup{0, 0, 256, rate};
    p->table->setupProcessing(p, &setup);
    fx.component->table->setActive(fx.component, 1);
    fx.process(in.channels(), 2, out.channels(), 256);
    for (int k = 0; k < 256; ++k) ASSERT_TRUE(std::isfinite(out.left[k]) && std::isfinite(out.right[k]));
    p->table->getTailSamples(p);
    fx.component->table->setActive(fx.component, 0);
  }
  for (std::int32_t block : {0, -1}) {
    ProcessSetup setup{0, 0, block, 44100};
    EXPECT_NE(p->table->setupProcessing(p, &setup), kOk) << block;
  }
}

// Nor does switching on and off on the audio thread, as Ardour does, with a
// state handed over meanwhile: setup_processing prepared the new block size.
TEST(Vst3Plugin, ProcessingAndActivationAllocateNothing) {
  Instance fx(builtVst3());
  ASSERT_TRUE(fx.start(96000, 512));
  StereoBuffer in(1024, 0.25f), out(1024);
  Changes changes, outputs;
  fx.process(in.channels(), 2, out.channels(), 512, &changes, &outputs);
  Stream state(fx.state());
  fx.stop();
  ProcessSetup setup{0, 0, 1024, 48000};
  ASSERT_EQ(fx.processor->table->setupProcessing(fx.processor, &setup), kOk);
  AllocationWatch watch;
  for (int b = 0; b < 50; ++b) {
    if (b % 10 == 0) {
      fx.component->table->setActive(fx.component, 0);
      if (b == 20) fx.component->table->setState(fx.component, state.self());
      fx.component->table->setActive(fx.component, 1);
    }
    changes.clear();
    outputs.clear();
    changes.add(1, 100, b % 2 ? 0.2 : 0.9).add(2, 300, 0.4).add(4, 0, 0.7);
    if (b % 5 == 2) changes.add(kProgram, 17, (b % 8) / 7.0);
    ASSERT_EQ(fx.process(in.channels(), 2, out.channels(), 1024, &changes, &outputs), kOk);
    std::uint64_t flags = 0;
    fx.process(in.channels(), 2, out.channels(), 0, &changes, nullptr, &flags);
  }
  EXPECT_EQ(watch.count(), 0);
}

// ---------------------------------------------------------------- editor

// The host's content scale: tests/fronts. A GTK 3 host at GDK_SCALE=2 and no Xft.dpi: the picture at 2, its size
// reported as it is (no VST3 host was seen enlarging it again).
TEST(Vst3Editor, InAGtk3HostAtGdkScale2TheViewIsTheDoubledPicture) {
  HostToolkit gtk({HostToolkit::kGtk3}, "GDK_SCALE", "2");
  ASSERT_TRUE(gtk.loaded) << "GTK 3 is not installed";
  Instance fx(builtVst3());
  auto* v = static_cast<Interface<PlugViewTable>*>(fx.controller->table->createView(fx.controller, "editor"));
  ASSERT_NE(v, nullptr);
  ViewRect atTwo{};
  ASSERT_EQ(v->table->getSize(v, &atTwo), kOk);
  EXPECT_EQ(atTwo.right - atTwo.left, 600);
  EXPECT_EQ(atTwo.bottom - atTwo.top, 392);
  v->table->release(v);
}

// Needs an X server: ctest runs it under Xvfb.
TEST(Vst3Editor, OpensOnTheHostsWindowIdlesOnItsRunLoopAndLeavesNothing) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X server";
  HostWindow host;
  ASSERT_NE(host.display, nullptr);
  void* parentHandle = host.handle();

  enum Ending { kInOrder, kComponentFirst, kNotRemoved };
  auto session = [&](Frame& frame, Ending ending = kInOrder) {
    auto fx = std::make_unique<Instance>(builtVst3());
    auto* e = fx->controller;
    auto* v = static_cast<Interface<PlugViewTable>*>(e->table->createView(e, "editor"));
    if (!v) return;
    EXPECT_EQ(v->table->isPlatformTypeSupported(v, "X11EmbedWindowID"), kTrue);
    EXPECT_NE(v->table->isPlatformTypeSupported(v, "HWND"), kTrue);
    EXPECT_NE(v->table->isPlatformTypeSupported(v, nullptr), kTrue);
    ViewRect r{};
    EXPECT_EQ(v->table->getSize(v, &r), kOk);
    EXPECT_EQ(r.right - r.left, 300);
    EXPECT_EQ(r.bottom - r.top, 196);
    EXPECT_NE(v->table->canResize(v), kTrue);
    ViewRect wish{0, 0, 640, 480};
    EXPECT_EQ(v->table->checkSizeConstraint(v, &wish), kTrue);
    EXPECT_EQ(wish.right - wish.left, 300) << "the one size it has";
    EXPECT_EQ(wish.bottom - wish.top, 196);
    v->table->setFrame(v, frame.self());
    EXPECT_NE(v->table->attached(v, parentHandle, "HWND"), kOk);
    if (v->table->attached(v, parentHandle, "X11EmbedWindowID") == kOk) {
      EXPECT_NE(v->table->attached(v, parentHandle, "X11EmbedWindowID"), kOk) << "already open";
      for (int i = 0; i < 3; ++i) frame.tick();
      // A second view of the same instance does not take the first one's editor.
      auto* second = static_cast<Interface<PlugViewTable>*>(e->table->createView(e, "editor"));
      if (second) {
        second->table->setFrame(second, frame.self());
        EXPECT_NE(second->table->attached(second, parentHandle, "X11EmbedWindowID"), kOk);
        second->table->release(second);
      }
      frame.tick();
      // A host may release the view without removing it first.
      if (ending != kNotRemoved) {
        EXPECT_EQ(v->table->removed(v), kOk);
      }
    }
    // A host may let go of the component first: the view keeps what it needs.
    if (ending == kComponentFirst) fx.reset();
    v->table->release(v);
  };

  Frame frame;
  session(frame);  // the first opening loads fonts and pictures once
  EXPECT_EQ(frame.timersRegistered, 1);
  EXPECT_EQ(frame.timersUnregistered, 1);
  EXPECT_EQ(frame.interval, 30u);
  EXPECT_EQ(frame.timer, nullptr);
  EXPECT_EQ(frame.loopRefs, 0) << "the run loop handed back";

  const std::int64_t live = liveAllocations();
  for (int i = 0; i < 100; ++i) session(frame, static_cast<Ending>(i % 3));
  EXPECT_EQ(frame.timersRegistered, 101);
  EXPECT_EQ(frame.timersUnregistered, 101);
  EXPECT_EQ(liveAllocations(), live);

  // Without a run loop the editor would never draw: it is refused.
  Frame bare;
  bare.offerRunLoop = false;
  {
    Instance fx(builtVst3());
    auto* v = static_cast<Interface<PlugViewTable>*>(fx.controller->table->createView(fx.controller, "editor"));
    ASSERT_NE(v, nullptr);
    v->table->setFrame(v, bare.self());
    EXPECT_NE(v->table->attached(v, parentHandle, "X11EmbedWindowID"), kOk);
    EXPECT_EQ(v->table->removed(v), kOk);
    v->table->release(v);
    EXPECT_EQ(fx.controller->table->createView(fx.controller, "other"), nullptr);
  }

  // Every edit reaches the host as a whole gesture (the editor brackets only
  // drags), idled by the run loop only; the processor waits for the host's queue.
  Instance fx(builtVst3());
  ASSERT_TRUE(fx.start(44100, 256));
  const std::uint32_t tail = fx.processor->table->getTailSamples(fx.processor);
  auto* v = static_cast<Interface<PlugViewTable>*>(fx.controller->table->createView(fx.controller, "editor"));
  ASSERT_NE(v, nullptr);
  v->table->setFrame(v, frame.self());
  ASSERT_EQ(v->table->attached(v, parentHandle, "X11EmbedWindowID"), kOk);
  for (int i = 0; i < 5; ++i) {
    frame.tick();
    pause(10);
  }
  ASSERT_NE(host.child(), 0u) << "the editor made no window on the host's";
  Pointer pointer;
  editEveryWay(pointer, [&] { frame.tick(); });
  const GestureLog& g = fx.handler.gestures;
  EXPECT_TRUE(g.whole()) << g.strays << " edits outside a gesture";
  EXPECT_EQ(g.gestures[0], 1) << "the switch";
  EXPECT_EQ(g.gestures[1], 3) << "Decay dragged, reset and typed";
  EXPECT_EQ(g.last[0], 0.0);
  EXPECT_EQ(g.last[1], 0.25);
  EXPECT_EQ(fx.value(1), 0.25);
  EXPECT_EQ(fx.processor->table->getTailSamples(fx.processor), tail) << "the engine waits for the host's queue";

  // A scale given while open: the host is asked for the new size.
  void* face = nullptr;
  ASSERT_EQ(v->table->queryInterface(v, &kContentScaleSupportId, &face), kOk);
  auto* scale = static_cast<Interface<ContentScaleTable>*>(face);
  const int resizes = frame.resizes;
  EXPECT_EQ(scale->table->setContentScaleFactor(scale, 2.0f), kOk);
  frame.tick();
  EXPECT_EQ(frame.resizes, resizes + 1);
  EXPECT_EQ(frame.asked.right - frame.asked.left, 600);
  EXPECT_EQ(frame.asked.bottom - frame.asked.top, 392);
  scale->table->release(scale);
  EXPECT_EQ(v->table->removed(v), kOk);
  EXPECT_EQ(host.child(), 0u) << "its window is gone";
  v->table->release(v);
}

}  // namespace
}  // namespace korro::test
