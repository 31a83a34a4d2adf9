// The binary contract between a VST 2 host and this module: the effect record,
// the entry-point signatures and the opcode numbers both sides agree on.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_WIN32) && !defined(_WIN64)
#define KORRO_CDECL __cdecl
#else
#define KORRO_CDECL
#endif

struct AEffect;

using HostCallback = std::intptr_t(KORRO_CDECL*)(AEffect* effect, std::int32_t opcode, std::int32_t index,
                                                 std::intptr_t value, void* ptr, float opt);
using DispatcherProc = std::intptr_t(KORRO_CDECL*)(AEffect* effect, std::int32_t opcode, std::int32_t index,
                                                   std::intptr_t value, void* ptr, float opt);
using ProcessProc = void(KORRO_CDECL*)(AEffect* effect, float** inputs, float** outputs, std::int32_t frames);
using SetParameterProc = void(KORRO_CDECL*)(AEffect* effect, std::int32_t index, float value);
using GetParameterProc = float(KORRO_CDECL*)(AEffect* effect, std::int32_t index);

struct AEffect {
  std::int32_t magic;
  DispatcherProc dispatcher;
  ProcessProc process;  // accumulating form
  SetParameterProc setParameter;
  GetParameterProc getParameter;
  std::int32_t numPrograms;
  std::int32_t numParams;
  std::int32_t numInputs;
  std::int32_t numOutputs;
  std::int32_t flags;
  std::intptr_t resvd1;
  std::intptr_t resvd2;
  std::int32_t initialDelay;
  std::int32_t realQualities;
  std::int32_t offQualities;
  float ioRatio;
  void* object;
  void* user;
  std::int32_t uniqueID;
  std::int32_t version;
  ProcessProc processReplacing;  // overwriting form
  char future[60];
};

#if INTPTR_MAX == INT64_MAX
static_assert(offsetof(AEffect, object) == 96);
static_assert(offsetof(AEffect, uniqueID) == 112);
static_assert(offsetof(AEffect, processReplacing) == 120);
#else
static_assert(offsetof(AEffect, object) == 64);
static_assert(offsetof(AEffect, uniqueID) == 72);
static_assert(offsetof(AEffect, processReplacing) == 80);
#endif

struct ERect {
  std::int16_t top;
  std::int16_t left;
  std::int16_t bottom;
  std::int16_t right;
};

constexpr std::int32_t fourCharCode(char a, char b, char c, char d) {
  return static_cast<std::int32_t>((static_cast<std::uint32_t>(static_cast<unsigned char>(a)) << 24) |
                                   (static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 16) |
                                   (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 8) |
                                   static_cast<std::uint32_t>(static_cast<unsigned char>(d)));
}

// The content-scale call hosts send through effVendorSpecific, the scale in opt.
constexpr std::int32_t kContentScaleIndex = fourCharCode('P', 'r', 'e', 'S');
constexpr std::int32_t kContentScaleValue = fourCharCode('A', 'e', 'C', 's');
constexpr std::int32_t kEffectMagic = fourCharCode('V', 's', 't', 'P');

enum EffectFlags : std::int32_t {
  effFlagsHasEditor = 1,
  effFlagsCanMono = 8,
  effFlagsCanReplacing = 16,
  effFlagsIsSynth = 256,
};

// Requests the host answers (host callback opcodes).
enum HostOpcode : std::int32_t {
  audioMasterAutomate = 0,
  audioMasterVersion = 1,
  audioMasterIdle = 3,
  audioMasterPinConnected = 4,
  audioMasterSizeWindow = 15,
  audioMasterGetBlockSize = 17,
  audioMasterGetOutputLatency = 19,
  audioMasterBeginEdit = 43,
  audioMasterEndEdit = 44,
};

// Requests the effect answers (dispatcher opcodes).
enum EffectOpcode : std::int32_t {
  effOpen = 0,
  effClose = 1,
  effSetProgram = 2,
  effGetProgram = 3,
  effSetProgramName = 4,
  effGetProgramName = 5,
  effGetParamLabel = 6,
  effGetParamDisplay = 7,
  effGetParamName = 8,
  effGetVu = 9,
  effSetSampleRate = 10,
  effSetBlockSize = 11,
  effMainsChanged = 12,
  effEditGetRect = 13,
  effEditOpen = 14,
  effEditClose = 15,
  effEditDraw = 16,
  effEditMouse = 17,
  effEditKey = 18,
  effEditIdle = 19,
  effEditTop = 20,
  effEditSleep = 21,
  effIdentify = 22,
  effGetChunk = 23,
  effSetChunk = 24,
  effProcessEvents = 25,
  effCanBeAutomated = 26,
  effString2Parameter = 27,
  effGetNumProgramCategories = 28,
  effGetProgramNameIndexed = 29,
  effCopyProgram = 30,
  effConnectInput = 31,
  effConnectOutput = 32,
  effGetInputProperties = 33,
  effGetOutputProperties = 34,
  effGetPlugCategory = 35,
  effGetCurrentPosition = 36,
  effGetDestinationBuffer = 37,
  effOfflineNotify = 38,
  effOfflinePrepare = 39,
  effOfflineRun = 40,
  effProcessVarIo = 41,
  effSetSpeakerArrangement = 42,
  effSetBlockSizeAndSampleRate = 43,
  effSetBypass = 44,
  effGetEffectName = 45,
  effGetErrorText = 46,
  effGetVendorString = 47,
  effGetProductString = 48,
  effGetVendorVersion = 49,
  effVendorSpecific = 50,
  effCanDo = 51,
  effGetTailSize = 52,
  effIdle = 53,
  effGetIcon = 54,
  effSetViewPosition = 55,
  effGetParameterProperties = 56,
  effKeysRequired = 57,
  effGetVstVersion = 58,
  effEditKeyDown = 59,
  effEditKeyUp = 60,
  effSetEditKnobMode = 61,
  effGetMidiProgramName = 62,
  effGetCurrentMidiProgram = 63,
  effGetMidiProgramCategory = 64,
  effHasMidiProgramsChanged = 65,
  effGetMidiKeyName = 66,
  effBeginSetProgram = 67,
  effEndSetProgram = 68,
};

// Keyboard event handed to the editor by effEditKeyDown / effEditKeyUp.
struct VstKeyCode {
  std::int32_t character;
  unsigned char virt;
  unsigned char modifier;
};
