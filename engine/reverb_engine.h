// The engine behind the effect: what happens to a host block, and how the
// engine is set up for a host's rate and block size.
//
// One block runs four stages, always in this order:
//   processInput   host input → dry copy, and the tank's input (2:1 decimated
//                  above 50 kHz)
//   updateTank     gains, coefficients and line lengths from Decay and Damp
//   processTank    the spring tank, at the engine rate
//   processOutput  tank output back to the host rate, dry/wet mix, output gain
// The effect keeps each stage as an overridable seam (BlockStages); runBlock
// drives them.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "engine_memory.h"
#include "filter_section.h"
#include "input_stage.h"
#include "output_stage.h"
#include "spring_tank.h"

namespace korro {

class ReverbEngine {
 public:
  ReverbEngine();

  // Back to 44,100 Hz: the reverb memory cleared as a flush clears it, the
  // tank's running states and the half-rate histories reset.
  void suspend();
  // Set up for the host: scratch capacity from the announced block size,
  // engine rate and decimation from the host rate, every tank line emptied.
  // Answers the host rate taken (rates outside 20,000 to 200,000 Hz count as
  // 44,100).
  float resume(float hostRate, std::int32_t blockSize);
  // The scratch capacity a resume with this block size sets, set now (zeroed
  // when it changes), so that resume allocates nothing.
  void reserveScratch(std::int32_t blockSize);
  // Clears the reverb memory but for three lines per channel, whose contents
  // keep circulating.
  void flushDelayMemory();

  // The stages. `frames` counts host frames, except for processTank.
  void processInput(const float* inL, const float* inR, float* const core[2], float* const dry[2], int frames);
  void updateTank(float decay, float damp) { tank_.update(decay, damp, engineRate_); }
  void processTank(const float* const in[2], float* const out[2], int frames, bool feedInput) {
    tank_.process(in, out, frames, feedInput);
  }
  void processOutput(float* const dry[2], float* const core[2], float** outputs, int frames, bool stereo,
                     const std::atomic<float>& mix, const std::atomic<float>& gain, OutputStage::Store store,
                     OutputPeaks& peaks);

  double engineRate() const { return engineRate_; }
  bool decimates() const { return decimation_ != 0; }
  ScratchBuffers& scratch() { return scratch_; }
  InputStage& inputStage() { return input_; }

  // Views for tools and tests.
  int scratchFrames() const { return scratch_.frames(); }
  SpringTank& tank() { return tank_; }
  const SpringTank& tank() const { return tank_; }
  const DelayMemory& delayMemory() const { return memory_; }
  const InputStage& inputStage() const { return input_; }
  const OutputStage& outputStage() const { return output_; }
  // Null for an index outside the bank.
  FilterSection* dispersionSection(int index) {
    return index >= 0 && index < kDispersionSections ? dispersionBank_[index].get() : nullptr;
  }

 private:
  double engineRate_ = 44100.0;
  std::int32_t decimation_ = 0;

  // Allocated in this order, all at construction; resume may re-size the scratch buffers.
  ScratchBuffers scratch_;
  DelayMemory memory_;
  // Kept designed at the engine rate; no stage runs it.
  std::unique_ptr<FilterSection> dispersionBank_[kDispersionSections];

  SpringTank tank_;
  InputStage input_;
  OutputStage output_;
};

// The stages of a block as overridable operations. The effect implements
// them by calling its engine with its parameter state.
class BlockStages {
 public:
  virtual void flushDelayMemory() = 0;
  virtual void processTank(float** input, float** output, std::int32_t frames) = 0;
  virtual void updateTank() = 0;
  virtual void processInput(float** inputs, float** coreInput, float** dryInput, std::int32_t frames) = 0;
  virtual void processOutputAdding(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames) = 0;
  virtual void processOutputReplacing(float** dryInput, float** coreOutput, float** outputs,
                                      std::int32_t frames) = 0;

 protected:
  ~BlockStages() = default;
};

// One host block through the stages. Only a block of more than a million
// frames flushes the reverb memory first. A block longer than the scratch
// buffers runs as pieces of their length, as if the host had sent those.
// Without buffers only an empty block runs (it still refreshes Bypass, asks
// the host for both pins and counts for the meter).
void runBlock(BlockStages& stages, ReverbEngine& engine, float** inputs, float** outputs, std::int32_t frames,
              OutputStage::Store store);

}  // namespace korro
