// Joins and compares the sound files of the Ardour test, whose bounces come
// out as one mono file per channel.
//   wav_tool join LEFT RIGHT STEREO
//       writes a 32-bit float stereo file of the two channels
//   wav_tool compare REFERENCE LEFT RIGHT [LIMIT_DB]
//       compares a stereo reference with a two-file result over the result's
//       length; exits 1 if the residual (peak difference over the reference's
//       peak) is above LIMIT_DB (default -100), if the reference is silent or
//       shorter, or if the rates or lengths do not fit
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Sound {
  int rate = 0;
  int channels = 0;
  std::vector<float> samples;  // interleaved
  std::size_t frames() const { return channels ? samples.size() / static_cast<std::size_t>(channels) : 0; }
};

bool load(const char* path, Sound& out) {
  SF_INFO info{};
  SNDFILE* f = sf_open(path, SFM_READ, &info);
  if (!f) {
    std::fprintf(stderr, "%s: %s\n", path, sf_strerror(nullptr));
    return false;
  }
  out.rate = info.samplerate;
  out.channels = info.channels;
  out.samples.resize(static_cast<std::size_t>(info.frames) * static_cast<std::size_t>(info.channels));
  const sf_count_t got = sf_readf_float(f, out.samples.data(), info.frames);
  sf_close(f);
  if (got != info.frames) {
    std::fprintf(stderr, "%s: short read\n", path);
    return false;
  }
  return true;
}

bool loadMono(const char* path, Sound& out) {
  if (!load(path, out)) return false;
  if (out.channels != 1) {
    std::fprintf(stderr, "%s: %d channels, expected one\n", path, out.channels);
    return false;
  }
  return true;
}

int join(const char* left, const char* right, const char* stereo) {
  Sound l, r;
  if (!loadMono(left, l) || !loadMono(right, r)) return 2;
  if (l.rate != r.rate || l.frames() != r.frames()) {
    std::fprintf(stderr, "the channels differ in rate or length\n");
    return 2;
  }
  std::vector<float> both(2 * l.frames());
  for (std::size_t i = 0; i < l.frames(); ++i) {
    both[2 * i] = l.samples[i];
    both[2 * i + 1] = r.samples[i];
  }
  SF_INFO info{};
  info.samplerate = l.rate;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* f = sf_open(stereo, SFM_WRITE, &info);
  if (!f) {
    std::fprintf(stderr, "%s: %s\n", stereo, sf_strerror(nullptr));
    return 2;
  }
  const auto frames = static_cast<sf_count_t>(l.frames());
  const bool ok = sf_writef_float(f, both.data(), frames) == frames;
  sf_close(f);
  if (!ok) return 2;
  float peak = 0.0f;
  for (float x : both) peak = std::max(peak, std::fabs(x));
  std::printf("joined %zu frames at %d Hz, peak %.6g\n", l.frames(), l.rate, static_cast<double>(peak));
  return 0;
}

int compare(const char* reference, const char* left, const char* right, double limitDb) {
  Sound ref, l, r;
  if (!load(reference, ref) || !loadMono(left, l) || !loadMono(right, r)) return 2;
  if (ref.channels != 2 || ref.rate != l.rate || l.rate != r.rate || l.frames() != r.frames()) {
    std::fprintf(stderr, "reference: %d channels at %d Hz; result: %zu and %zu frames at %d and %d Hz\n",
                 ref.channels, ref.rate, l.frames(), r.frames(), l.rate, r.rate);
    return 1;
  }
  const std::size_t n = l.frames();
  if (ref.frames() < n || n == 0) {
    std::fprintf(stderr, "reference has %zu frames, result %zu\n", ref.frames(), n);
    return 1;
  }
  double peak = 0.0, diff = 0.0;
  std::size_t differing = 0, first = n;
  for (std::size_t i = 0; i < n; ++i) {
    const float got[2] = {l.samples[i], r.samples[i]};
    for (int c = 0; c < 2; ++c) {
      const float want = ref.samples[2 * i + static_cast<std::size_t>(c)];
      peak = std::max(peak, std::fabs(static_cast<double>(want)));
      const double d = std::fabs(static_cast<double>(got[c]) - static_cast<double>(want));
      diff = std::max(diff, d);
      if (std::memcmp(&got[c], &want, sizeof want) != 0 && differing++ == 0) first = i;
    }
  }
  if (peak == 0.0) {
    std::fprintf(stderr, "the reference is silent\n");
    return 1;
  }
  const double residual = diff > 0.0 ? 20.0 * std::log10(diff / peak) : -HUGE_VAL;
  std::printf("%zu frames, reference peak %.6g, %zu samples differ", n, peak, differing);
  if (differing) std::printf(" from frame %zu", first);
  std::printf(", residual %s dB\n", diff > 0.0 ? std::to_string(residual).c_str() : "-inf (bit-identical)");
  return residual <= limitDb ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "join") == 0) return join(argv[2], argv[3], argv[4]);
  if ((argc == 5 || argc == 6) && std::strcmp(argv[1], "compare") == 0)
    return compare(argv[2], argv[3], argv[4], argc == 6 ? std::atof(argv[5]) : -100.0);
  std::fprintf(stderr, "usage: wav_tool join LEFT RIGHT STEREO | compare REFERENCE LEFT RIGHT [LIMIT_DB]\n");
  return 2;
}
