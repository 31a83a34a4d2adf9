// The spring reverb held the way a VST 2 host holds it: created with this
// front's own host callback and driven only through its effect record.
#pragma once

#include <cstdint>

#include "shell/vst_abi.h"

class ReverbEffect;

namespace korro::lv2 {

class HostedEffect {
 public:
  // maxBlock is what the effect hears when it asks for the host's block size.
  // Throws what the effect's constructor throws (out of memory).
  explicit HostedEffect(std::int32_t maxBlock);
  ~HostedEffect();  // effClose
  HostedEffect(const HostedEffect&) = delete;
  HostedEffect& operator=(const HostedEffect&) = delete;

  std::intptr_t dispatch(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0, void* ptr = nullptr,
                         float opt = 0.0f);
  void setParameter(std::int32_t index, float value);
  float getParameter(std::int32_t index);
  void processReplacing(float** inputs, float** outputs, std::int32_t frames);

  // The usual start: rate, block size, resume.
  void start(float sampleRate);
  const AEffect& record() const { return *record_; }

  // The largest left output magnitude since the last call, taken and cleared
  // as the editor's idle takes its meter.
  float takeLeftPeak();

 private:
  static std::intptr_t KORRO_CDECL callback(AEffect* effect, std::int32_t opcode, std::int32_t index,
                                            std::intptr_t value, void* ptr, float opt);

  ReverbEffect* reverb_ = nullptr;
  AEffect* record_ = nullptr;
  std::int32_t maxBlock_;
};

}  // namespace korro::lv2
