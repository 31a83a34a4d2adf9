#include "hosted_effect.h"

#include <cmath>

#include "reverb_effect.h"
#include "shell/base/aeff_editor.h"
#include "tail.h"

namespace korro {

namespace {

constexpr std::intptr_t kHostVersion = 2400;
constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr auto kAcquire = std::memory_order_acquire;
constexpr auto kRelease = std::memory_order_release;

bool isValue(std::int32_t index) { return index >= 0 && index < HostedEffect::kValues; }

float recordValue(const ProgramRecord& r, std::int32_t index) {
  switch (index) {
    case kBypass: return r.bypass;
    case kDecay: return r.decay;
    case kDamp: return r.damp;
    case kOutput: return r.output;
    default: return r.mix;
  }
}

// A value the engine could not use is saved as the one it does use, so every
// saved state loads again.
float savable(float stored, float engineUses) { return std::isfinite(stored) ? stored : engineUses; }

}  // namespace

HostedEffect::HostedEffect(std::int32_t maxBlock, EditorFactory makeEditor, HostSide* host)
    : maxBlock_(maxBlock), host_(host) {
  reverb_ = new ReverbEffect(&HostedEffect::callback, makeEditor, makeEditor ? &editing_ : nullptr);
  record_ = reverb_->getAeffect();
  // The host's own field of the record: how the callback finds this front.
  record_->user = this;
  showFromEffect();
}

HostedEffect::~HostedEffect() { dispatch(effClose); }  // the record's entry deletes the effect

// Connected pins, the announced maximum for the block size, 0 for the rest:
// the answers the effect relies on from a plain VST 2 host.
std::intptr_t HostedEffect::callback(AEffect* effect, std::int32_t opcode, std::int32_t index, std::intptr_t value,
                                     void* /*ptr*/, float /*opt*/) {
  // Asked while the effect is still being built, before the record knows its host.
  auto* self = effect ? static_cast<HostedEffect*>(effect->user) : nullptr;
  switch (opcode) {
    case audioMasterVersion:
      return kHostVersion;
    case audioMasterGetBlockSize:
      return self ? self->maxBlock_.load(kRelaxed) : 0;
    case audioMasterSizeWindow:
      return self && self->host_ && self->host_->resizeEditor(index, static_cast<std::int32_t>(value)) ? 1 : 0;
    default:
      return 0;  // audioMasterPinConnected: 0 means connected
  }
}

std::intptr_t HostedEffect::dispatch(std::int32_t opcode, std::int32_t index, std::intptr_t value, void* ptr,
                                     float opt) {
  return record_->dispatcher(record_, opcode, index, value, ptr, opt);
}

void HostedEffect::setParameter(std::int32_t index, float value) { record_->setParameter(record_, index, value); }

float HostedEffect::getParameter(std::int32_t index) { return record_->getParameter(record_, index); }

void HostedEffect::processReplacing(float** inputs, float** outputs, std::int32_t frames) {
  record_->processReplacing(record_, inputs, outputs, frames);
}

void HostedEffect::start(float sampleRate) {
  dispatch(effSetSampleRate, 0, 0, nullptr, sampleRate);
  dispatch(effSetBlockSize, 0, maxBlock_.load(kRelaxed));
  dispatch(effMainsChanged, 0, 1);
}

float HostedEffect::takeLeftPeak() {
  LevelMeter& meter = reverb_->meter;
  meter.peakRight.store(0.0f, kRelaxed);
  meter.blockCount.store(0, kRelaxed);  // nothing else clears it here, and it must not run over
  return meter.peakLeft.exchange(0.0f, kRelaxed);
}

float HostedEffect::engineValue(std::int32_t index) const { return reverb_->engineValue(index); }

std::int32_t HostedEffect::tail(double rate) const {
  return tailFrames(rate, engineValue(kDecay), engineValue(kDamp), engineValue(kOutput), engineValue(kMix));
}

// ---------------------------------------------------------------- main thread

float HostedEffect::value(std::int32_t index) const { return isValue(index) ? view_[index].load(kRelaxed) : 0.0f; }

bool HostedEffect::programName(std::int32_t program, char* text) const {
  return reverb_->getProgramNameIndexed(0, program, text);
}

// While a table handed over waits for the audio side, it is the latest.
float HostedEffect::tableValue(std::int32_t program, std::int32_t index) const {
  if (handed_.withTable.load(kRelaxed) && applied_.load(kAcquire) != handed_.sequence.load(kRelaxed))
    return handed_.table[program][index].load(kRelaxed);
  return recordValue(reverb_->programRecord(program), index);
}

bool HostedEffect::save(StateWriter& out) const {
  SavedState s;
  s.program = program();
  float engineUses[kValues];
  for (std::int32_t i = 0; i < kValues; ++i) {
    engineUses[i] = reverb_->engineValue(i);
    s.values[i] = savable(value(i), engineUses[i]);
  }
  for (std::int32_t k = 0; k < kProgramCount; ++k) {
    SavedState::Program& p = s.programs[k];
    const bool current = k == s.program;
    for (std::int32_t i = 0; i < kValues; ++i) {
      // Decay and Damp belong to their program; the others are every program's.
      const bool own = i == kDecay || i == kDamp;
      const float factory = i == kDecay ? kFactoryPrograms[k].decay : kFactoryPrograms[k].damp;
      p.values[i] = savable(tableValue(k, i), own && !current ? factory : engineUses[i]);
    }
    programName(k, p.name);
  }
  return writeState(s, out);
}

bool HostedEffect::load(StateReader& in) {
  SavedState s;
  if (!readState(in, s)) return false;
  for (std::int32_t k = 0; k < kProgramCount; ++k) reverb_->renameProgram(k, s.programs[k].name);
  // Odd while written; each field released, so a reader that sees one sees the odd sequence too.
  const std::uint32_t sequence = handed_.sequence.load(kRelaxed);
  handed_.sequence.store(sequence + 1, kRelaxed);
  handed_.withTable.store(true, kRelease);
  handed_.program.store(s.program, kRelease);
  for (std::int32_t k = 0; k < kProgramCount; ++k)
    for (std::int32_t i = 0; i < kValues; ++i) handed_.table[k][i].store(s.programs[k].values[i], kRelease);
  // What was only shown before the load is superseded by it.
  for (std::int32_t i = 0; i < kValues; ++i) handed_.shownValue[i].store(shownValue_[i].load(kRelaxed), kRelease);
  handed_.shownProgram.store(shownProgram_.load(kRelaxed), kRelease);
  handed_.sequence.store(sequence + 2, kRelease);

  viewProgram_.store(s.program, kRelaxed);
  for (std::int32_t i = 0; i < kValues; ++i)
    show(i, ReverbEffect::answerFor(i, s.programs[s.program].values[i]));
  return true;
}

void HostedEffect::selectProgram(std::int32_t program) {
  if (program < 0 || program >= kProgramCount) return;
  const std::uint32_t sequence = handed_.sequence.load(kRelaxed);
  // A table still waiting goes again with the program; one applied stays the audio side's.
  const bool tableWaits = handed_.withTable.load(kRelaxed) && applied_.load(kAcquire) != sequence;
  handed_.sequence.store(sequence + 1, kRelaxed);
  handed_.withTable.store(tableWaits, kRelease);
  handed_.program.store(program, kRelease);
  for (std::int32_t i = 0; i < kValues; ++i) handed_.shownValue[i].store(shownValue_[i].load(kRelaxed), kRelease);
  handed_.shownProgram.store(shownProgram_.load(kRelaxed), kRelease);
  handed_.sequence.store(sequence + 2, kRelease);

  viewProgram_.store(program, kRelaxed);
  for (std::int32_t i = 0; i < kValues; ++i) show(i, ReverbEffect::answerFor(i, tableValue(program, i)));
}

void HostedEffect::showValue(std::int32_t index, float value) {
  if (!isValue(index)) return;
  show(index, value);
  shownValue_[index].fetch_add(1, kRelease);
}

void HostedEffect::showProgram(std::int32_t program) {
  if (program < 0 || program >= kProgramCount) return;
  viewProgram_.store(program, kRelaxed);
  for (std::int32_t i = 0; i < kValues; ++i) show(i, ReverbEffect::answerFor(i, tableValue(program, i)));
  shownProgram_.fetch_add(1, kRelease);
}

void HostedEffect::show(std::int32_t index, float value) {
  view_[index].store(value, kRelaxed);
  if (AEffEditor* editor = reverb_->getEditor()) editor->setParameter(index, value);
}

void HostedEffect::showFromEffect() {
  viewProgram_.store(reverb_->getProgram(), kRelaxed);
  for (std::int32_t i = 0; i < kValues; ++i) show(i, reverb_->getParameter(i));
}

bool HostedEffect::prepare(std::int32_t maxBlock) {
  if (!buffers_.prepare(maxBlock)) return false;
  reverb_->reserveBlock(buffers_.maxFrames());
  return true;
}

// ---------------------------------------------------------------- audio side

bool HostedEffect::activate(float rate, std::int32_t maxBlock) {
  // Allocates only when prepare saw another size.
  if (!buffers_.prepare(maxBlock)) return false;
  maxBlock_.store(buffers_.maxFrames(), kRelaxed);
  rate_.store(rate, kRelaxed);
  dispatch(effSetSampleRate, 0, 0, nullptr, rate);
  dispatch(effSetBlockSize, 0, buffers_.maxFrames());
  // Suspended, a program change rebuilds at once, at the new rate.
  applyHandedOver();
  applyShown();
  dispatch(effMainsChanged, 0, 1);
  reverb_->emptyScratch();
  showFromEffect();
  return true;
}

void HostedEffect::deactivate() { dispatch(effMainsChanged, 0, 0); }

void HostedEffect::reset() {
  beginBlock();
  reverb_->restart();
  reverb_->emptyScratch();
}

void HostedEffect::beginBlock() {
  touched_ = 0;
  if (applyHandedOver()) showFromEffect();
  // While blocks run, what the main thread only showed stays shown.
  seenProgram_ = shownProgram_.load(kAcquire);
  for (std::int32_t i = 0; i < kValues; ++i) seenValue_[i] = shownValue_[i].load(kAcquire);
}

void HostedEffect::change(std::int32_t index, float value) {
  setParameter(index, value);
  if (isValue(index)) touched_ |= 1u << index;
}

void HostedEffect::changeProgram(std::int32_t program) {
  dispatch(effSetProgram, 0, program);
  viewProgram_.store(reverb_->getProgram(), kRelaxed);
  touched_ = (1u << kValues) - 1;
}

std::int32_t HostedEffect::effectProgram() const { return reverb_->getProgram(); }

void HostedEffect::endBlock() {
  for (std::int32_t i = 0; i < kValues; ++i)
    if (touched_ & (1u << i)) show(i, reverb_->getParameter(i));
  touched_ = 0;
}

bool HostedEffect::applyHandedOver() {
  const std::uint32_t sequence = handed_.sequence.load(kAcquire);
  if (sequence == applied_.load(kRelaxed) || (sequence & 1u)) return false;
  // Each field acquired: one written after this sequence shows as a changed sequence below.
  const bool withTable = handed_.withTable.load(kAcquire);
  const std::int32_t program = handed_.program.load(kAcquire);
  float table[kProgramCount][kValues];
  for (std::int32_t k = 0; k < kProgramCount; ++k)
    for (std::int32_t i = 0; i < kValues; ++i) table[k][i] = handed_.table[k][i].load(kAcquire);
  std::uint32_t shown[kValues];
  for (std::int32_t i = 0; i < kValues; ++i) shown[i] = handed_.shownValue[i].load(kAcquire);
  const std::uint32_t shownProgram = handed_.shownProgram.load(kAcquire);
  if (handed_.sequence.load(kRelaxed) != sequence) return false;  // written meanwhile: the next block takes it

  if (withTable)
    for (std::int32_t k = 0; k < kProgramCount; ++k) reverb_->setProgramValues(k, table[k]);
  dispatch(effSetProgram, 0, program);
  for (std::int32_t i = 0; i < kValues; ++i) seenValue_[i] = shown[i];
  seenProgram_ = shownProgram;
  applied_.store(sequence, kRelease);
  return true;
}

void HostedEffect::applyShown() {
  const std::uint32_t program = shownProgram_.load(kAcquire);
  if (program != seenProgram_) {
    seenProgram_ = program;
    dispatch(effSetProgram, 0, viewProgram_.load(kRelaxed));
  }
  for (std::int32_t i = 0; i < kValues; ++i) {
    const std::uint32_t shown = shownValue_[i].load(kAcquire);
    if (shown == seenValue_[i]) continue;
    seenValue_[i] = shown;
    setParameter(i, view_[i].load(kRelaxed));
  }
}

// ---------------------------------------------------------------- the editor's controller

void HostedEffect::Editing::setParameterAutomated(std::int32_t index, float value) {
  if (!isValue(index)) return;
  owner_.showValue(index, value);
  HostSide* host = owner_.host_;
  if (!host) return;
  // A click, a reset to the default or a typed value comes without a gesture: it gets one.
  const bool whole = !open_[index];
  if (whole) host->beginEdit(index);
  host->edit(index, value);
  if (whole) host->endEdit(index);
}

void HostedEffect::Editing::beginEdit(std::int32_t index) {
  if (!isValue(index) || open_[index]) return;
  open_[index] = true;
  if (owner_.host_) owner_.host_->beginEdit(index);
}

void HostedEffect::Editing::endEdit(std::int32_t index) {
  if (!isValue(index) || !open_[index]) return;
  open_[index] = false;
  if (owner_.host_) owner_.host_->endEdit(index);
}

LevelMeter* HostedEffect::Editing::levelMeter() { return &owner_.reverb_->meter; }

}  // namespace korro
