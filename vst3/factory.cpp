// The module's one factory, which makes the plug-in, and the entry points a
// host looks up.
#include "korro/version.h"
#include "plugin.h"

#if defined(_WIN32)
#define KORRO_VST3_EXPORT extern "C" __declspec(dllexport)
#else
#define KORRO_VST3_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace korro::vst3 {
namespace {

constexpr const char* kVendor = "Korro Tarrow";

void fillClassInfo(ClassInfo& out) {
  std::memset(&out, 0, sizeof out);
  out.classId = kReverbClassId;
  out.cardinality = 0x7FFFFFFF;
  copyText(out.category, "Audio Module Class");
  copyText(out.name, "Korro Tarrow");
}

// The second and the unicode class info: the first one's fields and more.
template <typename Info>
Result fillClassInfo2(std::int32_t index, Info* out) {
  if (index != 0 || !out) return kInvalidArgument;
  ClassInfo base;
  fillClassInfo(base);
  std::memset(out, 0, sizeof *out);
  out->classId = base.classId;
  out->cardinality = base.cardinality;
  std::memcpy(out->category, base.category, sizeof out->category);
  copyText(out->name, "Korro Tarrow");
  copyText(out->subCategories, "Fx|Reverb");
  copyText(out->vendor, kVendor);
  copyText(out->version, kProjectVersion);
  copyText(out->sdkVersion, "VST 3.7");
  return kOk;
}

// Constant-initialised: hosts may ask for the factory on any thread.
constinit Interface<FactoryTable> factory{&kFactoryTable};

}  // namespace

const FactoryTable kFactoryTable = {
    .queryInterface = [](void* self, const Tuid* iid, void** out) {
      if (!out) return kInvalidArgument;
      if (same(iid, kFUnknownId) || same(iid, kPluginFactoryId) || same(iid, kPluginFactory2Id) ||
          same(iid, kPluginFactory3Id)) {
        *out = self;
        return kOk;
      }
      *out = nullptr;
      return kNoInterface;
    },
    // One factory for the module's life.
    .addRef = [](void*) -> std::uint32_t { return 1; },
    .release = [](void*) -> std::uint32_t { return 1; },
    .getFactoryInfo = [](void*, FactoryInfo* out) {
      if (!out) return kInvalidArgument;
      std::memset(out, 0, sizeof *out);
      copyText(out->vendor, kVendor);
      copyText(out->url, kVendorUrl);
      out->flags = 0x10;  // texts are unicode where the format allows
      return kOk;
    },
    .countClasses = [](void*) -> std::int32_t { return 1; },
    .getClassInfo = [](void*, std::int32_t index, ClassInfo* out) {
      if (index != 0 || !out) return kInvalidArgument;
      fillClassInfo(*out);
      return kOk;
    },
    .createInstance = [](void*, const Tuid* classId, const Tuid* iid, void** out) {
      if (!out) return kInvalidArgument;
      *out = nullptr;
      if (!same(classId, kReverbClassId)) return kNoInterface;
      Reverb* r = nullptr;
      try {
        r = new Reverb;
      } catch (...) {
        return kNoInterface;  // out of memory: an exception must not reach the host
      }
      const Result result = r->query(iid, out);
      r->release();  // the query's count is the host's
      return result;
    },
    .getClassInfo2 = [](void*, std::int32_t index, ClassInfo2* out) { return fillClassInfo2(index, out); },
    .getClassInfoUnicode = [](void*, std::int32_t index, ClassInfoW* out) { return fillClassInfo2(index, out); },
    .setHostContext = [](void*, void*) { return kOk; },
};

}  // namespace korro::vst3

KORRO_VST3_EXPORT void* GetPluginFactory() { return korro::vst3::tracedFactory(&korro::vst3::factory); }

#if defined(_WIN32)
KORRO_VST3_EXPORT bool InitDll() { return true; }
KORRO_VST3_EXPORT bool ExitDll() { return true; }
#else
KORRO_VST3_EXPORT bool ModuleEntry(void*) { return true; }
KORRO_VST3_EXPORT bool ModuleExit() { return true; }
#endif
