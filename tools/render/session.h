// One effect loaded from its module and driven as a host drives it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "options.h"
#include "tools/host/vst_host.h"

namespace korro::render {

class InputFile;
class PendingOutput;

// KORRO_MERIDAN.so beside the running executable or in a directory above it
// (a build tree), else in PREFIX/lib/vst for a tool in PREFIX/bin, else in ~/.vst.
std::string defaultModulePath();

class Session {
 public:
  // Loads the module and creates the effect; a mono session tells the effect
  // that its second input is not connected. Throws RenderError.
  Session(const std::string& modulePath, bool monoInput);
  ~Session();

  host::Plugin& plugin() { return *plugin_; }
  const std::string& modulePath() const { return path_; }

  std::vector<std::string> programNames();
  // A program by number or by name (exact, else ignoring case). Throws RenderError.
  int findProgram(const std::string& numberOrName);
  // The index of the parameter whose name, without its blanks, is `name` ignoring case.
  int findParameter(const std::string& name);

  // The host's start-up: rate and block size, then the program and the
  // parameters, then the effect is switched on.
  void start(int sampleRate, int block, const std::string& program,
             const std::vector<std::pair<std::size_t, float>>& parameters);

  // Programs with their values, parameters with their texts, for the current
  // program and parameter values. Leaves the current program selected.
  void printList(std::FILE* out);

 private:
  void applyProgramAndParameters(const std::string& program,
                                 const std::vector<std::pair<std::size_t, float>>& parameters);

  std::string path_;
  std::unique_ptr<host::Module> module_;
  host::Host host_;
  std::unique_ptr<host::Plugin> plugin_;
};

struct RenderJob {
  int block = 512;
  bool adding = false;
  std::int64_t tailFrames = 0;
};

// Streams the whole input, then the tail of silence, through the effect in
// blocks of job.block frames (the last one shorter). `progress` is told the
// number of frames done after every block.
void render(Session& session, InputFile& in, PendingOutput& out, const RenderJob& job,
            const std::function<void(std::int64_t)>& progress);

}  // namespace korro::render
