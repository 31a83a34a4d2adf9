#include "reverb_effect.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "aeff_editor.h"
#include "editor_factory.h"

using korro::kProgramCount;

namespace {

constexpr int kInitialScratchFrames = 1024;
constexpr std::int32_t kFlushThreshold = 1000000;

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

ReverbEffect::ReverbEffect(HostCallback audioMaster)
    : AudioEffectX(audioMaster, kProgramCount, kNumParams),
      scratch(kInitialScratchFrames),
      tank(delayMemory) {
  cEffect.numInputs = 2;
  cEffect.numOutputs = 2;
  setFlag(effFlagsCanMono, true);
  setFlag(effFlagsCanReplacing, true);
  cEffect.uniqueID = fourCharCode('K', 'r', 'T', 'w');

  for (int i = 0; i < korro::kDispersionSections; ++i)
    dispersionBank[i] = std::make_unique<korro::FilterSection>(
        44100.0, korro::AllPass, korro::kDispersionBank[i].frequency, korro::kDispersionBank[i].q, 24.0);

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

  engineRate = 44100.0;
  decimation = 0;
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
      std::strcpy(text, bypassed ? " bypassed " : " process ");
      break;
    case kDecay:
      float2string(percent(current().decay), text);
      break;
    case kDamp:
      float2string(percent(damp), text);
      break;
    case kOutput:
      dB2string(output, text);
      break;
    case kMix:
      float2string(percent(mix), text);
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
  engineRate = 44100.0;
  meter.reset();
  delayMemory.clearPartial();
  tank.resetForSuspend();
  inputStage.resetForSuspend();
  outputStage.resetForSuspend();
  for (auto& section : dispersionBank) section->design();
}

void ReverbEffect::resume() {
  inputStage.resetForResume();
  outputStage.resetForResume();

  const std::int32_t b = getBlockSize();
  scratch.resize(b >= 32 && b <= (1 << 20) ? b : 65536);

  // NaN counts as out of range too.
  float hostRate = getSampleRate();
  if (!(hostRate >= 20000.0f && hostRate <= 200000.0f)) hostRate = 44100.0f;
  engineRate = hostRate;
  if (engineRate > 50000.0) {
    decimation = 1;
    engineRate *= 0.5;
  } else {
    decimation = 0;
  }

  getOutputLatency();
  std::intptr_t x = updateBlockSize();
  if (x <= 0 || x > 4096) x = 256;
  meter.meterHoldBlocks = static_cast<std::int32_t>(2.0 * static_cast<double>(hostRate) / static_cast<double>(x));

  delayMemory.clearHeads();
  tank.resetForResume();
  for (auto& section : dispersionBank) section->setSampleRate(engineRate);
}

// -------------------------------------------------------------- block frame

void ReverbEffect::process(float** inputs, float** outputs, std::int32_t frames) {
  runBlock(inputs, outputs, frames, Store::Adding);
}

void ReverbEffect::processReplacing(float** inputs, float** outputs, std::int32_t frames) {
  runBlock(inputs, outputs, frames, Store::Replacing);
}

void ReverbEffect::runBlock(float** inputs, float** outputs, std::int32_t frames, Store store) {
  if (!inputs || !outputs || !inputs[0] || !outputs[0]) return;

  const std::int64_t n = frames;
  if (inputStage.flushCountdown <= kFlushThreshold && inputStage.flushCountdown > kFlushThreshold - n) {
    flushDelayMemory();
    inputStage.fadeGainFast = 0.0f;
    inputStage.fadeGainSlow = 0.0f;
    inputStage.flushCountdown = 0;
  }

  // A block longer than announced runs as pieces that fit the scratch
  // buffers; pieces stay even at half rate so no engine frame is dropped.
  const std::int32_t piece = decimation ? (scratch.frames() & ~1) : scratch.frames();
  if (frames <= piece) {
    runStages(inputs, outputs, frames, store);
    return;
  }
  for (std::int32_t done = 0; done < frames; done += piece) {
    const std::int32_t length = frames - done < piece ? frames - done : piece;
    float* in[2] = {inputs[0] + done, inputs[1] ? inputs[1] + done : nullptr};
    float* out[2] = {outputs[0] + done, outputs[1] ? outputs[1] + done : nullptr};
    runStages(in, out, length, store);
  }
}

void ReverbEffect::runStages(float** inputs, float** outputs, std::int32_t frames, Store store) {
  processInput(inputs, scratch.coreInput, scratch.dryInput, frames);
  updateTank();
  processTank(scratch.coreInput, scratch.coreOutput, frames / (decimation + 1));
  if (store == Store::Adding)
    processOutputAdding(scratch.dryInput, scratch.coreOutput, outputs, frames);
  else
    processOutputReplacing(scratch.dryInput, scratch.coreOutput, outputs, frames);
}

// ------------------------------------------------------------ engine stages

void ReverbEffect::flushDelayMemory() {
  delayMemory.clearPartial();
  inputStage.clearHistory();
  outputStage.clearHistory();
  inputStage.fadeGainFast = 0.0f;
}

void ReverbEffect::processInput(float** inputs, float** coreInput, float** dryInput, std::int32_t frames) {
  // A missing right channel pointer is treated like an unconnected pin.
  const bool stereo = isInputConnected(1) && inputs[1];
  bypassed = truncateToInt32(current().bypass);
  if (frames <= 0) return;
  inputStage.process(inputs[0], stereo ? inputs[1] : inputs[0], coreInput, dryInput, frames, decimation != 0);
}

void ReverbEffect::updateTank() { tank.update(decay, damp, engineRate); }

void ReverbEffect::processTank(float** input, float** output, std::int32_t frames) {
  tank.process(input, output, frames, bypassed != 0);
}

void ReverbEffect::processOutput(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames,
                                 korro::OutputStage::Store store) {
  const bool stereo = isOutputConnected(1) && outputs[1];
  korro::OutputPeaks peaks;
  if (frames > 0)
    outputStage.process(dryInput, coreOutput, outputs, frames, decimation != 0, stereo,
                        mix.load(std::memory_order_relaxed), outputGain.load(std::memory_order_relaxed), store,
                        peaks);
  meter.raise(peaks.left, peaks.right);
}

void ReverbEffect::processOutputAdding(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames) {
  processOutput(dryInput, coreOutput, outputs, frames, korro::OutputStage::Store::Adding);
}

void ReverbEffect::processOutputReplacing(float** dryInput, float** coreOutput, float** outputs,
                                          std::int32_t frames) {
  processOutput(dryInput, coreOutput, outputs, frames, korro::OutputStage::Store::Replacing);
}
