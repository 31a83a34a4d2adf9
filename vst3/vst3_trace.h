// A log of what a host calls, for learning how hosts drive the plug-in. Only
// in a build configured with -DKORRO_VST3_TRACE=ON, never in what ships:
// there KORRO_VST3_TRACE=FILE in the host's environment appends one line per
// call (thread, instance, face, call, arguments). Otherwise every trace is
// dead code the compiler drops.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vst3_abi.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace korro::vst3 {

#if defined(KORRO_VST3_TRACING)
inline constexpr bool kTraceBuilt = true;
#else
inline constexpr bool kTraceBuilt = false;
#endif

class Trace {
 public:
  static bool enabled() { return kTraceBuilt && get().on(); }
  static Trace& get() {
    static Trace trace;
    return trace;
  }
  bool on() const { return file_ != nullptr; }

  void line(const void* instance, const char* face, const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 4, 5)))
#endif
  {
    if (!file_) return;
    // One write per line, so lines from several threads do not interleave.
    char text[1024];
    int used = std::snprintf(text, sizeof text, "t%lu %p %s.", threadId(), instance, face);
    va_list args;
    va_start(args, format);
    if (used > 0 && used < static_cast<int>(sizeof text))
      used += std::vsnprintf(text + used, sizeof text - static_cast<std::size_t>(used), format, args);
    va_end(args);
    if (used < 0) return;
    const std::size_t length = std::min(static_cast<std::size_t>(used), sizeof text - 2);
    text[length] = '\n';
    std::fwrite(text, 1, length + 1, file_);
    std::fflush(file_);
  }

  // The interface a query names, or its sixteen bytes in memory order.
  static const char* name(const Tuid* iid, char (&buffer)[40]) {
    if (!iid) return "(null)";
    static const struct {
      Tuid id;
      const char* name;
    } known[] = {
        {kFUnknownId, "FUnknown"},
        {kPluginBaseId, "IPluginBase"},
        {kPluginFactoryId, "IPluginFactory"},
        {kPluginFactory2Id, "IPluginFactory2"},
        {kPluginFactory3Id, "IPluginFactory3"},
        {kComponentId, "IComponent"},
        {kAudioProcessorId, "IAudioProcessor"},
        {kEditControllerId, "IEditController"},
        {kConnectionPointId, "IConnectionPoint"},
        {kUnitInfoId, "IUnitInfo"},
        {kPlugViewId, "IPlugView"},
        {kContentScaleSupportId, "IPlugViewContentScaleSupport"},
        {kTimerHandlerId, "ITimerHandler"},
        {makeTuid(0x2A654303, 0xEF764E3D, 0x95B5FE83, 0x730EF6D0), "IProcessContextRequirements"},
        {makeTuid(0x7F4EFE59, 0xF3204967, 0xAC27A3AE, 0xAFB63038), "IEditController2"},
        {makeTuid(0x8683B01F, 0x7B354F70, 0xA2651DEC, 0x353AF4FF), "IProgramListData"},
        {makeTuid(0x561E65C9, 0x13A0496F, 0x813A2C35, 0x654D7983), "IEventHandler"},
    };
    for (const auto& k : known)
      if (std::memcmp(k.id.bytes, iid->bytes, 16) == 0) return k.name;
    for (int i = 0; i < 16; ++i) std::snprintf(buffer + 2 * i, 3, "%02X", iid->bytes[i]);
    return buffer;
  }

 private:
  Trace() {
    if (!kTraceBuilt) return;
    if (const char* path = std::getenv("KORRO_VST3_TRACE"); path && *path) file_ = std::fopen(path, "a");
  }
  ~Trace() {
    if (file_) std::fclose(file_);
  }
  static unsigned long threadId() {
#if defined(_WIN32)
    return GetCurrentThreadId();
#else
    return static_cast<unsigned long>(syscall(SYS_gettid));
#endif
  }

  std::FILE* file_ = nullptr;
};

}  // namespace korro::vst3

// KORRO_VST3_TRACE(instance, "face", "call format", args...)
#define KORRO_VST3_TRACE(instance, face, ...)                                                  \
  do {                                                                                         \
    if (::korro::vst3::Trace::enabled()) ::korro::vst3::Trace::get().line(instance, face, __VA_ARGS__); \
  } while (0)
