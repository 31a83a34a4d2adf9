// Base of every effect in this module: owns the host-facing record, routes the
// host's calls to virtual operations and wraps the requests made of the host.
#pragma once

#include <atomic>
#include <cstdint>

#include "shell/base/edit_controller.h"
#include "shell/base/vst_abi.h"

class AEffEditor;

class AudioEffect : public EditController {
 public:
  AudioEffect(HostCallback audioMaster, std::int32_t numPrograms, std::int32_t numParams);
  virtual ~AudioEffect();

  AudioEffect(const AudioEffect&) = delete;
  AudioEffect& operator=(const AudioEffect&) = delete;

  AEffect* getAeffect() { return &cEffect; }

  // Opcodes 0..24; everything above answers 0.
  virtual std::intptr_t dispatcher(std::int32_t opcode, std::int32_t index, std::int32_t value, void* ptr,
                                   float opt);

  virtual void setParameter(std::int32_t /*index*/, float /*value*/) {}
  float getParameter(std::int32_t /*index*/) override { return 0.0f; }
  // The editor's path: set, then tell the host.
  void setParameterAutomated(std::int32_t index, float value) override;

  virtual void process(float** /*inputs*/, float** /*outputs*/, std::int32_t /*frames*/) {}
  virtual void processReplacing(float** /*inputs*/, float** /*outputs*/, std::int32_t /*frames*/) {}

  virtual std::int32_t getProgram() { return curProgram.load(std::memory_order_relaxed); }
  virtual void setProgram(std::int32_t program) { curProgram.store(program, std::memory_order_relaxed); }
  virtual void setProgramName(char* /*name*/) {}
  virtual void getProgramName(char* name) {
    if (name) *name = 0;
  }
  virtual void getParameterLabel(std::int32_t /*index*/, char* /*text*/) {}
  virtual void getParameterDisplay(std::int32_t /*index*/, char* /*text*/) {}
  virtual void getParameterName(std::int32_t /*index*/, char* /*text*/) {}
  virtual float getVu() { return 0.0f; }

  virtual void setSampleRate(float rate) { sampleRate = rate; }
  virtual void setBlockSize(std::int32_t size) { blockSize = size; }
  virtual void suspend() {}
  virtual void resume() {}

  float getSampleRate() const { return sampleRate; }
  std::int32_t getBlockSize() const { return blockSize; }

  AEffEditor* getEditor() const { return editor; }
  // Takes ownership; a non-null editor also raises the has-editor flag.
  void setEditor(AEffEditor* newEditor);

  // Requests made of the host; each is skipped (with a neutral answer) without a callback.
  void masterIdle();
  bool isInputConnected(std::int32_t input);
  bool isOutputConnected(std::int32_t output);
  void beginEdit(std::int32_t index) override;
  void endEdit(std::int32_t index) override;
  void idleHost() override { masterIdle(); }
  std::intptr_t getOutputLatency();
  std::intptr_t updateBlockSize();

  // Decimal text of at most eight characters (sign, digits, point); digits are truncated.
  static void float2string(float value, char* text);
  static void dB2string(float value, char* text);

  // The entry functions stored in the record.
  static std::intptr_t KORRO_CDECL dispatchEntry(AEffect* e, std::int32_t opcode, std::int32_t index,
                                                 std::intptr_t value, void* ptr, float opt);
  static void KORRO_CDECL processEntry(AEffect* e, float** inputs, float** outputs, std::int32_t frames);
  static void KORRO_CDECL processReplacingEntry(AEffect* e, float** inputs, float** outputs, std::int32_t frames);
  static void KORRO_CDECL setParameterEntry(AEffect* e, std::int32_t index, float value);
  static float KORRO_CDECL getParameterEntry(AEffect* e, std::int32_t index);

 protected:
  static std::int32_t truncateToInt32(float v);
  std::intptr_t callHost(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0,
                         void* ptr = nullptr, float opt = 0.0f);
  void setFlag(std::int32_t flag, bool on);

  float sampleRate = 44100.0f;
  AEffEditor* editor = nullptr;
  HostCallback audioMaster = nullptr;
  std::int32_t numPrograms = 0;
  std::int32_t numParams = 0;
  // Blocks read it while a host's UI thread selects programs.
  std::atomic<std::int32_t> curProgram{0};
  std::int32_t blockSize = 1024;
  AEffect cEffect{};
};
