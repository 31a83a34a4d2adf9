// The spring reverb as the host sees it: parameters, programs, the block
// frame and the engine it owns.
#pragma once

#include <atomic>
#include <memory>

#include "audio_effect_x.h"
#include "editor/editor_factory.h"
#include "engine/level_meter.h"
#include "engine/reverb_engine.h"
#include "programs.h"

enum ReverbParameter : std::int32_t {
  kBypass = 0,
  kDecay = 1,
  kDamp = 2,
  kOutput = 3,
  kMix = 4,
  kNumParams = 5,
};

class ReverbEffect : public AudioEffectX, public korro::BlockStages {
 public:
  // Without a factory the effect has no editor (and needs no GUI code). The
  // editor edits through `editorController`, or through the effect itself.
  explicit ReverbEffect(HostCallback audioMaster, EditorFactory makeEditor = nullptr,
                        EditController* editorController = nullptr);
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

  // Engine stages, in the order the block frame runs them: each calls the
  // engine with this effect's parameter state.
  void flushDelayMemory() override;
  void processTank(float** input, float** output, std::int32_t frames) override;
  void updateTank() override;
  void processInput(float** inputs, float** coreInput, float** dryInput, std::int32_t frames) override;
  void processOutputAdding(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames) override;
  void processOutputReplacing(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames) override;

  korro::LevelMeter* levelMeter() override { return &meter; }

  // The value the engine works on: the stored value held to [0, 1] (Bypass: 0 or 1).
  float engineValue(std::int32_t index) const;
  // What getParameter answers once a finite value is set.
  static float answerFor(std::int32_t index, float value);
  // A program's stored record, for state saved and loaded by a front. Writing
  // one does not apply it: select the program for that. The values may be
  // read and written on any thread; the name only on the one that renames.
  korro::ProgramRecord programRecord(std::int32_t program) const;
  void setProgramValues(std::int32_t program, const float* values);  // five, in parameter order
  void renameProgram(std::int32_t program, const char* name);
  // Zeros the engine's scratch buffers, which suspend and resume leave as they
  // are (at half rate the first output frame can read one of them): for a
  // front whose reset must sound exactly like a new instance. Audio thread.
  void emptyScratch() { engine.scratch().clear(); }
  // Sizes the scratch buffers for a block size the next resume will bring, so
  // that resume allocates nothing. While suspended only.
  void reserveBlock(std::int32_t blockSize) { engine.reserveScratch(blockSize); }
  // The engine as a suspend and resume with the last resume's rate and block
  // size leave it, without passing through suspended or asking the host:
  // the audio thread's reset. Allocates nothing.
  void restart();
  // True while a program change waits for the audio thread to rebuild the engine.
  bool rebuildPending() const { return pendingRebuild.load(std::memory_order_acquire); }

  // Raised after every block, its hold set by set-up, taken and cleared by the editor.
  korro::LevelMeter meter;

  // Read-only views for tools and tests.
  double getEngineRate() const { return engine.engineRate(); }
  std::int32_t getDecimation() const { return engine.decimates() ? 1 : 0; }
  std::int32_t getScratchFrames() const { return engine.scratchFrames(); }
  const korro::SpringTank& getTank() const { return engine.tank(); }
  korro::SpringTank& getTank() { return engine.tank(); }
  const korro::DelayMemory& getDelayMemory() const { return engine.delayMemory(); }
  const korro::InputStage& getInputStage() const { return engine.inputStage(); }
  const korro::OutputStage& getOutputStage() const { return engine.outputStage(); }
  korro::FilterSection* getDispersionSection(int index) { return engine.dispersionSection(index); }

 private:
  void processOutput(float** dryInput, float** coreOutput, float** outputs, std::int32_t frames,
                     korro::OutputStage::Store store);
  korro::ProgramRecord& current() { return programTable[curProgram.load(std::memory_order_relaxed)]; }
  // The engine part of suspend and resume, and the host's part of resume.
  void suspendEngine();
  void resumeEngine();
  // At the start of a block: the rebuild a program change left for this thread.
  void rebuildIfPending();
  void rebuild();

  // Parameter state: written by whichever thread sets a parameter, read by blocks and the editor.
  // The stored values read back exactly as set; the engine copies are clamped.
  std::atomic<float> decay{0.0f};
  std::atomic<float> damp{0.0f};
  std::atomic<float> output{0.0f};
  std::atomic<float> mix{0.0f};
  std::atomic<std::int32_t> bypassed{0};
  std::atomic<float> engineBypass{0.0f};
  std::atomic<float> engineDecay{0.0f};
  std::atomic<float> engineDamp{0.0f};
  std::atomic<float> engineOutput{0.0f};
  std::atomic<float> engineMix{0.0f};
  std::atomic<float> outputGain{0.0f};

  // Mains state as the host set it, and what the last resume set the engine up with.
  std::atomic<bool> resumed{false};
  std::atomic<bool> pendingRebuild{false};
  float resumeRate = 44100.0f;
  std::int32_t resumeBlockSize = 1024;
  std::int32_t resumeHoldBlocks = 100;

  korro::ReverbEngine engine;
  std::unique_ptr<korro::ProgramRecord[]> programTable;
};
