// korro-demo: the signals of the demo and the numbers behind its plot.
//   korro-demo phrase OUT.wav             a dry ~4 s phrase: plucked-string line and a snare hit
//   korro-demo impulse OUT.wav SECONDS    a stereo unit impulse followed by silence
//   korro-demo decay OUT.dat SECONDS NAME IR.wav [NAME IR.wav ...]
//                                         energy-decay curves (Schroeder integral, dB) of
//                                         impulse responses, one column per response
// Everything is deterministic: the same files come out on every machine.
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr double kPi = 3.14159265358979323846;

struct Stereo {
  std::vector<float> left, right;
  explicit Stereo(std::size_t frames) : left(frames), right(frames) {}
};

// A small generator of our own, so the phrase does not depend on the
// standard library's distributions (those differ between implementations).
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : state_(seed) {}
  double next() {  // uniform in [-1, 1)
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return static_cast<double>(state_) / 2147483648.0 - 1.0;
  }

 private:
  std::uint32_t state_;
};

void writeWav(const std::string& path, const Stereo& s, int subtype) {
  SF_INFO info{};
  info.samplerate = kRate;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | subtype;
  SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
  if (!f) throw std::runtime_error("cannot write '" + path + "': " + sf_strerror(nullptr));
  std::vector<float> frames(s.left.size() * 2);
  for (std::size_t i = 0; i < s.left.size(); ++i) {
    frames[2 * i] = s.left[i];
    frames[2 * i + 1] = s.right[i];
  }
  const sf_count_t n = static_cast<sf_count_t>(s.left.size());
  const bool ok = sf_writef_float(f, frames.data(), n) == n;
  sf_close(f);
  if (!ok) throw std::runtime_error("writing '" + path + "' failed");
}

// ---------------------------------------------------------------- phrase

// Karplus-Strong: a noise burst circulating in a delay line whose loop
// averages neighbouring samples, so the highs die first as on a real string.
void pluck(Stereo& out, double start, double frequency, double level, double pan, Noise& noise) {
  const double period = kRate / frequency - 0.5;  // the two-point average delays by half a sample
  const int length = static_cast<int>(period);
  // A first-order all-pass makes up the fractional part of the period, keeping the string in tune.
  const double frac = period - length;
  const double tuning = (1.0 - frac) / (1.0 + frac);
  std::vector<double> line(length);
  double smooth = 0.0;
  for (double& v : line) {  // a softened burst: a plectrum, not a click
    smooth += (noise.next() - smooth) * 0.5;
    v = smooth;
  }
  const double loss = 0.996;
  const double gainL = level * std::cos(pan * kPi / 2), gainR = level * std::sin(pan * kPi / 2);
  const std::size_t first = static_cast<std::size_t>(start * kRate);
  double apIn = 0.0, apOut = 0.0;
  int pos = 0;
  for (std::size_t i = first; i < out.left.size(); ++i) {
    const double y = line[pos];
    const double averaged = loss * 0.5 * (y + line[(pos + 1) % length]);
    apOut = tuning * (averaged - apOut) + apIn;
    apIn = averaged;
    line[pos] = apOut;
    pos = (pos + 1) % length;
    out.left[i] += static_cast<float>(y * gainL);
    out.right[i] += static_cast<float>(y * gainR);
  }
}

// A snare: two damped drum-head modes falling slightly in pitch, and a
// burst of bright noise for the wires.
void snare(Stereo& out, double start, double level, double pan, Noise& noise) {
  const double gainL = level * std::cos(pan * kPi / 2), gainR = level * std::sin(pan * kPi / 2);
  const std::size_t first = static_cast<std::size_t>(start * kRate);
  const std::size_t frames = static_cast<std::size_t>(0.6 * kRate);
  double phase1 = 0.0, phase2 = 0.0, previous = 0.0, bright = 0.0;
  for (std::size_t k = 0; k < frames && first + k < out.left.size(); ++k) {
    const double t = static_cast<double>(k) / kRate;
    const double attack = std::min(1.0, t / 0.0008);
    phase1 += 2 * kPi * (185.0 + 40.0 * std::exp(-t / 0.02)) / kRate;
    phase2 += 2 * kPi * (330.0 + 60.0 * std::exp(-t / 0.02)) / kRate;
    const double body = (0.8 * std::sin(phase1) + 0.45 * std::sin(phase2)) * std::exp(-t / 0.06);
    const double n = noise.next();
    bright = 0.6 * bright + 0.6 * (n - previous);  // a gentle high-pass for the wires
    previous = n;
    const double wires = bright * std::exp(-t / 0.13);
    const double y = attack * (body + 0.9 * wires);
    out.left[first + k] += static_cast<float>(y * gainL);
    out.right[first + k] += static_cast<float>(y * gainR);
  }
}

Stereo phrase() {
  Stereo s(static_cast<std::size_t>(4.0 * kRate));
  Noise noise(0x4B725477u);
  // A minor arpeggio up and a short line back down, left of centre.
  const struct {
    double time, frequency;
  } notes[] = {{0.00, 110.00}, {0.20, 164.81}, {0.40, 220.00}, {0.60, 261.63}, {0.80, 329.63},
               {1.00, 440.00}, {1.30, 392.00}, {1.60, 329.63}, {1.90, 293.66}, {2.20, 329.63}};
  for (const auto& note : notes) pluck(s, note.time, note.frequency, 0.8, 0.35, noise);
  // One snare hit right of centre, then silence for the tail to show.
  snare(s, 2.9, 0.6, 0.65, noise);

  // Peak at -6 dBFS, leaving room for the reverb to add.
  float peak = 0.0f;
  for (std::size_t i = 0; i < s.left.size(); ++i) peak = std::max({peak, std::fabs(s.left[i]), std::fabs(s.right[i])});
  const float scale = 0.5f / peak;
  for (std::size_t i = 0; i < s.left.size(); ++i) {
    s.left[i] *= scale;
    s.right[i] *= scale;
  }
  return s;
}

// ----------------------------------------------------------------- decay

struct Response {
  std::string name;
  std::vector<double> decayDb;  // Schroeder curve, one value per frame
  int rate = 0;
};

Response energyDecay(const std::string& name, const std::string& path) {
  SF_INFO info{};
  SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
  if (!f) throw std::runtime_error("cannot read '" + path + "': " + sf_strerror(nullptr));
  std::vector<float> frames(static_cast<std::size_t>(info.frames) * info.channels);
  const sf_count_t got = sf_readf_float(f, frames.data(), info.frames);
  sf_close(f);
  if (got != info.frames) throw std::runtime_error("reading '" + path + "' failed");

  // Energy of both channels, integrated backwards from the end of the response.
  std::vector<double> remaining(static_cast<std::size_t>(info.frames) + 1, 0.0);
  for (sf_count_t i = info.frames - 1; i >= 0; --i) {
    double e = 0.0;
    for (int c = 0; c < info.channels; ++c) {
      const double x = frames[static_cast<std::size_t>(i) * info.channels + c];
      e += x * x;
    }
    remaining[i] = remaining[i + 1] + e;
  }
  if (!(remaining[0] > 0.0)) throw std::runtime_error("'" + path + "' is silent");

  Response r{name, {}, info.samplerate};
  r.decayDb.resize(static_cast<std::size_t>(info.frames));
  for (std::size_t i = 0; i < r.decayDb.size(); ++i)
    r.decayDb[i] = remaining[i] > 0.0 ? 10.0 * std::log10(remaining[i] / remaining[0]) : -300.0;
  return r;
}

// The first time the curve reaches `db`, in seconds; negative if it never does.
double timeTo(const Response& r, double db) {
  for (std::size_t i = 0; i < r.decayDb.size(); ++i)
    if (r.decayDb[i] <= db) return static_cast<double>(i) / r.rate;
  return -1.0;
}

// Reverberation time from the -5 to -35 dB span of the curve, doubled to 60 dB; negative if unknown.
double rt60(const Response& r) {
  const double t5 = timeTo(r, -5.0), t35 = timeTo(r, -35.0);
  return t5 >= 0.0 && t35 >= 0.0 ? 2.0 * (t35 - t5) : -1.0;
}

int decay(const std::string& dataPath, double seconds, const std::vector<std::string>& pairs) {
  std::vector<Response> responses;
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) responses.push_back(energyDecay(pairs[i], pairs[i + 1]));
  if (responses.empty()) throw std::runtime_error("no impulse responses given");

  std::FILE* out = std::fopen(dataPath.c_str(), "w");
  if (!out) throw std::runtime_error("cannot write '" + dataPath + "'");
  // Column titles carry the decay time, so the plot's key says it too.
  std::fprintf(out, "\"time\"");
  for (const Response& r : responses) {
    const double t = rt60(r);
    if (t > 0.0)
      std::fprintf(out, " \"%s  (%.1f s)\"", r.name.c_str(), t);
    else
      std::fprintf(out, " \"%s\"", r.name.c_str());
  }
  std::fprintf(out, "\n");
  const int rate = responses.front().rate;
  const int step = std::max(1, rate / 2000);  // 0.5 ms between points: smooth at any plot size
  const std::size_t last = static_cast<std::size_t>(seconds * rate);
  for (std::size_t i = 0; i <= last; i += step) {
    std::fprintf(out, "%.5f", static_cast<double>(i) / rate);
    for (const Response& r : responses)
      std::fprintf(out, " %.3f", i < r.decayDb.size() ? std::max(r.decayDb[i], -200.0) : -200.0);
    std::fprintf(out, "\n");
  }
  std::fclose(out);

  // Times read off the same curves, for the log.
  std::printf("  %-26s %10s %10s %10s\n", "program", "-10 dB", "-30 dB", "RT60(T30)");
  for (const Response& r : responses) {
    char rt[32] = "-";
    if (rt60(r) > 0.0) std::snprintf(rt, sizeof rt, "%.2f s", rt60(r));
    std::printf("  %-26s %8.3f s %8.3f s %10s\n", r.name.c_str(), timeTo(r, -10.0), timeTo(r, -30.0), rt);
  }
  return 0;
}

int usage() {
  std::fprintf(stderr,
               "usage: korro-demo phrase OUT.wav\n"
               "       korro-demo impulse OUT.wav SECONDS\n"
               "       korro-demo decay OUT.dat SECONDS NAME IR.wav [NAME IR.wav ...]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (args.size() == 2 && args[0] == "phrase") {
      writeWav(args[1], phrase(), SF_FORMAT_PCM_24);
      return 0;
    }
    if (args.size() == 3 && args[0] == "impulse") {
      const double seconds = std::stod(args[2]);
      Stereo s(static_cast<std::size_t>(std::max(1.0, seconds * kRate)));
      s.left[0] = s.right[0] = 1.0f;
      writeWav(args[1], s, SF_FORMAT_FLOAT);
      return 0;
    }
    if (args.size() >= 5 && args.size() % 2 == 1 && args[0] == "decay")
      return decay(args[1], std::stod(args[2]), std::vector<std::string>(args.begin() + 3, args.end()));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "korro-demo: %s\n", e.what());
    return 1;
  }
  return usage();
}
