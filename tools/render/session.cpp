#include "session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "sound_file.h"

namespace korro::render {

namespace {

constexpr const char* kModuleFile = "KORRO_MERIDAN.so";
// The build keeps the module at the top of the build tree; tools may sit a few levels below.
constexpr int kLevelsUp = 3;

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string trim(const std::string& s) {
  const auto b = s.find_first_not_of(' ');
  if (b == std::string::npos) return {};
  return s.substr(b, s.find_last_not_of(' ') - b + 1);
}

bool isFile(const std::string& path) {
  struct stat st{};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

std::string defaultModulePath() {
  char exe[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n <= 0) return {};
  std::string dir(exe, static_cast<std::size_t>(n));
  std::string prefix;  // the folder above the tool's own, as /usr above /usr/bin
  for (int level = 0; level <= kLevelsUp; ++level) {
    const auto slash = dir.find_last_of('/');
    if (slash == std::string::npos) break;
    dir.resize(slash);
    if (level == 1) prefix = dir;
    const std::string candidate = dir + "/" + kModuleFile;
    if (isFile(candidate)) return candidate;
    if (dir.empty()) break;
  }
  // Installed: the VST 2 folder of the tool's own prefix, then the user's.
  if (const std::string installed = prefix + "/lib/vst/" + kModuleFile; isFile(installed)) return installed;
  if (const char* home = std::getenv("HOME"); home && *home) {
    const std::string own = std::string(home) + "/.vst/" + kModuleFile;
    if (isFile(own)) return own;
  }
  return {};
}

// ---------------------------------------------------------------- session

Session::Session(const std::string& modulePath, bool monoInput) : path_(modulePath) {
  if (!isFile(path_)) throw RenderError("cannot load module '" + path_ + "': no such file");
  module_ = std::make_unique<host::Module>(path_);
  if (!module_->loaded()) throw RenderError("cannot load module '" + path_ + "': " + module_->error());
  if (!module_->entry()) throw RenderError("module '" + path_ + "' has no VST entry point (VSTPluginMain or main)");

  host_.inputConnected = !monoInput;
  plugin_ = std::make_unique<host::Plugin>(*module_, host_);
  AEffect* e = plugin_->effect();
  if (!e) throw RenderError("module '" + path_ + "' refused to start: its entry point returned no effect");
  if (e->magic != kEffectMagic) throw RenderError("module '" + path_ + "' returned something that is not a VST effect");
  if (e->numOutputs < 2 || e->numInputs < 1)
    throw RenderError("module '" + path_ + "' has " + std::to_string(e->numInputs) + " inputs and " +
                      std::to_string(e->numOutputs) + " outputs; a stereo effect is needed");
  plugin_->dispatch(effOpen);
}

Session::~Session() {
  if (plugin_ && *plugin_) plugin_->dispatch(effMainsChanged, 0, 0);
  plugin_.reset();  // effClose before the module goes away
}

std::vector<std::string> Session::programNames() {
  std::vector<std::string> names;
  for (int p = 0; p < plugin_->effect()->numPrograms; ++p) {
    char text[256] = {};
    if (plugin_->dispatch(effGetProgramNameIndexed, p, 0, text) == 0) {
      // Not every effect answers the indexed form; the current program's name always works.
      const std::int32_t current = static_cast<std::int32_t>(plugin_->dispatch(effGetProgram));
      plugin_->dispatch(effSetProgram, 0, p);
      plugin_->dispatch(effGetProgramName, 0, 0, text);
      plugin_->dispatch(effSetProgram, 0, current);
    }
    text[sizeof text - 1] = 0;
    names.emplace_back(text);
  }
  return names;
}

int Session::findProgram(const std::string& numberOrName) {
  const int count = plugin_->effect()->numPrograms;
  if (std::all_of(numberOrName.begin(), numberOrName.end(), [](unsigned char c) { return std::isdigit(c); })) {
    const long n = numberOrName.size() > 6 ? -1 : std::stol(numberOrName);
    if (n < 0 || n >= count)
      throw RenderError("program " + numberOrName + " does not exist; the programs are 0 to " +
                        std::to_string(count - 1));
    return static_cast<int>(n);
  }
  const std::vector<std::string> names = programNames();
  for (int p = 0; p < count; ++p)
    if (names[p] == numberOrName) return p;
  for (int p = 0; p < count; ++p)
    if (lower(names[p]) == lower(numberOrName)) return p;
  std::string known;
  for (const std::string& n : names) known += (known.empty() ? "\"" : ", \"") + n + "\"";
  throw RenderError("unknown program '" + numberOrName + "'; the programs are " + known);
}

int Session::findParameter(const std::string& name) {
  for (int i = 0; i < plugin_->effect()->numParams; ++i)
    if (lower(trim(plugin_->text(effGetParamName, i))) == lower(name)) return i;
  throw RenderError("module '" + path_ + "' has no parameter named '" + name + "'");
}

void Session::applyProgramAndParameters(const std::string& program,
                                        const std::vector<std::pair<std::size_t, float>>& parameters) {
  if (!program.empty()) plugin_->dispatch(effSetProgram, 0, findProgram(program));
  for (const auto& [option, value] : parameters) plugin_->setParameter(findParameter(kParameterOptions[option]), value);
}

void Session::start(int sampleRate, int block, const std::string& program,
                    const std::vector<std::pair<std::size_t, float>>& parameters) {
  plugin_->dispatch(effSetSampleRate, 0, 0, nullptr, static_cast<float>(sampleRate));
  plugin_->dispatch(effSetBlockSize, 0, block);
  applyProgramAndParameters(program, parameters);
  plugin_->dispatch(effMainsChanged, 0, 1);
}

// ------------------------------------------------------------------- list

void Session::printList(std::FILE* out) {
  AEffect* e = plugin_->effect();
  const std::int32_t id = e->uniqueID;
  std::fprintf(out, "%s - %s\n", plugin_->text(effGetEffectName).c_str(), plugin_->text(effGetProductString).c_str());
  std::fprintf(out, "vendor %s, id %c%c%c%c, version %d, VST %ld\n", plugin_->text(effGetVendorString).c_str(),
               (id >> 24) & 0xff, (id >> 16) & 0xff, (id >> 8) & 0xff, id & 0xff, e->version,
               static_cast<long>(plugin_->dispatch(effGetVstVersion)));
  std::fprintf(out, "module %s\n", path_.c_str());

  const std::int32_t current = static_cast<std::int32_t>(plugin_->dispatch(effGetProgram));
  // The values a program holds are what getParameter reads once it is selected;
  // Bypass, Output and Mix are shared by all programs.
  std::vector<std::vector<float>> values;
  for (int p = 0; p < e->numPrograms; ++p) {
    plugin_->dispatch(effSetProgram, 0, p);
    std::vector<float> v;
    for (int i = 0; i < e->numParams; ++i) v.push_back(plugin_->getParameter(i));
    values.push_back(std::move(v));
  }
  plugin_->dispatch(effSetProgram, 0, current);

  const std::vector<std::string> names = programNames();
  std::fprintf(out, "\nprograms\n  #  %-26s", "name");
  for (int i = 0; i < e->numParams; ++i) std::fprintf(out, " %-8s", trim(plugin_->text(effGetParamName, i)).c_str());
  std::fprintf(out, "\n");
  for (int p = 0; p < e->numPrograms; ++p) {
    std::fprintf(out, "%c %d  %-26s", p == current ? '*' : ' ', p, ("\"" + names[p] + "\"").c_str());
    for (float v : values[p]) std::fprintf(out, " %-8.6g", static_cast<double>(v));
    std::fprintf(out, "\n");
  }

  char name[256] = {};
  plugin_->dispatch(effGetProgramName, 0, 0, name);
  name[sizeof name - 1] = 0;
  std::fprintf(out, "\nparameters of program %d \"%s\" (texts quoted as the host receives them)\n", current, name);
  std::fprintf(out, "  #  %-12s %-10s %-14s %s\n", "name", "value", "display", "label");
  for (int i = 0; i < e->numParams; ++i) {
    std::fprintf(out, "  %d  %-12s %-10.6g %-14s %s\n", i, ("\"" + plugin_->text(effGetParamName, i) + "\"").c_str(),
                 static_cast<double>(plugin_->getParameter(i)),
                 ("\"" + plugin_->text(effGetParamDisplay, i) + "\"").c_str(),
                 ("\"" + plugin_->text(effGetParamLabel, i) + "\"").c_str());
  }
}

// ----------------------------------------------------------------- render

void render(Session& session, InputFile& in, PendingOutput& out, const RenderJob& job,
            const std::function<void(std::int64_t)>& progress) {
  const int block = job.block;
  // The right input stays silent for a mono file: the effect is told it is
  // not connected and must not read it.
  std::vector<float> inLeft(block), inRight(block), outLeft(block), outRight(block);
  float* inputs[2] = {inLeft.data(), inRight.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  host::Plugin& plugin = session.plugin();

  bool inputDone = false;
  std::int64_t tailLeft = job.tailFrames;
  std::int64_t done = 0;
  for (;;) {
    int n = 0;
    while (!inputDone && n < block) {
      const int got = in.read(inLeft.data() + n, inRight.data() + n, block - n);
      if (got == 0) inputDone = true;
      n += got;
    }
    const int silence = static_cast<int>(std::min<std::int64_t>(block - n, tailLeft));
    std::fill_n(inLeft.data() + n, silence, 0.0f);
    std::fill_n(inRight.data() + n, silence, 0.0f);
    n += silence;
    tailLeft -= silence;
    if (n == 0) break;

    if (job.adding) {
      // A host clears its buffers before effects accumulate into them.
      std::fill_n(outLeft.data(), n, 0.0f);
      std::fill_n(outRight.data(), n, 0.0f);
      plugin.process(inputs, outputs, n);
    } else {
      plugin.processReplacing(inputs, outputs, n);
    }
    out.write(outLeft.data(), outRight.data(), n);
    done += n;
    progress(done);
  }
}

}  // namespace korro::render
