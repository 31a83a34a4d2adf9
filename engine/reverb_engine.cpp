#include "reverb_engine.h"

namespace korro {

namespace {

constexpr int kInitialScratchFrames = 1024;
constexpr std::int32_t kFlushThreshold = 1000000;

// Announced block sizes outside this range leave a generous capacity.
int scratchCapacity(std::int32_t blockSize) { return blockSize >= 32 && blockSize <= (1 << 20) ? blockSize : 65536; }

}  // namespace

ReverbEngine::ReverbEngine() : scratch_(kInitialScratchFrames), tank_(memory_) {
  for (int i = 0; i < kDispersionSections; ++i)
    dispersionBank_[i] =
        std::make_unique<FilterSection>(44100.0, AllPass, kDispersionBank[i].frequency, kDispersionBank[i].q, 24.0);
}

void ReverbEngine::suspend() {
  engineRate_ = 44100.0;
  memory_.clearPartial();
  tank_.resetForSuspend();
  input_.resetForSuspend();
  output_.resetForSuspend();
  for (auto& section : dispersionBank_) section->design();
}

float ReverbEngine::resume(float hostRate, std::int32_t blockSize) {
  input_.resetForResume();
  output_.resetForResume();
  reserveScratch(blockSize);

  // NaN counts as out of range too.
  if (!(hostRate >= 20000.0f && hostRate <= 200000.0f)) hostRate = 44100.0f;
  engineRate_ = hostRate;
  decimation_ = engineRate_ > 50000.0 ? 1 : 0;
  if (decimation_) engineRate_ *= 0.5;

  memory_.clearAll();
  tank_.resetForResume();
  for (auto& section : dispersionBank_) section->setSampleRate(engineRate_);
  return hostRate;
}

void ReverbEngine::reserveScratch(std::int32_t blockSize) { scratch_.resize(scratchCapacity(blockSize)); }

void ReverbEngine::flushDelayMemory() {
  memory_.clearPartial();
  input_.clearHistory();
  output_.clearHistory();
  input_.fadeGainFast = 0.0f;
}

void ReverbEngine::processInput(const float* inL, const float* inR, float* const core[2], float* const dry[2],
                                int frames) {
  if (frames > 0) input_.process(inL, inR, core, dry, frames, decimates());
}

void ReverbEngine::processOutput(float* const dry[2], float* const core[2], float** outputs, int frames,
                                 bool stereo, const std::atomic<float>& mix, const std::atomic<float>& gain,
                                 OutputStage::Store store, OutputPeaks& peaks) {
  if (frames > 0)
    output_.process(dry, core, outputs, frames, decimates(), stereo, mix, gain, store, peaks);
}

namespace {

void runStages(BlockStages& stages, ReverbEngine& engine, float** inputs, float** outputs, std::int32_t frames,
               OutputStage::Store store) {
  ScratchBuffers& s = engine.scratch();
  stages.processInput(inputs, s.coreInput, s.dryInput, frames);
  stages.updateTank();
  stages.processTank(s.coreInput, s.coreOutput, frames / (engine.decimates() ? 2 : 1));
  if (store == OutputStage::Store::Adding)
    stages.processOutputAdding(s.dryInput, s.coreOutput, outputs, frames);
  else
    stages.processOutputReplacing(s.dryInput, s.coreOutput, outputs, frames);
}

}  // namespace

void runBlock(BlockStages& stages, ReverbEngine& engine, float** inputs, float** outputs, std::int32_t frames,
              OutputStage::Store store) {
  const bool buffers = inputs && outputs && inputs[0] && outputs[0];
  if (!buffers && frames > 0) return;
  if (frames < 0) frames = 0;

  InputStage& input = engine.inputStage();
  if (input.flushCountdown <= kFlushThreshold && input.flushCountdown > kFlushThreshold - std::int64_t{frames}) {
    stages.flushDelayMemory();
    input.fadeGainFast = 0.0f;
    input.fadeGainSlow = 0.0f;
    input.flushCountdown = 0;
  }

  const std::int32_t piece = engine.scratchFrames();
  if (frames <= piece) {
    runStages(stages, engine, inputs, outputs, frames, store);
    return;
  }
  for (std::int32_t done = 0; done < frames; done += piece) {
    const std::int32_t length = frames - done < piece ? frames - done : piece;
    float* in[2] = {inputs[0] + done, inputs[1] ? inputs[1] + done : nullptr};
    float* out[2] = {outputs[0] + done, outputs[1] ? outputs[1] + done : nullptr};
    runStages(stages, engine, in, out, length, store);
  }
}

}  // namespace korro
