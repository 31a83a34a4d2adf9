// The CLAP and VST3 fronts hand the effect whatever a host's buses hold: each
// call the effect gets must point at the host's frames or at a stand-in, and
// never run past a stand-in's end.
#include <gtest/gtest.h>

#include <vector>

#include "shell/front_buffers.h"
#include "support/alloc_counter.h"

namespace korro {
namespace {

struct Call {
  float* in[2];
  float* out[2];
  std::int32_t frames;
};
std::vector<Call> calls;

void KORRO_CDECL recordCall(AEffect*, float** in, float** out, std::int32_t frames) {
  calls.push_back({{in[0], in[1]}, {out[0], out[1]}, frames});
  // What the effect would write: the stand-ins must take it without harm.
  for (std::int32_t i = 0; i < frames; ++i) out[0][i] = out[1][i] = 1.0f;
}

class FrontBuffersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    calls.clear();
    effect.processReplacing = &recordCall;
    ASSERT_TRUE(buffers.prepare(64));
  }
  AEffect effect{};
  FrontBuffers buffers;
  std::vector<float> l = std::vector<float>(1000), r = std::vector<float>(1000);
  std::vector<float> ol = std::vector<float>(1000), orr = std::vector<float>(1000);
  float* in[2] = {l.data(), r.data()};
  float* out[2] = {ol.data(), orr.data()};
};

TEST_F(FrontBuffersTest, TheHostsOwnBuffersGoThroughWholeAtTheirOffset) {
  buffers.bind(in, 2, out, 2);
  buffers.run(&effect, 100, 300);  // longer than prepared: the effect splits it itself
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].in[0], l.data() + 100);
  EXPECT_EQ(calls[0].in[1], r.data() + 100);
  EXPECT_EQ(calls[0].out[0], ol.data() + 100);
  EXPECT_EQ(calls[0].out[1], orr.data() + 100);
  EXPECT_EQ(calls[0].frames, 300);
  buffers.run(&effect, 7, 0);
  EXPECT_EQ(calls.size(), 1u) << "an empty piece calls nothing";
}

TEST_F(FrontBuffersTest, AMonoInputFeedsBothChannels) {
  float* missingRight[2] = {l.data(), nullptr};
  for (auto [channels, count] : {std::pair{in, 1}, std::pair{missingRight, 2}}) {
    calls.clear();
    buffers.bind(channels, count, out, 2);
    buffers.run(&effect, 5, 10);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].in[0], l.data() + 5);
    EXPECT_EQ(calls[0].in[1], l.data() + 5);
  }
}

TEST_F(FrontBuffersTest, MissingInputsAreSilenceAndMissingOutputsASpareInPiecesItHolds) {
  float* nulls[2] = {nullptr, nullptr};
  float* leftOnly[2] = {ol.data(), nullptr};
  const struct {
    float* const* in;
    std::int64_t inCount;
    float* const* out;
    std::int64_t outCount;
  } cases[] = {{nullptr, 2, out, 2}, {in, 0, out, 2}, {nulls, 2, out, 2},
               {in, 2, leftOnly, 2}, {in, 2, out, 1},  {in, 2, nullptr, 2}, {nulls, 2, nullptr, 0}};
  for (const auto& c : cases) {
    calls.clear();
    buffers.bind(c.in, c.inCount, c.out, c.outCount);
    buffers.run(&effect, 10, 64 * 2 + 5);
    ASSERT_EQ(calls.size(), 3u);
    const std::int32_t lengths[] = {64, 64, 5};
    for (int k = 0; k < 3; ++k) {
      SCOPED_TRACE(k);
      EXPECT_EQ(calls[k].frames, lengths[k]);
      const bool hostIn = c.in == in && c.inCount > 0;
      EXPECT_EQ(calls[k].in[0] == l.data() + 10 + 64 * k, hostIn);
      const bool hostLeft = c.out && c.outCount > 0;
      EXPECT_EQ(calls[k].out[0] == ol.data() + 10 + 64 * k, hostLeft);
      EXPECT_EQ(calls[k].out[1] == orr.data() + 10 + 64 * k, c.out == out && c.outCount > 1);
      EXPECT_NE(calls[k].out[0], calls[k].out[1]) << "two stand-ins, not one for both";
      if (!hostIn) {
        EXPECT_EQ(calls[k].in[0], calls[0].in[0]) << "a stand-in is never stepped past";
        for (int i = 0; i < 64; ++i) ASSERT_EQ(calls[k].in[0][i], 0.0f);
      }
    }
  }
}

TEST(FrontBuffers, AnEmptyOrUnpreparedRunCallsNothing) {
  calls.clear();
  AEffect effect{};
  effect.processReplacing = &recordCall;
  FrontBuffers unprepared;
  unprepared.bind(nullptr, 0, nullptr, 0);
  unprepared.run(&effect, 0, 100);
  EXPECT_TRUE(calls.empty());
  FrontBuffers one;
  ASSERT_TRUE(one.prepare(0));
  EXPECT_EQ(one.maxFrames(), 1);
}

TEST_F(FrontBuffersTest, PreparingTheSameSizeAgainAllocatesNothing) {
  test::AllocationWatch watch;
  ASSERT_TRUE(buffers.prepare(64));
  EXPECT_EQ(watch.count(), 0);
  ASSERT_TRUE(buffers.prepare(65));
  EXPECT_GT(watch.count(), 0);
  EXPECT_EQ(buffers.maxFrames(), 65);
}

}  // namespace
}  // namespace korro
