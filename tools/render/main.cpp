// korro-render: renders audio files through the Korro Tarrow module, loaded
// and driven exactly as a VST 2 host does.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "options.h"
#include "session.h"
#include "sound_file.h"

using namespace korro::render;

namespace {

// Shorter renders finish before a bar would be worth reading.
constexpr double kProgressMinSeconds = 5.0;
constexpr int kBarWidth = 40;

class ProgressBar {
 public:
  ProgressBar(std::int64_t total, int rate)
      : total_(total), rate_(rate), enabled_(isatty(STDERR_FILENO) && total > kProgressMinSeconds * rate) {}

  void update(std::int64_t done) {
    if (!enabled_) return;
    const int percent = static_cast<int>(100 * done / total_);
    if (percent == shown_) return;
    shown_ = percent;
    const int filled = kBarWidth * percent / 100;
    std::fprintf(stderr, "\rkorro-render [%s%s] %3d%%  %.1f of %.1f s", std::string(filled, '#').c_str(),
                 std::string(kBarWidth - filled, '.').c_str(), percent, static_cast<double>(done) / rate_,
                 static_cast<double>(total_) / rate_);
    if (percent == 100) std::fprintf(stderr, "\n");
    std::fflush(stderr);
  }

  // Leaves the terminal on a fresh line if the render stopped early.
  ~ProgressBar() {
    if (enabled_ && shown_ >= 0 && shown_ < 100) std::fprintf(stderr, "\n");
  }

 private:
  std::int64_t total_;
  int rate_;
  bool enabled_;
  int shown_ = -1;
};

std::string modulePathFor(const Options& o) {
  if (!o.module.empty()) return o.module;
  std::string path = defaultModulePath();
  if (path.empty()) throw RenderError("no KORRO_MERIDAN.so beside korro-render or above it; name one with --module PATH");
  return path;
}

int run(const Options& o) {
  if (o.help) {
    std::fputs(usageText(), stdout);
    return 0;
  }
  if (o.version) {
    std::puts(versionText().c_str());
    return 0;
  }
  if (o.list) {
    Session session(modulePathFor(o), false);
    session.start(44100, o.block, o.program, o.parameters);
    session.printList(stdout);
    return 0;
  }

  const int format = outputFormatFor(o.output, o.format);
  InputFile in(o.input);
  const int rate = in.sampleRate();
  Session session(modulePathFor(o), in.channels() == 1);
  if (!o.adding && !(session.plugin().effect()->flags & effFlagsCanReplacing))
    throw RenderError("module '" + session.modulePath() + "' has no replacing process call; use --adding");
  session.start(rate, o.block, o.program, o.parameters);

  RenderJob job;
  job.block = o.block;
  job.adding = o.adding;
  job.tailFrames = std::llround(o.tailSeconds * rate);
  PendingOutput out(o.output, format, rate);
  ProgressBar bar(in.frames() + job.tailFrames, rate);
  render(session, in, out, job, [&bar](std::int64_t done) { bar.update(done); });
  out.commit();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(parseOptions(std::vector<std::string>(argv + 1, argv + argc)));
  } catch (const UsageError& e) {
    std::fprintf(stderr, "korro-render: %s\n", e.what());
    return 2;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "korro-render: %s\n", e.what());
    return 1;
  }
}
