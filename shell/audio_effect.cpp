#include "audio_effect.h"

#include <cmath>
#include <cstring>

#include "shell/base/aeff_editor.h"
#include "shell/base/decimal_text.h"

AudioEffect::AudioEffect(HostCallback audioMaster_, std::int32_t numPrograms_, std::int32_t numParams_)
    : audioMaster(audioMaster_), numPrograms(numPrograms_), numParams(numParams_) {
  std::memset(&cEffect, 0, sizeof(cEffect));
  cEffect.magic = kEffectMagic;
  cEffect.dispatcher = &AudioEffect::dispatchEntry;
  cEffect.process = &AudioEffect::processEntry;
  cEffect.processReplacing = &AudioEffect::processReplacingEntry;
  cEffect.setParameter = &AudioEffect::setParameterEntry;
  cEffect.getParameter = &AudioEffect::getParameterEntry;
  cEffect.numPrograms = numPrograms_;
  cEffect.numParams = numParams_;
  cEffect.numInputs = 1;
  cEffect.numOutputs = 2;
  cEffect.ioRatio = 1.0f;
  cEffect.object = this;
  cEffect.version = 1;
}

AudioEffect::~AudioEffect() { delete editor; }

void AudioEffect::setEditor(AEffEditor* newEditor) {
  editor = newEditor;
  setFlag(effFlagsHasEditor, newEditor != nullptr);
}

void AudioEffect::setFlag(std::int32_t flag, bool on) {
  if (on)
    cEffect.flags |= flag;
  else
    cEffect.flags &= ~flag;
}

std::intptr_t AudioEffect::callHost(std::int32_t opcode, std::int32_t index, std::intptr_t value, void* ptr,
                                    float opt) {
  if (!audioMaster) return 0;
  return audioMaster(&cEffect, opcode, index, value, ptr, opt);
}

void AudioEffect::masterIdle() { callHost(audioMasterIdle); }
// The host answers 0 for a connected pin; without a host everything counts as connected.
bool AudioEffect::isInputConnected(std::int32_t input) { return callHost(audioMasterPinConnected, input, 0) == 0; }
bool AudioEffect::isOutputConnected(std::int32_t output) {
  return callHost(audioMasterPinConnected, output, 1) == 0;
}
void AudioEffect::beginEdit(std::int32_t index) { callHost(audioMasterBeginEdit, index); }
void AudioEffect::endEdit(std::int32_t index) { callHost(audioMasterEndEdit, index); }
std::intptr_t AudioEffect::getOutputLatency() { return callHost(audioMasterGetOutputLatency); }
// The host is asked, but the block size it announced through the dispatcher stays authoritative.
std::intptr_t AudioEffect::updateBlockSize() {
  callHost(audioMasterGetBlockSize);
  return blockSize;
}

void AudioEffect::setParameterAutomated(std::int32_t index, float value) {
  setParameter(index, value);
  callHost(audioMasterAutomate, index, 0, nullptr, value);
}

// NaN and values beyond int range would make a plain conversion undefined.
std::int32_t AudioEffect::truncateToInt32(float v) {
  if (!(v > -2147483648.0f && v < 2147483648.0f)) return 0;
  return static_cast<std::int32_t>(v);
}

std::intptr_t AudioEffect::dispatcher(std::int32_t opcode, std::int32_t index, std::int32_t value, void* ptr,
                                      float opt) {
  char* text = static_cast<char*>(ptr);
  switch (opcode) {
    case effSetProgram:
      // Negative numbers would index outside the program table.
      if (value >= 0 && value < numPrograms) setProgram(value);
      return 0;
    case effGetProgram:
      return getProgram();
    case effSetProgramName:
      if (text) setProgramName(text);
      return 0;
    case effGetProgramName:
      if (text) getProgramName(text);
      return 0;
    case effGetParamLabel:
      if (text) getParameterLabel(index, text);
      return 0;
    case effGetParamDisplay:
      if (text) getParameterDisplay(index, text);
      return 0;
    case effGetParamName:
      if (text) getParameterName(index, text);
      return 0;
    case effGetVu: {
      return truncateToInt32(getVu() * 32767.0f);
    }
    case effSetSampleRate:
      setSampleRate(opt);
      return 0;
    case effSetBlockSize:
      setBlockSize(value);
      return 0;
    case effMainsChanged:
      if (value == 0)
        suspend();
      else
        resume();
      return 0;
    case effEditGetRect:
      return editor ? editor->getRect(static_cast<ERect**>(ptr)) : 0;
    case effEditOpen:
      return editor ? editor->open(ptr) : 0;
    case effEditClose:
      if (editor) editor->close();
      return 0;
    case effEditIdle:
      if (editor) editor->idle();
      return 0;
    case effIdentify:
      return fourCharCode('N', 'v', 'E', 'f');
    default:
      return 0;
  }
}

std::intptr_t KORRO_CDECL AudioEffect::dispatchEntry(AEffect* e, std::int32_t opcode, std::int32_t index,
                                                     std::intptr_t value, void* ptr, float opt) {
  auto* self = e ? static_cast<AudioEffect*>(e->object) : nullptr;
  if (!self) return 0;
  // The value travels pointer-wide but means a 32-bit int: only its low half counts.
  const auto value32 = static_cast<std::int32_t>(value);
  if (opcode == effClose) {
    self->dispatcher(opcode, index, value32, ptr, opt);
    delete self;
    return 1;
  }
  return self->dispatcher(opcode, index, value32, ptr, opt);
}

void KORRO_CDECL AudioEffect::processEntry(AEffect* e, float** inputs, float** outputs, std::int32_t frames) {
  if (auto* self = e ? static_cast<AudioEffect*>(e->object) : nullptr) self->process(inputs, outputs, frames);
}

void KORRO_CDECL AudioEffect::processReplacingEntry(AEffect* e, float** inputs, float** outputs,
                                                     std::int32_t frames) {
  if (auto* self = e ? static_cast<AudioEffect*>(e->object) : nullptr)
    self->processReplacing(inputs, outputs, frames);
}

void KORRO_CDECL AudioEffect::setParameterEntry(AEffect* e, std::int32_t index, float value) {
  if (auto* self = e ? static_cast<AudioEffect*>(e->object) : nullptr) self->setParameter(index, value);
}

float KORRO_CDECL AudioEffect::getParameterEntry(AEffect* e, std::int32_t index) {
  auto* self = e ? static_cast<AudioEffect*>(e->object) : nullptr;
  return self ? self->getParameter(index) : 0.0f;
}

void AudioEffect::float2string(float value, char* text) { korro::writeDecimal(value, text); }

void AudioEffect::dB2string(float value, char* text) {
  if (!text) return;
  if (value <= 0) {
    std::strcpy(text, "  -oo   ");
    return;
  }
  float2string(static_cast<float>(20.0L * std::log10(static_cast<long double>(value))), text);
}
