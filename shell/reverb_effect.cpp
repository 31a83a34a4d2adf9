#include "reverb_effect.h"

#include <cstdio>
#include <cstring>

#include "aeff_editor.h"
#include "editor_factory.h"

using korro::kProgramCount;

namespace {

struct ParameterTexts {
  const char* name;
  const char* label;
};
constexpr ParameterTexts kParameterTexts[kNumParams] = {
    {" Bypass ", "  "},
    {" Decay ", "    %    "},
    {" Damp ", "    %    "},
    {" Output ", "   dB   "},
    {" Mix ", "    %    "},
};

bool isParameter(std::int32_t index) { return static_cast<std::uint32_t>(index) < kNumParams; }

// The percent displays: the product is rounded to float before formatting.
float percent(float value) { return static_cast<float>(static_cast<double>(value) * 100.0); }

}  // namespace

ReverbEffect::ReverbEffect(HostCallback audioMaster) : AudioEffectX(audioMaster, kProgramCount, kNumParams) {
  cEffect.numInputs = 2;
  cEffect.numOutputs = 2;
  setFlag(effFlagsCanMono, true);
  setFlag(effFlagsCanReplacing, true);
  cEffect.uniqueID = fourCharCode('K', 'r', 'T', 'w');

  programTable = std::make_unique<korro::ProgramRecord[]>(kProgramCount);
  for (int p = 0; p < kProgramCount; ++p) {
    const korro::FactoryProgram& f = korro::kFactoryPrograms[p];
    korro::ProgramRecord& r = programTable[p];
    r.decay = f.decay;
    r.damp = f.damp;
    r.output = f.output;
    r.mix = f.mix;
    std::snprintf(r.name, sizeof r.name, "%s", f.name);
  }

  setEditor(createReverbEditor(*this));

  setProgram(0);
  suspend();  // leaves every delay line empty and the engine at 44,100 Hz
}

// The editor goes first, while the effect it may still call is whole.
ReverbEffect::~ReverbEffect() {
  delete editor;
  editor = nullptr;
}

// ---------------------------------------------------------------- parameters

void ReverbEffect::setParameter(std::int32_t index, float value) {
  constexpr auto r = std::memory_order_relaxed;
  switch (index) {
    case kBypass: {
      for (int p = 0; p < kProgramCount; ++p) programTable[p].bypass = value;
      const long double rounded = static_cast<long double>(value) + 0.5L;
      const bool fits = rounded > -2147483648.0L && rounded < 2147483648.0L;
      bypassed.store(fits ? static_cast<std::int32_t>(rounded) : 0, r);
      break;
    }
    case kDecay:
      current().decay = value;
      decay.store(value, r);
      break;
    case kDamp:
      current().damp = value;
      damp.store(value, r);
      break;
    case kOutput:
      current().output = value;
      output.store(value, r);
      for (int p = 0; p < numPrograms; ++p) programTable[p].output = value;
      outputGain.store(value * value * 4.0f, r);
      break;
    case kMix:
      current().mix = value;
      mix.store(value, r);
      for (int p = 0; p < numPrograms; ++p) programTable[p].mix = value;
      break;
    default:
      break;
  }
  if (editor) editor->setParameter(index, value);
}

// Decay answers the effect's copy, always equal to the current program's:
// reading the record would race with a program change on another thread.
float ReverbEffect::getParameter(std::int32_t index) {
  constexpr auto r = std::memory_order_relaxed;
  switch (index) {
    case kBypass:
      return static_cast<float>(bypassed.load(r));
    case kDecay:
      return decay.load(r);
    case kDamp:
      return damp.load(r);
    case kOutput:
      return output.load(r);
    case kMix:
      return mix.load(r);
    default:
      return 0.0f;
  }
}

void ReverbEffect::getParameterName(std::int32_t index, char* text) {
  if (text && isParameter(index)) std::strcpy(text, kParameterTexts[index].name);
}

void ReverbEffect::getParameterLabel(std::int32_t index, char* text) {
  if (text && isParameter(index)) std::strcpy(text, kParameterTexts[index].label);
}

void ReverbEffect::getParameterDisplay(std::int32_t index, char* text) {
  if (!text) return;
  switch (index) {
    case kBypass:
      std::strcpy(text, bypassed.load(std::memory_order_relaxed) ? " bypassed " : " process ");
      break;
    case kDecay:
      float2string(percent(current().decay), text);
      break;
    case kDamp:
      float2string(percent(damp.load(std::memory_order_relaxed)), text);
      break;
    case kOutput:
      dB2string(output.load(std::memory_order_relaxed), text);
      break;
    case kMix:
      float2string(percent(mix.load(std::memory_order_relaxed)), text);
      break;
    default:
      break;
  }
}

// ------------------------------------------------------------------ programs

void ReverbEffect::setProgram(std::int32_t program) {
  if (program < 0 || program >= kProgramCount) return;
  suspend();
  curProgram = program;
  const korro::ProgramRecord r = programTable[program];
  setParameter(kOutput, r.output);
  setParameter(kMix, r.mix);
  setParameter(kDecay, r.decay);
  setParameter(kDamp, r.damp);
  setParameter(kBypass, r.bypass);
  resume();
}

void ReverbEffect::setProgramName(char* name) {
  if (name) std::snprintf(current().name, sizeof current().name, "%s", name);
}

void ReverbEffect::getProgramName(char* name) {
  if (!name) return;
  if (std::strcmp(current().name, "Init") == 0)
    std::sprintf(name, "%s %d", current().name, curProgram + 1);
  else
    std::strcpy(name, current().name);
}

bool ReverbEffect::getProgramNameIndexed(std::int32_t /*category*/, std::int32_t index, char* text) {
  if (!text || index < 0 || index >= kProgramCount) return false;
  std::strcpy(text, programTable[index].name);
  return true;
}

bool ReverbEffect::copyProgram(std::int32_t destination) {
  if (destination < 0 || destination >= kProgramCount) return false;
  programTable[destination] = current();
  return true;
}

bool ReverbEffect::getEffectName(char* name) {
  std::strcpy(name, "Korro Tarrow");
  return true;
}

bool ReverbEffect::getVendorString(char* text) {
  std::strcpy(text, "https://korro-tarrow.example.org");
  return true;
}

bool ReverbEffect::getProductString(char* text) {
  std::strcpy(text, "Korro Tarrow - spring reverb plug-in");
  return true;
}

// ------------------------------------------------------------------- set-up

void ReverbEffect::suspend() {
  meter.reset();
  engine.suspend();
}

void ReverbEffect::resume() {
  const float hostRate = engine.resume(getSampleRate(), getBlockSize());
  getOutputLatency();
  // The meter holds a peak for about two seconds' worth of the host's blocks.
  std::intptr_t x = updateBlockSize();
  if (x <= 0 || x > 4096) x = 256;
  meter.meterHoldBlocks.store(static_cast<std::int32_t>(2.0 * static_cast<double>(hostRate) / static_cast<double>(x)),
                             std::memory_order_relaxed);
}

// -------------------------------------------------------------- block frame

void ReverbEffect::process(float** inputs, float** outputs, std::int32_t frames) {
  korro::runBlock(*this, engine, inputs, outputs, frames, korro::OutputStage::Store::Adding);
}

void ReverbEffect::processReplacing(float** inputs, float** outputs, std::int32_t frames) {
  korro::runBlock(*this, engine, inputs, outputs, frames, korro::OutputStage::Store::Replacing);
}

// ------------------------------------------------------------ engine stages

void ReverbEffect::flushDelayMemory() { engine.flushDelayMemory(); }

void ReverbEffect::processInput(float** inputs, float** coreInput, float** dryInput, std::int32_t frames) {
  // A missing right channel pointer is treated like an unconnected pin.
  const bool stereo = isInputConnected(1) && inputs && inputs[1];
  bypassed.store(truncateToInt32(current().bypass), std::memory_order_relaxed);
  if (frames > 0) engine.processInput(inputs[0], stereo ? inputs[1] : inputs[0], coreInput, dryInput, frames);
}

void ReverbEffect::updateTank() { engine.updateTank(decay.load(std::memory_order_relaxed), damp.load(std::memory_order_relaxed)); }

void ReverbEffect::processTank(float** input, float** output, std::int32_t frames) {
  engine.processTank(input, output, frames, bypassed.load(std::memory_order_relaxed) != 0);
}

void ReverbEffect::processOutput(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames,
                                 korro::OutputStage::Store store) {
  const bool stereo = isOutputConnected(1) && outputs && outputs[1];
  korro::OutputPeaks peaks;
  engine.processOutput(dryInput, coreOutput, outputs, frames, stereo, mix, outputGain, store, peaks);
  meter.raise(peaks.left, peaks.right);
}

void ReverbEffect::processOutputAdding(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames) {
  processOutput(dryInput, coreOutput, outputs, frames, korro::OutputStage::Store::Adding);
}

void ReverbEffect::processOutputReplacing(float** dryInput, float** coreOutput, float** outputs,
                                          std::int32_t frames) {
  processOutput(dryInput, coreOutput, outputs, frames, korro::OutputStage::Store::Replacing);
}
