// A small VST 2 host: loads a module by path, resolves its entry point, answers
// and records the module's requests, and drives the dispatcher and both
// processing forms. Used by the renderer and by every module-level test.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "shell/base/vst_abi.h"

namespace korro::host {

struct HostRequest {
  std::int32_t opcode;
  std::int32_t index;
  std::intptr_t value;
  float opt;
};

class Host {
 public:
  Host();

  // Answers given to the module.
  std::intptr_t versionAnswer = 2400;
  bool minimal = false;  // a scanning host: 0 to everything but the version request
  bool inputConnected = true;
  bool outputConnected = true;
  std::intptr_t blockSizeAnswer = 512;

  // Requests seen so far. Recording never allocates: it stops at a fixed capacity,
  // while the per-opcode counts keep going.
  const std::vector<HostRequest>& requests() const { return requests_; }
  std::int64_t count(std::int32_t opcode) const;
  void clear();

  static std::intptr_t KORRO_CDECL callback(AEffect* effect, std::int32_t opcode, std::int32_t index,
                                            std::intptr_t value, void* ptr, float opt);

 private:
  std::intptr_t answer(std::int32_t opcode, std::int32_t index, std::intptr_t value);

  std::vector<HostRequest> requests_;
  std::array<std::int64_t, 128> counts_{};
};

class Module {
 public:
  using Entry = AEffect* (*)(HostCallback);

  explicit Module(const std::string& path);
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  bool loaded() const { return handle_ != nullptr; }
  const std::string& error() const { return error_; }
  // VSTPluginMain, or main when the former is missing; null if neither exists.
  Entry entry() const;
  Entry symbol(const char* name) const;

 private:
  void* handle_ = nullptr;
  std::string error_;
};

// One effect instance; closes it on destruction.
class Plugin {
 public:
  // effect() is null when the module refused (its entry answered null). The
  // entry is the one a host would pick, or the named one.
  Plugin(const Module& module, Host& host, const char* entryName = nullptr);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  AEffect* effect() const { return effect_; }
  explicit operator bool() const { return effect_ != nullptr; }

  std::intptr_t dispatch(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0, void* ptr = nullptr,
                         float opt = 0.0f);
  // Text opcodes: a 256-byte buffer prefilled with a marker, so an untouched buffer reads back as "\x01".
  std::string text(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0);
  static constexpr const char* kUntouched = "\x01";

  void setParameter(std::int32_t index, float value);
  float getParameter(std::int32_t index);
  void process(float** inputs, float** outputs, std::int32_t frames);
  void processReplacing(float** inputs, float** outputs, std::int32_t frames);

  // The usual start-up: open, rate, block size, resume.
  void start(float sampleRate, std::int32_t blockSize);
  // Closes now (effClose) instead of at destruction.
  void close();

 private:
  AEffect* effect_ = nullptr;
};

}  // namespace korro::host
