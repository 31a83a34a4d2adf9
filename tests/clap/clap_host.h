// A small in-process CLAP host: loads the built .clap as a host does, keeps
// what the plug-in asks of it, and runs blocks with events.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "clap/clap_abi.h"

namespace korro::test {

class ClapModule {
 public:
  explicit ClapModule(const std::string& path);
  ~ClapModule();
  // Loaded once for the process.
  static const ClapModule& at(const std::string& path);
  const clap::PluginEntry* entry() const { return entry_; }
  const clap::PluginFactory* factory() const;
  const std::string& error() const { return error_; }

 private:
  void* handle_ = nullptr;
  const clap::PluginEntry* entry_ = nullptr;
  std::string error_;
};

#ifdef KORRO_CLAP_PATH
inline const ClapModule& builtClap() { return ClapModule::at(KORRO_CLAP_PATH); }
#endif

// A host's stream for states: bytes in memory.
struct MemoryStream {
  std::vector<unsigned char> bytes;
  std::size_t pos = 0;
  std::size_t chunk = SIZE_MAX;    // the most one call moves
  std::size_t failAt = SIZE_MAX;   // the position from which calls fail
  clap::OutputStream out{};
  clap::InputStream in{};
  MemoryStream() {
    out.ctx = in.ctx = this;
    out.write = [](const clap::OutputStream* s, const void* data, std::uint64_t size) -> std::int64_t {
      auto* m = static_cast<MemoryStream*>(s->ctx);
      if (m->bytes.size() >= m->failAt) return -1;
      const std::size_t n = std::min<std::size_t>({size, m->chunk, m->failAt - m->bytes.size()});
      m->bytes.insert(m->bytes.end(), static_cast<const unsigned char*>(data), static_cast<const unsigned char*>(data) + n);
      return static_cast<std::int64_t>(n);
    };
    in.read = [](const clap::InputStream* s, void* data, std::uint64_t size) -> std::int64_t {
      auto* m = static_cast<MemoryStream*>(s->ctx);
      if (m->pos >= m->failAt) return -1;
      const std::size_t n = std::min<std::size_t>({size, m->chunk, m->bytes.size() - m->pos, m->failAt - m->pos});
      if (n > 0) std::memcpy(data, m->bytes.data() + m->pos, n);  // an empty vector's data() may be null
      m->pos += n;
      return static_cast<std::int64_t>(n);
    };
  }
};

// The host side: extensions offered on request, calls counted.
struct ClapHost {
  ClapHost();
  clap::Host record{};
  bool offerExtensions = true;
  int tailChanged = 0;
  int rescans = 0;
  int timersRegistered = 0;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> resizeRequests;
  std::vector<std::string> presetsLoaded;
  std::vector<std::string> presetErrors;
};

// One plug-in instance with the host it was made for.
class ClapInstance {
 public:
  ClapInstance(ClapHost& host, const ClapModule& module);
#ifdef KORRO_CLAP_PATH
  explicit ClapInstance(ClapHost& host) : ClapInstance(host, builtClap()) {}
#endif
  ~ClapInstance();
  explicit operator bool() const { return plugin_ != nullptr; }
  const clap::Plugin* plugin() const { return plugin_; }
  template <typename T>
  const T* ext(const char* id) const {
    return static_cast<const T*>(plugin_->getExtension(plugin_, id));
  }

  bool activate(double rate, std::uint32_t maxFrames);
  // Replaces out with the block's output; events are (frame, parameter, value).
  struct Change {
    std::uint32_t time;
    clap::Id param;
    double value;
  };
  std::int32_t process(float* const in[2], float* const out[2], std::uint32_t frames,
                       const std::vector<Change>& changes = {});
  double value(clap::Id id) const;

 private:
  const clap::Plugin* plugin_ = nullptr;
  bool active_ = false;
};

}  // namespace korro::test
