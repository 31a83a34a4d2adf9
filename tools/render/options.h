// Command line of korro-render.
#pragma once

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace korro::render {

// A failure the user can act on; its text becomes the one line on stderr.
struct RenderError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The same, for a malformed command line (exit code 2 instead of 1).
struct UsageError : RenderError {
  using RenderError::RenderError;
};

enum class SampleFormat { Default, Float, Pcm24, Pcm16 };

// The parameters the command line can set, by the name the module gives them.
inline constexpr std::array<const char*, 5> kParameterOptions = {"bypass", "decay", "damp", "mix", "output"};

struct Options {
  std::string input;
  std::string output;
  std::string module;   // empty: the module next to the tool
  std::string program;  // empty: keep the module's own start-up program
  // Values by kParameterOptions index, in the order given on the command line.
  std::vector<std::pair<std::size_t, float>> parameters;
  int block = 512;
  double tailSeconds = 0.0;
  bool adding = false;
  bool list = false;
  bool help = false;
  bool version = false;
  SampleFormat format = SampleFormat::Default;
};

// Throws UsageError with a one-line message.
Options parseOptions(const std::vector<std::string>& args);

const char* usageText();
// "korro-render VERSION", the project's version.
std::string versionText();

}  // namespace korro::render
