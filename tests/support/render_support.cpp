#include "render_support.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "support/module_fixture.h"

extern char** environ;

namespace korro::test {

namespace {

std::string slurp(std::FILE* f) {
  std::string s;
  std::rewind(f);
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
  return s;
}

}  // namespace

ToolRun runRender(const std::vector<std::string>& args) {
  std::vector<std::string> argv{KORRO_RENDER_PATH};
  argv.insert(argv.end(), args.begin(), args.end());
  return runTool(std::move(argv));
}

ToolRun runTool(std::vector<std::string> argv) {
  std::vector<char*> cargv;
  for (std::string& a : argv) cargv.push_back(a.data());
  cargv.push_back(nullptr);

  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, fileno(out), 1);
  posix_spawn_file_actions_adddup2(&actions, fileno(err), 2);
  pid_t pid = -1;
  ToolRun run;
  if (posix_spawn(&pid, cargv[0], &actions, nullptr, cargv.data(), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  } else {
    ADD_FAILURE() << "cannot start " << cargv[0];
  }
  posix_spawn_file_actions_destroy(&actions);
  run.out = slurp(out);
  run.err = slurp(err);
  std::fclose(out);
  std::fclose(err);
  return run;
}

void writeAudio(const std::string& path, const Audio& audio, int format) {
  const int channels = audio.right.empty() ? 1 : 2;
  SF_INFO info{};
  info.samplerate = audio.rate;
  info.channels = channels;
  info.format = format;
  SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_NE(f, nullptr) << path << ": " << sf_strerror(nullptr);
  std::vector<float> frames(audio.frames() * channels);
  for (std::size_t i = 0; i < audio.frames(); ++i) {
    frames[i * channels] = audio.left[i];
    if (channels == 2) frames[i * 2 + 1] = audio.right[i];
  }
  EXPECT_EQ(sf_writef_float(f, frames.data(), static_cast<sf_count_t>(audio.frames())),
            static_cast<sf_count_t>(audio.frames()));
  sf_close(f);
}

Audio readAudio(const std::string& path) {
  Audio a;
  SF_INFO info{};
  SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
  if (!f) {
    ADD_FAILURE() << "cannot read " << path << ": " << sf_strerror(nullptr);
    return a;
  }
  std::vector<float> frames(static_cast<std::size_t>(info.frames) * info.channels);
  EXPECT_EQ(sf_readf_float(f, frames.data(), info.frames), info.frames);
  sf_close(f);
  a.rate = info.samplerate;
  a.format = info.format;
  a.left.resize(info.frames);
  if (info.channels > 1) a.right.resize(info.frames);
  for (sf_count_t i = 0; i < info.frames; ++i) {
    a.left[i] = frames[i * info.channels];
    if (info.channels > 1) a.right[i] = frames[i * info.channels + 1];
  }
  return a;
}

Audio testSignal(int rate, double seconds, bool stereo, unsigned seed) {
  Audio a;
  a.rate = rate;
  const std::size_t n = static_cast<std::size_t>(seconds * rate);
  a.left.assign(n, 0.0f);
  if (stereo) a.right.assign(n, 0.0f);
  std::mt19937 rng(seed);
  for (std::size_t i = 0; i < n; ++i) {
    const bool burst = (i / 2000) % 4 == 0;
    // Raw generator output, scaled: the same numbers on every standard library.
    const float u = static_cast<float>(rng()) / 4294967296.0f - 0.5f;
    const float v = static_cast<float>(rng()) / 4294967296.0f - 0.5f;
    a.left[i] = burst ? 0.8f * u : (i % 5003 == 17 ? 0.9f : 0.0f);
    if (stereo) a.right[i] = burst ? 0.4f * v : (i % 3001 == 5 ? -0.7f : 0.0f);
  }
  return a;
}

Audio hostRender(const Audio& in, const HostSettings& s) {
  const bool mono = in.right.empty();
  host::Host host;
  host.inputConnected = !mono;
  host::Plugin plugin(builtModule(), host);
  Audio out;
  if (!plugin) {
    ADD_FAILURE() << "the module refused to start";
    return out;
  }
  plugin.start(static_cast<float>(in.rate), s.block);
  plugin.dispatch(effSetProgram, 0, s.program);
  for (const auto& [index, value] : s.parameters) plugin.setParameter(index, value);

  const std::size_t total = in.frames() + static_cast<std::size_t>(s.tailFrames);
  std::vector<float> inL(total, 0.0f), inR(total, 0.0f);
  std::copy(in.left.begin(), in.left.end(), inL.begin());
  if (!mono) std::copy(in.right.begin(), in.right.end(), inR.begin());
  out.rate = in.rate;
  out.left.assign(total, 0.0f);
  out.right.assign(total, 0.0f);
  for (std::size_t pos = 0; pos < total;) {
    const int n = static_cast<int>(std::min<std::size_t>(s.block, total - pos));
    float* i[2] = {inL.data() + pos, inR.data() + pos};
    float* o[2] = {out.left.data() + pos, out.right.data() + pos};
    if (s.adding)
      plugin.process(i, o, n);
    else
      plugin.processReplacing(i, o, n);
    pos += n;
  }
  plugin.dispatch(effMainsChanged, 0, 0);
  return out;
}

void expectSameAudio(const Audio& expected, const Audio& actual) {
  ASSERT_EQ(actual.frames(), expected.frames());
  ASSERT_EQ(actual.right.size(), expected.right.size());
  for (std::size_t i = 0; i < expected.frames(); ++i) {
    ASSERT_EQ(actual.left[i], expected.left[i]) << "left, frame " << i;
    if (!expected.right.empty()) {
      ASSERT_EQ(actual.right[i], expected.right[i]) << "right, frame " << i;
    }
  }
}

void RenderTest::SetUp() {
  char pattern[] = "/tmp/korro-render-test.XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  dir_ = pattern;
}

void RenderTest::TearDown() {
  if (!dir_.empty()) std::filesystem::remove_all(dir_);
}

std::vector<std::string> RenderTest::listing() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir_)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace korro::test
