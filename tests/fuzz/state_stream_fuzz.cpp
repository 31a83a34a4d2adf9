// The state loader shared by CLAP and VST3, fed what a host's stream may hold.
// Input: one byte that sets how the stream hands out its bytes, then the stream.
// Properties: a stream that loads re-saves to a stream that loads to the same
// state; a refused stream changes nothing.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "shell/hosted_effect.h"
#include "shell/state_stream.h"

namespace {

// A host stream: at most `chunk` bytes a call (0: all asked for), and a failure
// instead of the end when `failAtEnd`.
class Reader : public korro::StateReader {
 public:
  Reader(const std::uint8_t* data, std::size_t size, std::size_t chunk, bool failAtEnd)
      : data_(data), size_(size), chunk_(chunk), failAtEnd_(failAtEnd) {}
  std::int64_t read(void* out, std::int64_t size) override {
    if (pos_ == size_) return failAtEnd_ ? -1 : 0;
    std::size_t n = static_cast<std::size_t>(size);
    if (chunk_ && n > chunk_) n = chunk_;
    if (n > size_ - pos_) n = size_ - pos_;
    std::memcpy(out, data_ + pos_, n);
    pos_ += n;
    return static_cast<std::int64_t>(n);
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_, pos_ = 0, chunk_;
  bool failAtEnd_;
};

class Writer : public korro::StateWriter {
 public:
  std::vector<std::uint8_t> bytes;
  std::int64_t write(const void* data, std::int64_t size) override {
    const auto* p = static_cast<const std::uint8_t*>(data);
    bytes.insert(bytes.end(), p, p + size);
    return size;
  }
};

std::vector<std::uint8_t> saved(const korro::HostedEffect& fx) {
  Writer w;
  if (!fx.save(w)) std::abort();
  return w.bytes;
}

// The audio side's next block takes what a load handed over.
void settle(korro::HostedEffect& fx) {
  fx.beginBlock();
  fx.endBlock();
}

bool load(korro::HostedEffect& fx, const std::vector<std::uint8_t>& bytes) {
  Reader r(bytes.data(), bytes.size(), 0, false);
  if (!fx.load(r)) return false;
  settle(fx);
  return true;
}

// Active, as in a host: a load then waits for the audio side's next block.
korro::HostedEffect& activeEffect() {
  auto* fx = new korro::HostedEffect(512);
  fx->prepare(512);
  fx->activate(44100.0f, 512);
  return *fx;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static korro::HostedEffect& target = activeEffect();
  static korro::HostedEffect& copy = activeEffect();
  static const std::vector<std::uint8_t> fresh = saved(target);
  if (size == 0) return 0;

  // Each input starts from a new effect's state.
  if (!load(target, fresh) || saved(target) != fresh) std::abort();
  const std::size_t chunk = data[0] & 0x3f;
  Reader in(data + 1, size - 1, chunk, (data[0] & 0x40) != 0);
  if (!target.load(in)) {
    if (saved(target) != fresh) std::abort();  // refused, yet something changed
    return 0;
  }
  settle(target);
  const std::vector<std::uint8_t> again = saved(target);
  if (!load(copy, again) || saved(copy) != again) std::abort();
  // What loaded is what the stream held: each program's Decay, Damp and name
  // (up to its end: what follows a name's end is not kept),
  // and the current program's Bypass, Output and Mix, which all programs share.
  constexpr std::size_t kTable = 12 + 4 + 5 * 4, kRecordBytes = 5 * 4 + korro::kProgramNameSize;
  const std::uint8_t* stream = data + 1;
  std::int32_t current;
  std::memcpy(&current, stream + 12, 4);
  const std::uint8_t* shared = stream + kTable + current * kRecordBytes;
  for (int k = 0; k < korro::kProgramCount; ++k) {
    const std::uint8_t* from = stream + kTable + k * kRecordBytes;
    const std::uint8_t* to = again.data() + kTable + k * kRecordBytes;
    const bool same = std::memcmp(to, shared, 4) == 0 && std::memcmp(to + 4, from + 4, 8) == 0 &&
                      std::memcmp(to + 12, shared + 12, 8) == 0 &&
                      std::strncmp(reinterpret_cast<const char*>(to + 20), reinterpret_cast<const char*>(from + 20),
                                   korro::kProgramNameSize - 1) == 0 &&
                      to[kRecordBytes - 1] == 0;
    if (!same) std::abort();
  }
  return 0;
}
