// The host's stream, and the VST 2 module as a front: the reference every
// other front is compared with. Its host splits each block at its changes.
#include <cmath>
#include <cstring>
#include <map>
#include <string>

#include "fronts/front.h"
#include "tools/host/vst_host.h"

namespace korro::test {

std::int64_t HostStream::read(void* data, std::size_t size) {
  if (pos >= failAt) return -1;
  const std::size_t n = std::min({size, chunk, bytes.size() - std::min(pos, bytes.size()), failAt - pos});
  if (n) std::memcpy(data, bytes.data() + pos, n);
  pos += n;
  return static_cast<std::int64_t>(n);
}

std::int64_t HostStream::write(const void* data, std::size_t size) {
  if (bytes.size() >= failAt) return -1;
  const std::size_t n = std::min({size, chunk, failAt - bytes.size()});
  const auto* p = static_cast<const unsigned char*>(data);
  bytes.insert(bytes.end(), p, p + n);
  return static_cast<std::int64_t>(n);
}

namespace {

class Vst2Front : public Front {
 public:
  explicit Vst2Front(const char* path) : vst_(module(path), host_) {
    features.programs = features.values = features.editor = true;
    vst_.dispatch(effOpen);
    changes_.clear();
  }
  bool start(double rate, std::int32_t maxBlock, bool) override {
    rate_ = rate;
    maxBlock_ = maxBlock;
    vst_.dispatch(effMainsChanged, 0, 0);
    vst_.dispatch(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
    vst_.dispatch(effSetBlockSize, 0, maxBlock);
    vst_.dispatch(effMainsChanged, 0, 1);
    return true;
  }
  // Suspended and resumed at the rate and block size it has, as hosts do.
  void reset() override { start(rate_, maxBlock_, false); }
  bool process(float* const* in, float* const* out, std::int32_t frames, const std::vector<Point>& points) override {
    // A program is a choice when it differs: automation repeats its value.
    for (const Point& p : points)
      if (p.id == kProgramPoint && std::lround(p.value * 7) != vst_.dispatch(effGetProgram))
        vst_.dispatch(effSetProgram, 0, std::lround(p.value * 7));
    splitAtChanges(
        changes_, points, frames,
        [&](std::int32_t from, std::int32_t to) {
          float* i[2] = {in[0] ? in[0] + from : nullptr, in[1] ? in[1] + from : nullptr};
          float* o[2] = {out[0] ? out[0] + from : nullptr, out[1] ? out[1] + from : nullptr};
          vst_.processReplacing(i, o, to - from);
        },
        [&](const Point& p) { vst_.setParameter(static_cast<std::int32_t>(p.id), static_cast<float>(p.value)); });
    if (frames == 0) vst_.processReplacing(const_cast<float**>(in), const_cast<float**>(out), 0);
    return true;
  }
  double value(std::uint32_t id) override {
    return id == kProgramPoint ? vst_.dispatch(effGetProgram) / 7.0 : vst_.getParameter(static_cast<std::int32_t>(id));
  }
  std::pair<int, int> editorSize(double scale) override {
    vst_.dispatch(effVendorSpecific, kContentScaleIndex, kContentScaleValue, nullptr, static_cast<float>(scale));
    ERect* r = nullptr;
    if (vst_.dispatch(effEditGetRect, 0, 0, &r) != 1 || !r) return {0, 0};
    return {r->right - r->left, r->bottom - r->top};
  }

 private:
  static const host::Module& module(const char* path) {
    static std::map<std::string, std::unique_ptr<host::Module>> loaded;
    auto& m = loaded[path];
    if (!m) m = std::make_unique<host::Module>(path);
    return *m;
  }
  host::Host host_;
  host::Plugin vst_;
  std::vector<Point> changes_ = std::vector<Point>(4096);
  double rate_ = 44100;
  std::int32_t maxBlock_ = 512;
};

}  // namespace

std::unique_ptr<Front> makeVst2Front(const char* module) { return std::make_unique<Vst2Front>(module); }

}  // namespace korro::test
