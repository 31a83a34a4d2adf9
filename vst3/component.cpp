// The plug-in object, and its component and processor faces: buses, state,
// activation and the audio blocks.
#include <algorithm>

#include "editor/editor_factory.h"
#include "plugin.h"
#include "shell/parameter_table.h"

namespace korro::vst3 {

Reverb::Reverb() : effect_(0, &createReverbEditor, this) {}

Reverb::~Reverb() {
  if (handler_) handler_->table->release(handler_);
}

Result Reverb::query(const Tuid* iid, void** out) {
  if (!out) return kInvalidArgument;
  if (same(iid, kFUnknownId) || same(iid, kPluginBaseId) || same(iid, kComponentId))
    *out = &component_;
  else if (same(iid, kAudioProcessorId))
    *out = &processor_;
  else if (same(iid, kProcessContextRequirementsId))
    *out = &contextNeeds_;
  else if (same(iid, kEditControllerId))
    *out = &controller_;
  else if (same(iid, kUnitInfoId))
    *out = &units_;
  else {
    *out = nullptr;
    return kNoInterface;
  }
  addRef();
  return kOk;
}

// ---------------------------------------------------------------- component

Result Reverb::busInfo(std::int32_t media, std::int32_t direction, std::int32_t index, BusInfo* out) const {
  if (media != kAudio || index != 0 || !out || (direction != kInput && direction != kOutput))
    return kInvalidArgument;
  std::memset(out, 0, sizeof *out);
  out->mediaType = kAudio;
  out->direction = direction;
  out->channelCount = direction == kInput && monoInput_ ? 1 : 2;
  copyText(out->name, direction == kInput ? "Input" : "Output");
  out->busType = 0;  // main
  out->flags = 1;    // active by default
  return kOk;
}

// On the audio thread or the UI thread: allocates nothing unless the
// maximum block grew after setup_processing prepared for it.
Result Reverb::setActive(bool on) {
  if (on == active_.load(kRelaxed)) return kOk;
  if (!on)
    effect_.deactivate();
  else if (!effect_.activate(static_cast<float>(rate_.load(kRelaxed)), maxBlock_.load(kRelaxed)))
    return kInvalidArgument;
  active_.store(on, kRelaxed);
  return kOk;
}

Result Reverb::saveState(BStream* stream) {
  if (!stream) return kInvalidArgument;
  struct Writer : StateWriter {
    BStream* s;
    std::int64_t write(const void* data, std::int64_t size) override {
      std::int32_t done = 0;
      const auto n = static_cast<std::int32_t>(std::min<std::int64_t>(size, INT32_MAX));
      return s->table->write(s, data, n, &done) == kOk ? done : -1;
    }
  } writer;
  writer.s = stream;
  return effect_.save(writer) ? kOk : kFalse;
}

Result Reverb::loadState(BStream* stream) {
  if (!stream) return kInvalidArgument;
  struct Reader : StateReader {
    BStream* s;
    std::int64_t read(void* data, std::int64_t size) override {
      std::int32_t done = 0;
      const auto n = static_cast<std::int32_t>(std::min<std::int64_t>(size, INT32_MAX));
      return s->table->read(s, data, n, &done) == kOk ? done : -1;
    }
  } reader;
  reader.s = stream;
  if (!effect_.load(reader)) return kFalse;
  if (handler_) handler_->table->restartComponent(handler_, kRestartParamValuesChanged);
  return kOk;
}

// ---------------------------------------------------------------- processor

Result Reverb::setArrangements(const std::uint64_t* in, std::int32_t inCount, const std::uint64_t* out,
                               std::int32_t outCount) {
  if (inCount != 1 || outCount != 1 || !in || !out || out[0] != kSpeakerStereo) return kFalse;
  if (in[0] != kSpeakerStereo && in[0] != kSpeakerMono) return kFalse;
  monoInput_ = in[0] == kSpeakerMono;
  return kTrue;
}

Result Reverb::arrangement(std::int32_t direction, std::int32_t index, std::uint64_t* out) const {
  if (index != 0 || !out || (direction != kInput && direction != kOutput)) return kInvalidArgument;
  *out = direction == kInput && monoInput_ ? kSpeakerMono : kSpeakerStereo;
  return kOk;
}

// Comes while inactive, so it may allocate: the next activation then need
// not. Were a host to send it while active, it is kept for the next one.
Result Reverb::setup(const ProcessSetup* s) {
  if (!s || s->symbolicSampleSize != 0 || s->maxBlockSize <= 0) return kInvalidArgument;
  rate_.store(s->sampleRate, kRelaxed);
  maxBlock_.store(std::min(s->maxBlockSize, 1 << 20), kRelaxed);
  if (!active_.load(kRelaxed) && !effect_.prepare(maxBlock_.load(kRelaxed))) return kFalse;
  return kOk;
}

std::uint32_t Reverb::tail() const {
  const std::int32_t t = effect_.tail(rate_.load(kRelaxed));
  return t == INT32_MAX ? 0xFFFFFFFFu : static_cast<std::uint32_t>(t);
}

Result Reverb::process(ProcessData* d) {
  if (!d) return kInvalidArgument;
  if (!active_.load(kRelaxed) || d->symbolicSampleSize != 0) return kInvalidArgument;
  effect_.beginBlock();
  changes_.read(d->inputChanges, kParameterCount, kProgramParam);
  // A program change first, at the block's start, and the five values it
  // brings told back to the host, even when the controller showed it
  // already: a host learns them from here, as it cannot be asked to re-read
  // them from inside its own call that set the program.
  if (double program = 0.0; changes_.program(program)) {
    // A value that names the current program again is an echo, not a new choice.
    if (programOf(program) != effect_.effectProgram()) effect_.changeProgram(programOf(program));
    reportValues(d->outputChanges);
  }
  const std::int32_t frames = std::max(0, d->sampleCount);

  const AudioBusBuffers* ib = d->inputCount > 0 ? d->inputs : nullptr;
  const AudioBusBuffers* ob = d->outputCount > 0 ? d->outputs : nullptr;
  effect_.buffers().bind(ib ? ib->channels : nullptr, ib ? ib->channelCount : 0, ob ? ob->channels : nullptr,
                         ob ? ob->channelCount : 0);
  BlockSplitter block(effect_, frames);
  for (const ChangeList::Change& c : changes_)
    block.change(c.offset, static_cast<std::int32_t>(c.id), static_cast<float>(c.value));
  block.finish();
  effect_.endBlock();
  markSilence(d, frames);
  return kOk;
}

void Reverb::reportValues(ParameterChanges* outputs) {
  if (!outputs) return;
  for (std::int32_t i = 0; i < kParameterCount; ++i) {
    const ParamId id = static_cast<ParamId>(i);
    std::int32_t index = 0;
    ParamValueQueue* q = outputs->table->addParameterData(outputs, &id, &index);
    if (q) q->table->addPoint(q, 0, effect_.getParameter(i), &index);
  }
}

void Reverb::markSilence(ProcessData* d, std::int32_t frames) {
  if (d->outputCount <= 0 || !d->outputs) return;
  AudioBusBuffers& b = d->outputs[0];
  b.silenceFlags = 0;
  for (std::int32_t c = 0; c < std::min(b.channelCount, 2); ++c) {
    const float* x = b.channels ? b.channels[c] : nullptr;
    if (!x) continue;
    bool silent = true;
    for (std::int32_t i = 0; i < frames && silent; ++i) silent = x[i] == 0.0f;
    if (silent) b.silenceFlags |= std::uint64_t{1} << c;
  }
}

// ---------------------------------------------------------------- tables

const ComponentTable Reverb::kComponentTable = {
    .queryInterface = queryFace<ComponentTable, Reverb>,
    .addRef = addRefFace<ComponentTable, Reverb>,
    .release = releaseFace<ComponentTable, Reverb>,
    .initialize = [](void*, void*) { return kOk; },
    .terminate = [](void*) { return kOk; },
    // No separate controller: this object is it.
    .getControllerClassId = [](void*, Tuid*) { return kNotImplemented; },
    .setIoMode = [](void*, std::int32_t) { return kOk; },
    .getBusCount = [](void* s, std::int32_t media, std::int32_t) { return of<ComponentTable>(s)->busCount(media); },
    .getBusInfo = [](void* s, std::int32_t media, std::int32_t direction, std::int32_t index, BusInfo* out) {
      return of<ComponentTable>(s)->busInfo(media, direction, index, out);
    },
    .getRoutingInfo = [](void*, RoutingInfo*, RoutingInfo*) { return kNotImplemented; },
    .activateBus = [](void*, std::int32_t media, std::int32_t, std::int32_t index, std::uint8_t) {
      return media == kAudio && index == 0 ? kOk : kInvalidArgument;
    },
    .setActive = [](void* s, std::uint8_t on) { return of<ComponentTable>(s)->setActive(on != 0); },
    .setState = [](void* s, BStream* stream) { return of<ComponentTable>(s)->loadState(stream); },
    .getState = [](void* s, BStream* stream) { return of<ComponentTable>(s)->saveState(stream); },
};

const AudioProcessorTable Reverb::kProcessorTable = {
    .queryInterface = queryFace<AudioProcessorTable, Reverb>,
    .addRef = addRefFace<AudioProcessorTable, Reverb>,
    .release = releaseFace<AudioProcessorTable, Reverb>,
    .setBusArrangements = [](void* s, std::uint64_t* in, std::int32_t inCount, std::uint64_t* out,
                             std::int32_t outCount) {
      return of<AudioProcessorTable>(s)->setArrangements(in, inCount, out, outCount);
    },
    .getBusArrangement = [](void* s, std::int32_t direction, std::int32_t index, std::uint64_t* out) {
      return of<AudioProcessorTable>(s)->arrangement(direction, index, out);
    },
    .canProcessSampleSize = [](void*, std::int32_t size) { return size == 0 ? kTrue : kNotImplemented; },
    .getLatencySamples = [](void*) -> std::uint32_t { return 0; },
    .setupProcessing = [](void* s, ProcessSetup* setup) { return of<AudioProcessorTable>(s)->setup(setup); },
    .setProcessing = [](void*, std::uint8_t) { return kOk; },
    .process = [](void* s, ProcessData* d) { return of<AudioProcessorTable>(s)->process(d); },
    .getTailSamples = [](void* s) { return of<AudioProcessorTable>(s)->tail(); },
};

// No tempo, transport or time: a host that asks need not fill the context.
const ProcessContextRequirementsTable Reverb::kContextNeedsTable = {
    .queryInterface = queryFace<ProcessContextRequirementsTable, Reverb>,
    .addRef = addRefFace<ProcessContextRequirementsTable, Reverb>,
    .release = releaseFace<ProcessContextRequirementsTable, Reverb>,
    .getProcessContextRequirements = [](void*) -> std::uint32_t { return 0; },
};

}  // namespace korro::vst3
