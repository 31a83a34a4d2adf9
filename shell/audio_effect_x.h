// Adds the version-2 requests (25..68) with their default answers.
#pragma once

#include "audio_effect.h"

class AudioEffectX : public AudioEffect {
 public:
  using AudioEffect::AudioEffect;

  std::intptr_t dispatcher(std::int32_t opcode, std::int32_t index, std::int32_t value, void* ptr,
                           float opt) override;

  virtual bool canParameterBeAutomated(std::int32_t /*index*/) { return true; }
  virtual bool getProgramNameIndexed(std::int32_t /*category*/, std::int32_t /*index*/, char* /*text*/) {
    return false;
  }
  virtual bool copyProgram(std::int32_t /*destination*/) { return false; }
  virtual bool setBypass(bool /*onOff*/) { return false; }
  virtual bool getEffectName(char* /*name*/) { return false; }
  virtual bool getVendorString(char* /*text*/) { return false; }
  virtual bool getProductString(char* /*text*/) { return false; }
  virtual std::int32_t getVendorVersion() { return 0; }
  virtual std::int32_t canDo(const char* /*text*/) { return 0; }
  virtual std::int32_t getGetTailSize() { return 0; }
  virtual std::int32_t getVstVersion() { return 2200; }
  virtual std::int32_t getPlugCategory();
};
