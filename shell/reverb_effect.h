// The spring reverb as the host sees it: parameters, programs, the block
// frame and the engine it owns.
#pragma once

#include <atomic>
#include <memory>

#include "audio_effect_x.h"
#include "engine/engine_memory.h"
#include "engine/filter_section.h"
#include "engine/input_stage.h"
#include "engine/output_stage.h"
#include "engine/spring_tank.h"
#include "programs.h"

enum ReverbParameter : std::int32_t {
  kBypass = 0,
  kDecay = 1,
  kDamp = 2,
  kOutput = 3,
  kMix = 4,
  kNumParams = 5,
};

class ReverbEffect : public AudioEffectX {
 public:
  explicit ReverbEffect(HostCallback audioMaster);
  ~ReverbEffect() override;

  void setParameter(std::int32_t index, float value) override;
  float getParameter(std::int32_t index) override;
  void process(float** inputs, float** outputs, std::int32_t frames) override;
  void processReplacing(float** inputs, float** outputs, std::int32_t frames) override;
  void setProgram(std::int32_t program) override;
  void setProgramName(char* name) override;
  void getProgramName(char* name) override;
  void getParameterLabel(std::int32_t index, char* text) override;
  void getParameterDisplay(std::int32_t index, char* text) override;
  void getParameterName(std::int32_t index, char* text) override;
  void suspend() override;
  void resume() override;
  bool getProgramNameIndexed(std::int32_t category, std::int32_t index, char* text) override;
  bool copyProgram(std::int32_t destination) override;
  bool getEffectName(char* name) override;
  bool getVendorString(char* text) override;
  bool getProductString(char* text) override;

  // Engine stages, in the order the block frame runs them.
  virtual void flushDelayMemory();
  virtual void processTank(float** input, float** output, std::int32_t frames);
  virtual void updateTank();
  virtual void processInput(float** inputs, float** coreInput, float** dryInput, std::int32_t frames);
  virtual void processOutputAdding(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames);
  virtual void processOutputReplacing(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames);

  // Level meter, written by the output stage and set-up, read and cleared by the editor.
  float peakLeft = 0.0f;
  float peakRight = 0.0f;
  std::int32_t blockCount = 0;
  std::int32_t meterHoldBlocks = 100;
  std::int32_t meterHoldCount = 0;
  double heldPeak = 0.0;

  // Read-only views for tools and tests.
  double getEngineRate() const { return engineRate; }
  std::int32_t getDecimation() const { return decimation; }
  std::int32_t getScratchFrames() const { return scratch.frames(); }
  float getOutputGain() const { return outputGain; }
  const korro::SpringTank& getTank() const { return tank; }
  korro::SpringTank& getTank() { return tank; }
  const korro::DelayMemory& getDelayMemory() const { return delayMemory; }
  const korro::InputStage& getInputStage() const { return inputStage; }
  const korro::OutputStage& getOutputStage() const { return outputStage; }
  // Null for an index outside the bank.
  korro::FilterSection* getDispersionSection(int index) {
    return index >= 0 && index < korro::kDispersionSections ? dispersionBank[index].get() : nullptr;
  }

 private:
  enum class Store { Adding, Replacing };
  void runBlock(float** inputs, float** outputs, std::int32_t frames, Store store);
  void runStages(float** inputs, float** outputs, std::int32_t frames, Store store);
  void processOutput(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames,
                     korro::OutputStage::Store store);
  korro::ProgramRecord& current() { return programTable[curProgram]; }

  // Parameter state.
  std::int32_t bypassed = 0;
  float decay = 0.0f;
  float damp = 0.0f;
  float output = 0.0f;
  std::atomic<float> mix{0.0f};
  std::atomic<float> outputGain{0.0f};

  // Block frame.
  double engineRate = 44100.0;
  std::int32_t decimation = 0;

  // Engine memory, allocated in this order by the constructor.
  korro::ScratchBuffers scratch;
  korro::DelayMemory delayMemory;
  std::unique_ptr<korro::FilterSection> dispersionBank[korro::kDispersionSections];
  std::unique_ptr<korro::ProgramRecord[]> programTable;

  korro::SpringTank tank;
  korro::InputStage inputStage;
  korro::OutputStage outputStage;
};
