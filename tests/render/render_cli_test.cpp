// korro-render as a user meets it: the listing, the errors and what they leave
// behind, output formats, progress on a terminal and silence elsewhere.
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/module_fixture.h"
#include "support/render_support.h"

extern char** environ;

namespace korro::test {
namespace {

using RenderCli = RenderTest;

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

// The line of a listing that contains `needle`, or "".
std::string lineWith(const std::string& text, const std::string& needle) {
  for (const std::string& l : lines(text))
    if (l.find(needle) != std::string::npos) return l;
  return {};
}

void writeText(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

TEST_F(RenderCli, ListShowsTheProgramsAndParameterTextsAHostSees) {
  const ToolRun run = runRender({"--list"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find(std::string("module ") + KORRO_MODULE_PATH), std::string::npos)
      << "found beside the tool:\n"
      << run.out;

  // Every program on its own row, in order, and every parameter's texts with
  // their blanks: what the module answers a host.
  host::Host host;
  host::Plugin fx(builtModule(), host);
  std::size_t from = run.out.find("\nprograms\n");
  ASSERT_NE(from, std::string::npos) << run.out;
  for (int p = 0; p < 8; ++p) {
    const std::string row = " " + std::to_string(p) + "  \"" + fx.text(effGetProgramNameIndexed, p) + "\" ";
    const std::size_t at = run.out.find(row, from);
    ASSERT_NE(at, std::string::npos) << "program " << p << " missing or out of order\n" << run.out;
    from = at;
  }
  for (int index = 0; index < 5; ++index) {
    const std::string line = lineWith(run.out, "\"" + fx.text(effGetParamName, index) + "\"");
    for (int opcode : {effGetParamDisplay, effGetParamLabel})
      EXPECT_NE(line.find("\"" + fx.text(opcode, index) + "\""), std::string::npos) << line;
  }
}

TEST_F(RenderCli, ListFollowsTheChosenProgramAndParameters) {
  const ToolRun run = runRender({"--list", "--program", "lo-fi drums", "--output", "0.25", "--mix", "0"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find("parameters of program 7 \"Lo-Fi Drums\""), std::string::npos) << run.out;
  EXPECT_NE(lineWith(run.out, "\" Damp \"").find("\"100.0000\""), std::string::npos) << run.out;
  EXPECT_NE(lineWith(run.out, "\" Output \"").find("\"-12.0411\""), std::string::npos) << run.out;
  EXPECT_NE(lineWith(run.out, "\" Mix \"").find("\"0.000000\""), std::string::npos) << run.out;
}

TEST_F(RenderCli, EveryUserErrorIsOneLineAndLeavesNoFile) {
  writeAudio(path("in.wav"), testSignal(44100, 0.2));
  writeText(path("notes.txt"), "not audio\n");
  writeText(path("fake.so"), "not a module\n");
  {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 3;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* f = sf_open(path("three.wav").c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr);
    std::vector<float> frames(300, 0.1f);
    sf_writef_float(f, frames.data(), 100);
    sf_close(f);
  }
  const std::vector<std::string> before = listing();
  const std::string in = path("in.wav"), out = path("out.wav");

  struct Case {
    std::vector<std::string> args;
    std::string message;
  };
  const std::vector<Case> cases = {
      {{path("missing.wav"), out}, "No such file"},
      {{path("notes.txt"), out}, "cannot read input"},
      {{dir_, out}, "is a directory"},
      {{path("three.wav"), out}, "3 channels"},
      {{in, path("out.mp3")}, "unsupported extension '.mp3'"},
      {{in, path("out")}, "unsupported extension"},
      {{in, path("out.flac"), "--format", "float"}, "FLAC cannot hold float"},
      {{in, path("out.ogg"), "--format", "pcm24"}, "Ogg Vorbis"},
      {{in, out, "--format", "pcm8"}, "--format must be"},
      {{in, path("no/such/dir/out.wav")}, "cannot create output"},
      {{in, out, "--module", path("none.so")}, "cannot load module"},
      {{in, out, "--module", path("fake.so")}, "cannot load module"},
      {{in, out, "--module", KORRO_ENTRYLESS_MODULE}, "no VST entry point"},
      {{in, out, "--module", KORRO_REFUSING_MODULE}, "refused to start"},
      {{in, out, "--program", "Cathedral"}, "unknown program 'Cathedral'"},
      {{in, out, "--program", "8"}, "program 8 does not exist"},
      {{in, out, "--decay", "1.5"}, "--decay must be from 0 to 1"},
      {{in, out, "--mix", "-0.1"}, "--mix must be from 0 to 1"},
      {{in, out, "--output", "loud"}, "--output needs a number"},
      {{in, out, "--damp", "nan"}, "--damp needs a number"},
      {{in, out, "--damp", "0.5x"}, "--damp needs a number"},
      {{in, out, "--bypass", "0.5"}, "--bypass must be 0 or 1"},
      {{in, out, "--block", "0"}, "--block must be"},
      {{in, out, "--block", "2.5"}, "--block must be"},
      {{in, out, "--block", "100000"}, "--block must be"},
      {{in, out, "--tail", "-1"}, "--tail must be"},
      {{in, out, "--tail"}, "--tail needs a value"},
      {{in, out, "--reverb", "1"}, "unknown option '--reverb'"},
      {{in}, "needs an input and an output"},
  };
  for (const Case& c : cases) {
    std::string cmd;
    for (const std::string& a : c.args) cmd += " " + a;
    SCOPED_TRACE("korro-render" + cmd);
    const ToolRun run = runRender(c.args);
    EXPECT_NE(run.exitCode, 0);
    EXPECT_EQ(run.err.rfind("korro-render: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_EQ(lines(run.err).size(), 1u) << run.err;
    EXPECT_EQ(listing(), before) << "a file was left behind";
  }
}

TEST_F(RenderCli, AFailedRenderKeepsTheFileItWouldHaveReplaced) {
  writeAudio(path("in.wav"), testSignal(44100, 0.2));
  writeText(path("out.wav"), "an earlier render\n");
  EXPECT_NE(runRender({path("in.wav"), path("out.wav"), "--program", "Cathedral"}).exitCode, 0);
  std::ifstream kept(path("out.wav"));
  std::string text;
  std::getline(kept, text);
  EXPECT_EQ(text, "an earlier render");
  EXPECT_EQ(listing(), (std::vector<std::string>{"in.wav", "out.wav"}));
}

TEST_F(RenderCli, AnInterruptedRenderLeavesNoFile) {
  writeAudio(path("in.wav"), testSignal(44100, 0.1));
  // An hour of tail: the render is still running when it is stopped.
  std::string tool = KORRO_RENDER_PATH, in = path("in.wav"), out = path("out.wav"), opt = "--tail", secs = "3600";
  char* argv[] = {tool.data(), in.data(), out.data(), opt.data(), secs.data(), nullptr};
  pid_t pid = -1;
  ASSERT_EQ(posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ), 0);

  bool writing = false;
  for (int tries = 0; tries < 20000 && !writing; ++tries) {
    for (const std::string& name : listing()) writing = writing || name.rfind(".out.wav.", 0) == 0;
    if (!writing) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(writing) << "no temporary output appeared";
  kill(pid, SIGTERM);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_EQ(listing(), std::vector<std::string>{"in.wav"});
}

TEST_F(RenderCli, OutputFormatFollowsTheExtension) {
  const Audio in = testSignal(48000, 0.2);
  writeAudio(path("in.wav"), in);
  struct Case {
    const char* name;
    std::vector<std::string> extra;
    int format;
  };
  const std::vector<Case> cases = {
      {"a.wav", {}, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
      {"a.WAV", {"--format", "pcm24"}, SF_FORMAT_WAV | SF_FORMAT_PCM_24},
      {"a.aiff", {}, SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
      {"a.aif", {"--format", "pcm16"}, SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
      {"a.caf", {}, SF_FORMAT_CAF | SF_FORMAT_FLOAT},
      {"a.flac", {}, SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
      {"a.ogg", {}, SF_FORMAT_OGG | SF_FORMAT_VORBIS},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::string> args{path("in.wav"), path(c.name)};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    const ToolRun run = runRender(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const Audio out = readAudio(path(c.name));
    EXPECT_EQ(out.format, c.format);
    EXPECT_EQ(out.rate, 48000);
    EXPECT_EQ(out.right.size(), in.frames());
  }
  // 24-bit output is the float render rounded to 24 bits.
  const Audio exact = readAudio(path("a.wav"));
  const Audio pcm = readAudio(path("a.WAV"));
  for (std::size_t i = 0; i < exact.frames(); ++i) ASSERT_NEAR(pcm.left[i], exact.left[i], 1.0 / (1 << 23)) << i;
}

TEST_F(RenderCli, IntegerOutputClipsInsteadOfWrapping) {
  // Output 1 is a gain of 4: a full-scale input goes far over full scale.
  Audio loud;
  loud.rate = 44100;
  loud.left.assign(4410, 0.9f);
  loud.right.assign(4410, -0.9f);
  writeAudio(path("loud.wav"), loud);
  ASSERT_EQ(runRender({path("loud.wav"), path("loud.flac"), "--output", "1", "--mix", "0"}).exitCode, 0);
  const Audio out = readAudio(path("loud.flac"));
  for (std::size_t i = 0; i < out.frames(); ++i) {
    ASSERT_GT(out.left[i], 0.99f) << i;
    ASSERT_LT(out.right[i], -0.99f) << i;
  }
}

TEST_F(RenderCli, SilentWhenStderrIsNotATerminal) {
  writeAudio(path("in.wav"), testSignal(44100, 6.0));
  const ToolRun run = runRender({path("in.wav"), path("out.wav")});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
}

// Runs the tool with a terminal as its stdout and stderr; answers what it printed.
std::string runOnTerminal(std::vector<std::string> args) {
  std::vector<char*> argv{const_cast<char*>(KORRO_RENDER_PATH)};
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  int terminal = -1;
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (pid == 0) {
    execv(argv[0], argv.data());
    _exit(127);
  }
  std::string seen;
  char buf[1024];
  for (ssize_t n; (n = read(terminal, buf, sizeof buf)) > 0;) seen.append(buf, static_cast<std::size_t>(n));
  int status = 0;
  waitpid(pid, &status, 0);
  close(terminal);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << seen;
  return seen;
}

TEST_F(RenderCli, ProgressBarOnATerminalForLongFilesOnly) {
  writeAudio(path("long.wav"), testSignal(44100, 6.0));
  writeAudio(path("short.wav"), testSignal(44100, 1.0));
  const std::string longRun = runOnTerminal({path("long.wav"), path("long-out.wav")});
  EXPECT_NE(longRun.find("100%"), std::string::npos) << longRun;
  EXPECT_NE(longRun.find("6.0 of 6.0 s"), std::string::npos) << longRun;
  EXPECT_EQ(runOnTerminal({path("short.wav"), path("short-out.wav")}), "");
}

}  // namespace
}  // namespace korro::test
