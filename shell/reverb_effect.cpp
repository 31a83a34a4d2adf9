#include "reverb_effect.h"

#include <cstdio>
#include <cstring>

#include "shell/base/aeff_editor.h"
#include "korro/version.h"
#include "parameter_table.h"

using korro::kProgramCount;

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

bool isParameter(std::int32_t index) { return korro::findParameter(index) != nullptr; }

// The percent displays: the product is rounded to float before formatting.
float percent(float value) { return static_cast<float>(static_cast<double>(value) * 100.0); }

// Bypass's flag when it is set: the clamped value rounded, so always 0 or 1.
std::int32_t roundedFlag(float clamped) { return clamped >= 0.5f ? 1 : 0; }

}  // namespace

ReverbEffect::ReverbEffect(HostCallback audioMaster, EditorFactory makeEditor, EditController* editorController)
    : AudioEffectX(audioMaster, kProgramCount, kNumParams) {
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

  if (makeEditor) setEditor(makeEditor(editorController ? *editorController : *this));

  setProgram(0);
  suspend();  // leaves every delay line empty and the engine at 44,100 Hz
}

// The editor goes first, while the effect it may still call is whole.
ReverbEffect::~ReverbEffect() {
  delete editor;
  editor = nullptr;
}

// ---------------------------------------------------------------- parameters

// The stored value is what the host sent; the engine gets a clamped copy, so
// no value reaches the tank or the output as NaN, infinity or a runaway gain.
void ReverbEffect::setParameter(std::int32_t index, float value) {
  switch (index) {
    case kBypass: {
      for (int p = 0; p < kProgramCount; ++p) programTable[p].bypass = value;
      const float clamped = korro::clampForEngine(value, engineBypass.load(kRelaxed));
      engineBypass.store(clamped, kRelaxed);
      bypassed.store(roundedFlag(clamped), kRelaxed);
      break;
    }
    case kDecay:
      current().decay = value;
      decay.store(value, kRelaxed);
      engineDecay.store(korro::clampForEngine(value, engineDecay.load(kRelaxed)), kRelaxed);
      break;
    case kDamp:
      current().damp = value;
      damp.store(value, kRelaxed);
      engineDamp.store(korro::clampForEngine(value, engineDamp.load(kRelaxed)), kRelaxed);
      break;
    case kOutput: {
      current().output = value;
      output.store(value, kRelaxed);
      for (int p = 0; p < numPrograms; ++p) programTable[p].output = value;
      const float clamped = korro::clampForEngine(value, engineOutput.load(kRelaxed));
      engineOutput.store(clamped, kRelaxed);
      outputGain.store(clamped * clamped * 4.0f, kRelaxed);
      break;
    }
    case kMix:
      current().mix = value;
      mix.store(value, kRelaxed);
      for (int p = 0; p < numPrograms; ++p) programTable[p].mix = value;
      engineMix.store(korro::clampForEngine(value, engineMix.load(kRelaxed)), kRelaxed);
      break;
    default:
      break;
  }
  if (editor) editor->setParameter(index, value);
}

// Decay answers the effect's copy, always equal to the current program's:
// reading the record would race with a program change on another thread.
float ReverbEffect::getParameter(std::int32_t index) {
  switch (index) {
    case kBypass:
      return static_cast<float>(bypassed.load(kRelaxed));
    case kDecay:
      return decay.load(kRelaxed);
    case kDamp:
      return damp.load(kRelaxed);
    case kOutput:
      return output.load(kRelaxed);
    case kMix:
      return mix.load(kRelaxed);
    default:
      return 0.0f;
  }
}

float ReverbEffect::answerFor(std::int32_t index, float value) {
  return index == kBypass ? static_cast<float>(roundedFlag(korro::clampForEngine(value, 0.0f))) : value;
}

float ReverbEffect::engineValue(std::int32_t index) const {
  switch (index) {
    case kBypass:
      return static_cast<float>(bypassed.load(kRelaxed));
    case kDecay:
      return engineDecay.load(kRelaxed);
    case kDamp:
      return engineDamp.load(kRelaxed);
    case kOutput:
      return engineOutput.load(kRelaxed);
    case kMix:
      return engineMix.load(kRelaxed);
    default:
      return 0.0f;
  }
}

void ReverbEffect::getParameterName(std::int32_t index, char* text) {
  if (text && isParameter(index)) std::strcpy(text, korro::kParameters[index].hostName);
}

void ReverbEffect::getParameterLabel(std::int32_t index, char* text) {
  if (text && isParameter(index)) std::strcpy(text, korro::kParameters[index].hostLabel);
}

void ReverbEffect::getParameterDisplay(std::int32_t index, char* text) {
  if (!text) return;
  switch (index) {
    case kBypass:
      std::strcpy(text, bypassed.load(kRelaxed) ? " bypassed " : " process ");
      break;
    case kDecay:
      float2string(percent(current().decay), text);
      break;
    case kDamp:
      float2string(percent(damp.load(kRelaxed)), text);
      break;
    case kOutput:
      dB2string(output.load(kRelaxed), text);
      break;
    case kMix:
      float2string(percent(mix.load(kRelaxed)), text);
      break;
    default:
      break;
  }
}

// ------------------------------------------------------------------ programs

// While suspended the engine is rebuilt at once. While resumed, a host's UI
// thread may select a program as a block runs: everything the host can see
// happens here, and the engine rebuild waits for the audio thread's next block.
void ReverbEffect::setProgram(std::int32_t program) {
  if (program < 0 || program >= kProgramCount) return;
  const bool running = resumed.load(kRelaxed);
  if (!running) suspendEngine();
  curProgram.store(program, kRelaxed);
  // The five values only: the name belongs to the thread that renames.
  const korro::ProgramRecord& r = programTable[program];
  const float values[] = {r.output, r.mix, r.decay, r.damp, r.bypass};
  setParameter(kOutput, values[0]);
  setParameter(kMix, values[1]);
  setParameter(kDecay, values[2]);
  setParameter(kDamp, values[3]);
  setParameter(kBypass, values[4]);
  if (!running) {
    resumeEngine();
    return;
  }
  // Resume's two host queries, as a host expects them; the last resume's answers stand.
  getOutputLatency();
  updateBlockSize();
  pendingRebuild.store(true, std::memory_order_release);
}

void ReverbEffect::setProgramName(char* name) {
  if (name) std::snprintf(current().name, sizeof current().name, "%s", name);
}

void ReverbEffect::getProgramName(char* name) {
  if (!name) return;
  if (std::strcmp(current().name, "Init") == 0)
    std::sprintf(name, "%s %d", current().name, curProgram.load(kRelaxed) + 1);
  else
    std::strcpy(name, current().name);
}

bool ReverbEffect::getProgramNameIndexed(std::int32_t /*category*/, std::int32_t index, char* text) {
  if (!text || index < 0 || index >= kProgramCount) return false;
  std::strcpy(text, programTable[index].name);
  return true;
}

korro::ProgramRecord ReverbEffect::programRecord(std::int32_t program) const {
  if (program < 0 || program >= kProgramCount) return {};
  return programTable[program];
}

void ReverbEffect::setProgramValues(std::int32_t program, const float* values) {
  if (program < 0 || program >= kProgramCount || !values) return;
  korro::ProgramRecord& r = programTable[program];
  r.bypass = values[kBypass];
  r.decay = values[kDecay];
  r.damp = values[kDamp];
  r.output = values[kOutput];
  r.mix = values[kMix];
}

void ReverbEffect::renameProgram(std::int32_t program, const char* name) {
  if (program >= 0 && program < kProgramCount && name)
    std::snprintf(programTable[program].name, sizeof programTable[program].name, "%s", name);
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
  std::strcpy(text, korro::kVendorUrl);
  return true;
}

bool ReverbEffect::getProductString(char* text) {
  std::strcpy(text, "Korro Tarrow - spring reverb plug-in");
  return true;
}

// ------------------------------------------------------------------- set-up

void ReverbEffect::suspend() {
  resumed.store(false, kRelaxed);
  pendingRebuild.store(false, kRelaxed);  // the suspend below is that rebuild's first half
  suspendEngine();
}

void ReverbEffect::resume() {
  pendingRebuild.store(false, kRelaxed);
  resumeEngine();
  resumed.store(true, kRelaxed);
}

void ReverbEffect::suspendEngine() {
  meter.reset();
  engine.suspend();
}

void ReverbEffect::resumeEngine() {
  resumeRate = getSampleRate();
  resumeBlockSize = getBlockSize();
  const float hostRate = engine.resume(resumeRate, resumeBlockSize);
  getOutputLatency();
  // The meter holds a peak for about two seconds' worth of the host's blocks.
  std::intptr_t x = updateBlockSize();
  if (x <= 0 || x > 4096) x = 256;
  resumeHoldBlocks = static_cast<std::int32_t>(2.0 * static_cast<double>(hostRate) / static_cast<double>(x));
  meter.meterHoldBlocks.store(resumeHoldBlocks, kRelaxed);
}

// The same engine state a suspend and resume would leave, with what the last
// resume used: the scratch buffers keep their size, so nothing is allocated.
void ReverbEffect::rebuildIfPending() {
  if (!pendingRebuild.load(std::memory_order_acquire)) return;
  if (!pendingRebuild.exchange(false, std::memory_order_acquire)) return;
  rebuild();
}

void ReverbEffect::restart() {
  pendingRebuild.store(false, kRelaxed);
  rebuild();
}

void ReverbEffect::rebuild() {
  meter.reset();
  engine.suspend();
  engine.resume(resumeRate, resumeBlockSize);
  meter.meterHoldBlocks.store(resumeHoldBlocks, kRelaxed);
}

// -------------------------------------------------------------- block frame

void ReverbEffect::process(float** inputs, float** outputs, std::int32_t frames) {
  rebuildIfPending();
  korro::runBlock(*this, engine, inputs, outputs, frames, korro::OutputStage::Store::Adding);
}

void ReverbEffect::processReplacing(float** inputs, float** outputs, std::int32_t frames) {
  rebuildIfPending();
  korro::runBlock(*this, engine, inputs, outputs, frames, korro::OutputStage::Store::Replacing);
}

// ------------------------------------------------------------ engine stages

void ReverbEffect::flushDelayMemory() { engine.flushDelayMemory(); }

void ReverbEffect::processInput(float** inputs, float** coreInput, float** dryInput, std::int32_t frames) {
  // A missing right channel pointer is treated like an unconnected pin.
  const bool stereo = isInputConnected(1) && inputs && inputs[1];
  // The block's own rule truncates where setParameter rounds; both see the clamped value.
  const float clamped = korro::clampForEngine(current().bypass, engineBypass.load(kRelaxed));
  engineBypass.store(clamped, kRelaxed);
  bypassed.store(truncateToInt32(clamped), kRelaxed);
  if (frames > 0) engine.processInput(inputs[0], stereo ? inputs[1] : inputs[0], coreInput, dryInput, frames);
}

void ReverbEffect::updateTank() { engine.updateTank(engineDecay.load(kRelaxed), engineDamp.load(kRelaxed)); }

void ReverbEffect::processTank(float** input, float** output, std::int32_t frames) {
  engine.processTank(input, output, frames, bypassed.load(kRelaxed) != 0);
}

void ReverbEffect::processOutput(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames,
                                 korro::OutputStage::Store store) {
  const bool stereo = isOutputConnected(1) && outputs && outputs[1];
  korro::OutputPeaks peaks;
  engine.processOutput(dryInput, coreOutput, outputs, frames, stereo, engineMix, outputGain, store, peaks);
  meter.raise(peaks.left, peaks.right);
}

void ReverbEffect::processOutputAdding(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames) {
  processOutput(dryInput, coreOutput, outputs, frames, korro::OutputStage::Store::Adding);
}

void ReverbEffect::processOutputReplacing(float** dryInput, float** coreOutput, float** outputs,
                                          std::int32_t frames) {
  processOutput(dryInput, coreOutput, outputs, frames, korro::OutputStage::Store::Replacing);
}
