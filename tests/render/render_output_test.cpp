// What korro-render writes: the same samples the module gives a host that
// drives it directly, at the host rate of the file, mono or stereo, with the
// tail asked for.
#include <cmath>

#include "support/module_fixture.h"
#include "support/render_support.h"

namespace korro::test {
namespace {

// First arrival of a unit impulse through spring line 1 of a channel with
// Mix 1 and Output 0.5 (unity gain): 0.2968 x 0.78 x dampCoeff x (1 - 0.3 x toneCoeff),
// with dampCoeff 0.8 for Damp 0.25 and toneCoeff 0.78640 at 44.1 kHz, 0.80191 at 48 kHz.
constexpr double kArrival44k = 0.2968 * 0.78 * 0.8 * (1.0 - 0.3 * 0.78640);
constexpr int kLeftLine1 = 1279;   // samples at the engine rate
constexpr int kRightLine1 = 1288;
constexpr int kTypicalSpring = 2;  // Decay 0.5, Damp 0.25

float peak(const std::vector<float>& x, std::size_t from, std::size_t to) {
  float p = 0.0f;
  for (std::size_t i = from; i < to && i < x.size(); ++i) p = std::max(p, std::fabs(x[i]));
  return p;
}

using RenderOutput = RenderTest;

TEST_F(RenderOutput, EqualsTheModuleDrivenByAHostInBothProcessForms) {
  const Audio in = testSignal(44100, 1.2);
  writeAudio(path("in.wav"), in);
  // Program by name, every parameter set after it, blocks that do not divide the file.
  HostSettings s;
  s.program = 3;  // "Long spring"
  s.parameters = {{1, 0.8f}, {2, 0.3f}, {4, 0.7f}, {3, 0.6f}, {0, 1.0f}};
  s.block = 300;
  s.tailFrames = 11025;  // 0.25 s
  for (const bool adding : {false, true}) {
    SCOPED_TRACE(adding ? "adding" : "replacing");
    s.adding = adding;
    std::vector<std::string> args{path("in.wav"), path("out.wav"), "--program", "Long spring", "--decay", "0.8",
                                  "--damp",       "0.3",          "--mix",     "0.7",         "--output", "0.6",
                                  "--bypass",     "1",            "--block",   "300",         "--tail",   "0.25"};
    if (adding) args.push_back("--adding");
    const ToolRun run = runRender(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const Audio out = readAudio(path("out.wav"));
    EXPECT_EQ(out.rate, 44100);
    expectSameAudio(hostRender(in, s), out);
  }
}

TEST_F(RenderOutput, ProgramNumberAndDefaultsMatchTheHost) {
  // No parameters: the program's own values; a block of one frame and an odd prime.
  const Audio in = testSignal(44100, 0.3, true, 5);
  writeAudio(path("in.wav"), in);
  for (const int block : {1, 997}) {
    SCOPED_TRACE(block);
    const ToolRun run =
        runRender({path("in.wav"), path("out.wav"), "--program", "7", "--block", std::to_string(block)});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    HostSettings s;
    s.program = 7;
    s.block = block;
    expectSameAudio(hostRender(in, s), readAudio(path("out.wav")));
  }
}

TEST_F(RenderOutput, NinetySixKilohertzIsWhatAHostAtThatRateGets) {
  // The file's rate is the host rate: the half-rate engine, odd blocks included.
  const Audio noise = testSignal(96000, 0.8, true, 3);
  writeAudio(path("noise96.wav"), noise);
  const ToolRun run =
      runRender({path("noise96.wav"), path("noise96-out.wav"), "--block", "333", "--tail", "0.1", "--damp", "0.6"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  HostSettings s;
  s.block = 333;
  s.tailFrames = 9600;
  s.parameters = {{2, 0.6f}};
  expectSameAudio(hostRender(noise, s), readAudio(path("noise96-out.wav")));
}

TEST_F(RenderOutput, MonoFileFeedsBothChannelsThroughTheMonoInput) {
  const Audio mono = testSignal(44100, 0.6, false, 9);
  writeAudio(path("mono.wav"), mono);
  ASSERT_EQ(runRender({path("mono.wav"), path("mono-out.wav"), "--block", "256"}).exitCode, 0);
  const Audio out = readAudio(path("mono-out.wav"));
  ASSERT_EQ(out.right.size(), mono.frames()) << "the output is stereo";

  // What a host that leaves the second input unconnected gets.
  HostSettings s;
  s.block = 256;
  expectSameAudio(hostRender(mono, s), out);

  // And the same as the mono signal copied into both channels of a stereo file.
  Audio doubled = mono;
  doubled.right = mono.left;
  writeAudio(path("doubled.wav"), doubled);
  ASSERT_EQ(runRender({path("doubled.wav"), path("doubled-out.wav"), "--block", "256"}).exitCode, 0);
  expectSameAudio(readAudio(path("doubled-out.wav")), out);

  // A mono impulse reaches both tanks.
  Audio click;
  click.rate = 44100;
  click.left.assign(4410, 0.0f);
  click.left[0] = 1.0f;
  writeAudio(path("click.wav"), click);
  ASSERT_EQ(runRender({path("click.wav"), path("click-out.wav"), "--program", "2", "--mix", "1"}).exitCode, 0);
  const Audio ir = readAudio(path("click-out.wav"));
  EXPECT_NEAR(ir.left[kLeftLine1], kArrival44k, 2e-4);
  EXPECT_NEAR(ir.right[kRightLine1], kArrival44k, 2e-4);
}

TEST_F(RenderOutput, TailAppendsTheRequestedSecondsOfFrames) {
  struct Case {
    int rate;
    const char* seconds;
    std::size_t frames;
  };
  for (const Case c : {Case{44100, "0.5", 22050}, Case{48000, "0.01", 480}, Case{96000, "0", 0},
                       Case{44100, "0.333333", 14700}, Case{22050, "2", 44100}}) {
    SCOPED_TRACE(std::to_string(c.rate) + " Hz, " + c.seconds + " s");
    const Audio in = testSignal(c.rate, 0.25, true, 4);
    writeAudio(path("in.wav"), in);
    const ToolRun run = runRender({path("in.wav"), path("out.wav"), "--tail", c.seconds});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const Audio out = readAudio(path("out.wav"));
    EXPECT_EQ(out.frames(), in.frames() + c.frames);
  }
  // The tail is the reverb ringing on, not padding.
  const Audio in = testSignal(44100, 0.25, true, 4);
  writeAudio(path("in.wav"), in);
  ASSERT_EQ(runRender({path("in.wav"), path("out.wav"), "--tail", "0.5", "--program", "3"}).exitCode, 0);
  const Audio out = readAudio(path("out.wav"));
  EXPECT_GT(peak(out.left, in.frames() + 11025, out.frames()), 1e-4f);
}

TEST_F(RenderOutput, FlacInputRendersLikeTheSameSamplesInAFloatFile) {
  // 24-bit FLAC decodes to exact multiples of 2^-23, which a float file holds as they are.
  Audio in = testSignal(44100, 0.4, true, 8);
  writeAudio(path("in.flac"), in, SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
  const Audio decoded = readAudio(path("in.flac"));
  writeAudio(path("decoded.wav"), decoded);
  ASSERT_EQ(runRender({path("in.flac"), path("a.wav")}).exitCode, 0);
  ASSERT_EQ(runRender({path("decoded.wav"), path("b.wav")}).exitCode, 0);
  expectSameAudio(readAudio(path("b.wav")), readAudio(path("a.wav")));
}

}  // namespace
}  // namespace korro::test
