#include "vst_host.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <cstring>

namespace korro::host {

namespace {
constexpr std::size_t kRequestCapacity = 1 << 16;
// The host a module talks to before its record carries our pointer in `user`.
thread_local Host* constructingHost = nullptr;
}  // namespace

Host::Host() { requests_.reserve(kRequestCapacity); }

std::int64_t Host::count(std::int32_t opcode) const {
  return opcode >= 0 && opcode < static_cast<std::int32_t>(counts_.size()) ? counts_[opcode] : 0;
}

void Host::clear() {
  requests_.clear();
  counts_.fill(0);
}

std::intptr_t Host::answer(std::int32_t opcode, std::int32_t index, std::intptr_t value) {
  if (opcode == audioMasterVersion) return versionAnswer;
  if (minimal) return 0;
  switch (opcode) {
    case audioMasterPinConnected:
      // 0 means connected.
      if (index != 1) return 0;
      return (value == 0 ? inputConnected : outputConnected) ? 0 : 1;
    case audioMasterGetBlockSize:
      return blockSizeAnswer;
    default:
      return 0;
  }
}

std::intptr_t KORRO_CDECL Host::callback(AEffect* effect, std::int32_t opcode, std::int32_t index,
                                         std::intptr_t value, void* /*ptr*/, float opt) {
  Host* host = effect && effect->user ? static_cast<Host*>(effect->user) : constructingHost;
  if (!host) return 0;
  if (opcode >= 0 && opcode < static_cast<std::int32_t>(host->counts_.size())) ++host->counts_[opcode];
  if (host->requests_.size() < host->requests_.capacity()) host->requests_.push_back({opcode, index, value, opt});
  return host->answer(opcode, index, value);
}

#if defined(_WIN32)
Module::Module(const std::string& path) {
  handle_ = LoadLibraryA(path.c_str());
  if (!handle_) error_ = "cannot load module (Windows error " + std::to_string(GetLastError()) + ")";
}

Module::~Module() {
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
}

Module::Entry Module::symbol(const char* name) const {
  if (!handle_) return nullptr;
  return reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name)));
}
#else
Module::Module(const std::string& path) {
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle_) {
    const char* why = dlerror();
    error_ = why ? why : "cannot load module";
  }
}

Module::~Module() {
  if (handle_) dlclose(handle_);
}

Module::Entry Module::symbol(const char* name) const {
  if (!handle_) return nullptr;
  return reinterpret_cast<Entry>(dlsym(handle_, name));
}
#endif

Module::Entry Module::entry() const {
  if (Entry e = symbol("VSTPluginMain")) return e;
  return symbol("main");
}

Plugin::Plugin(const Module& module, Host& host, const char* entryName) {
  Module::Entry entry = entryName ? module.symbol(entryName) : module.entry();
  if (!entry) return;
  constructingHost = &host;
  effect_ = entry(&Host::callback);
  constructingHost = nullptr;
  if (effect_) effect_->user = &host;
}

Plugin::~Plugin() { close(); }

void Plugin::close() {
  if (effect_) effect_->dispatcher(effect_, effClose, 0, 0, nullptr, 0.0f);
  effect_ = nullptr;
}

std::intptr_t Plugin::dispatch(std::int32_t opcode, std::int32_t index, std::intptr_t value, void* ptr, float opt) {
  return effect_->dispatcher(effect_, opcode, index, value, ptr, opt);
}

std::string Plugin::text(std::int32_t opcode, std::int32_t index, std::intptr_t value) {
  char buffer[256];
  std::memset(buffer, 0, sizeof buffer);
  buffer[0] = kUntouched[0];
  dispatch(opcode, index, value, buffer);
  buffer[sizeof buffer - 1] = 0;
  return buffer;
}

void Plugin::setParameter(std::int32_t index, float value) { effect_->setParameter(effect_, index, value); }
float Plugin::getParameter(std::int32_t index) { return effect_->getParameter(effect_, index); }
void Plugin::process(float** inputs, float** outputs, std::int32_t frames) {
  effect_->process(effect_, inputs, outputs, frames);
}
void Plugin::processReplacing(float** inputs, float** outputs, std::int32_t frames) {
  effect_->processReplacing(effect_, inputs, outputs, frames);
}

void Plugin::start(float sampleRate, std::int32_t blockSize) {
  dispatch(effOpen);
  dispatch(effSetSampleRate, 0, 0, nullptr, sampleRate);
  dispatch(effSetBlockSize, 0, blockSize);
  dispatch(effMainsChanged, 0, 1);
}

}  // namespace korro::host
