#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "korro/version.h"

namespace korro::render {

namespace {

// The longest tail accepted: an hour is already far beyond any setting of the effect.
constexpr double kMaxTailSeconds = 3600.0;
constexpr int kMaxBlock = 65536;

double parseNumber(const std::string& option, const std::string& text) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(begin, &end);
  if (text.empty() || end == begin || *end != '\0' || errno == ERANGE || !std::isfinite(v))
    throw UsageError("--" + option + " needs a number, got '" + text + "'");
  return v;
}

float parseUnit(const std::string& option, const std::string& text) {
  const double v = parseNumber(option, text);
  if (v < 0.0 || v > 1.0) throw UsageError("--" + option + " must be from 0 to 1, got '" + text + "'");
  return static_cast<float>(v);
}

int parseBlock(const std::string& text) {
  const double v = parseNumber("block", text);
  if (v != std::floor(v) || v < 1.0 || v > kMaxBlock)
    throw UsageError("--block must be a whole number of frames from 1 to " + std::to_string(kMaxBlock) + ", got '" +
                     text + "'");
  return static_cast<int>(v);
}

SampleFormat parseFormat(const std::string& text) {
  if (text == "float") return SampleFormat::Float;
  if (text == "pcm24") return SampleFormat::Pcm24;
  if (text == "pcm16") return SampleFormat::Pcm16;
  throw UsageError("--format must be float, pcm24 or pcm16, got '" + text + "'");
}

}  // namespace

Options parseOptions(const std::vector<std::string>& args) {
  Options o;
  std::vector<std::string> files;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string arg = args[i];
    if (arg == "-h" || arg == "--help") {
      o.help = true;
      continue;
    }
    if (arg == "--version") {
      o.version = true;
      continue;
    }
    if (arg == "--list") {
      o.list = true;
      continue;
    }
    if (arg == "--adding") {
      o.adding = true;
      continue;
    }
    if (arg == "--") {  // everything after it names a file, even with a leading dash
      files.insert(files.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
      break;
    }
    if (arg.compare(0, 2, "--") != 0) {
      if (arg.size() > 1 && arg[0] == '-') throw UsageError("unknown option '" + arg + "'");
      files.push_back(arg);
      continue;
    }

    // --name value or --name=value
    std::string name = arg.substr(2);
    std::string value;
    if (const auto eq = name.find('='); eq != std::string::npos) {
      value = name.substr(eq + 1);
      name.resize(eq);
    } else {
      if (i + 1 >= args.size()) throw UsageError("--" + name + " needs a value");
      value = args[++i];
    }

    bool known = true;
    if (name == "program") {
      if (value.empty()) throw UsageError("--program needs a number or a name");
      o.program = value;
    } else if (name == "module") {
      if (value.empty()) throw UsageError("--module needs a path");
      o.module = value;
    } else if (name == "block") {
      o.block = parseBlock(value);
    } else if (name == "tail") {
      o.tailSeconds = parseNumber(name, value);
      if (o.tailSeconds < 0.0 || o.tailSeconds > kMaxTailSeconds)
        throw UsageError("--tail must be from 0 to 3600 seconds, got '" + value + "'");
    } else if (name == "format") {
      o.format = parseFormat(value);
    } else {
      known = false;
      for (std::size_t p = 0; p < kParameterOptions.size(); ++p) {
        if (name != kParameterOptions[p]) continue;
        const float v = parseUnit(name, value);
        if (name == "bypass" && v != 0.0f && v != 1.0f)
          throw UsageError("--bypass must be 0 or 1, got '" + value + "'");
        o.parameters.emplace_back(p, v);
        known = true;
      }
    }
    if (!known) throw UsageError("unknown option '--" + name + "'");
  }

  if (o.help || o.version) return o;
  if (o.list) {
    if (!files.empty()) throw UsageError("--list takes no files");
    return o;
  }
  if (files.size() != 2)
    throw UsageError(files.size() < 2 ? "needs an input and an output file (see --help)"
                                      : "too many files: '" + files[2] + "' (needs one input and one output)");
  o.input = files[0];
  o.output = files[1];
  return o;
}

const char* usageText() {
  return R"(usage: korro-render IN OUT [options]
       korro-render --list [--program N|NAME] [parameter options] [--module PATH]

Renders an audio file through the Korro Tarrow module, loaded as a VST 2 host
loads it. IN may be any file libsndfile reads (WAV, AIFF, FLAC, Ogg, ...),
mono or stereo; its sample rate is the host rate. OUT is stereo; its format
follows the extension: .wav .aif .aiff .caf (float by default), .flac (24-bit
by default), .ogg (Vorbis).

  --program N|NAME   factory program by number (0-7, as --list shows) or name
  --decay V          Decay   0..1   (parameters are set after the program)
  --damp V           Damp    0..1
  --mix V            Mix     0..1   (0 dry only, 1 wet only)
  --output V         Output  0..1   (0.5 is unity gain)
  --bypass 0|1       Bypass  raw value: 1, every program's own value, feeds
                     the reverb; 0 stops feeding it so the tail dies away
  --tail SECONDS     silence appended to the input so the reverb can ring out
                     (default 0: OUT is as long as IN)
  --block N          frames per processing call, 1..65536 (default 512)
  --adding           use the accumulating process call instead of processReplacing
  --format F         float, pcm24 or pcm16 samples in OUT
  --module PATH      the module to load (default: KORRO_MERIDAN.so beside the
                     tool, else PREFIX/lib/vst for a tool in PREFIX/bin, else ~/.vst)
  --list             print the programs with their values and the parameters
                     with the texts the module gives a host, then exit
  --version          print the version, then exit
)";
}

std::string versionText() { return std::string("korro-render ") + kProjectVersion; }

}  // namespace korro::render
