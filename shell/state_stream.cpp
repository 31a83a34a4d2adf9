#include "state_stream.h"

#include <cmath>
#include <cstring>

namespace korro {

namespace {

constexpr unsigned char kMagic[4] = {'K', 'T', 's', 't'};
constexpr std::uint32_t kHeaderBytes = 12;

void putU32(unsigned char*& p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) *p++ = static_cast<unsigned char>(v >> (8 * i));
}
void putF32(unsigned char*& p, float v) {
  std::uint32_t bits;
  std::memcpy(&bits, &v, 4);
  putU32(p, bits);
}
std::uint32_t getU32(const unsigned char*& p) {
  std::uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v |= static_cast<std::uint32_t>(*p++) << (8 * i);
  return v;
}
float getF32(const unsigned char*& p) {
  const std::uint32_t bits = getU32(p);
  float v;
  std::memcpy(&v, &bits, 4);
  return v;
}

bool writeAll(StateWriter& out, const unsigned char* data, std::int64_t size) {
  while (size > 0) {
    const std::int64_t n = out.write(data, size);
    if (n <= 0 || n > size) return false;
    data += n;
    size -= n;
  }
  return true;
}

bool readAll(StateReader& in, unsigned char* data, std::int64_t size) {
  while (size > 0) {
    const std::int64_t n = in.read(data, size);
    if (n <= 0 || n > size) return false;
    data += n;
    size -= n;
  }
  return true;
}

}  // namespace

bool writeState(const SavedState& state, StateWriter& out) {
  unsigned char bytes[kHeaderBytes + kStatePayloadBytes];
  unsigned char* p = bytes;
  std::memcpy(p, kMagic, 4);
  p += 4;
  putU32(p, kStateVersion);
  putU32(p, kStatePayloadBytes);
  putU32(p, static_cast<std::uint32_t>(state.program));
  for (float v : state.values) putF32(p, v);
  for (const SavedState::Program& r : state.programs) {
    for (float v : r.values) putF32(p, v);
    char name[kProgramNameSize] = {};
    std::memcpy(name, r.name, kProgramNameSize - 1);
    std::memcpy(p, name, kProgramNameSize);
    p += kProgramNameSize;
  }
  return writeAll(out, bytes, p - bytes);
}

bool readState(StateReader& in, SavedState& state) {
  unsigned char header[kHeaderBytes];
  if (!readAll(in, header, kHeaderBytes)) return false;
  if (std::memcmp(header, kMagic, 4) != 0) return false;
  const unsigned char* h = header + 4;
  if (getU32(h) != kStateVersion) return false;
  if (getU32(h) != kStatePayloadBytes) return false;

  unsigned char payload[kStatePayloadBytes];
  if (!readAll(in, payload, kStatePayloadBytes)) return false;
  const unsigned char* p = payload;
  SavedState read;
  read.program = static_cast<std::int32_t>(getU32(p));
  if (read.program < 0 || read.program >= kProgramCount) return false;
  for (float& v : read.values)
    if (!std::isfinite(v = getF32(p))) return false;
  for (SavedState::Program& r : read.programs) {
    for (float& v : r.values)
      if (!std::isfinite(v = getF32(p))) return false;
    std::memcpy(r.name, p, kProgramNameSize);
    r.name[kProgramNameSize - 1] = 0;
    p += kProgramNameSize;
  }
  state = read;
  return true;
}

}  // namespace korro
