#include "state_stream.h"

#include <cmath>
#include <cstring>

#include "reverb_effect.h"

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

// A value the engine could not use is saved as the one it does use, so every
// saved state loads again.
float savable(float stored, float engineUses) { return std::isfinite(stored) ? stored : engineUses; }

}  // namespace

bool saveEffectState(ReverbEffect& effect, StateWriter& out) {
  unsigned char bytes[kHeaderBytes + kStatePayloadBytes];
  unsigned char* p = bytes;
  std::memcpy(p, kMagic, 4);
  p += 4;
  putU32(p, kStateVersion);
  putU32(p, kStatePayloadBytes);

  const std::int32_t current = effect.getProgram();
  putU32(p, static_cast<std::uint32_t>(current));
  float engineUses[kNumParams];
  for (std::int32_t i = 0; i < kNumParams; ++i) {
    engineUses[i] = effect.engineValue(i);
    const float stored = i == kBypass ? engineUses[i] : effect.getParameter(i);
    putF32(p, savable(stored, engineUses[i]));
  }
  for (std::int32_t k = 0; k < kProgramCount; ++k) {
    const ProgramRecord r = effect.programRecord(k);
    const FactoryProgram& f = kFactoryPrograms[k];
    const bool cur = k == current;
    putF32(p, savable(r.bypass, engineUses[kBypass]));
    putF32(p, savable(r.decay, cur ? engineUses[kDecay] : f.decay));
    putF32(p, savable(r.damp, cur ? engineUses[kDamp] : f.damp));
    putF32(p, savable(r.output, engineUses[kOutput]));
    putF32(p, savable(r.mix, engineUses[kMix]));
    char name[kProgramNameSize] = {};
    std::memcpy(name, r.name, kProgramNameSize - 1);
    std::memcpy(p, name, kProgramNameSize);
    p += kProgramNameSize;
  }
  return writeAll(out, bytes, p - bytes);
}

bool loadEffectState(ReverbEffect& effect, StateReader& in) {
  unsigned char header[kHeaderBytes];
  if (!readAll(in, header, kHeaderBytes)) return false;
  if (std::memcmp(header, kMagic, 4) != 0) return false;
  const unsigned char* h = header + 4;
  if (getU32(h) != kStateVersion) return false;
  if (getU32(h) != kStatePayloadBytes) return false;

  unsigned char payload[kStatePayloadBytes];
  if (!readAll(in, payload, kStatePayloadBytes)) return false;
  const unsigned char* p = payload;
  const auto current = static_cast<std::int32_t>(getU32(p));
  if (current < 0 || current >= kProgramCount) return false;
  for (int i = 0; i < kNumParams; ++i)
    if (!std::isfinite(getF32(p))) return false;  // the current values repeat the current record
  ProgramRecord records[kProgramCount];
  for (ProgramRecord& r : records) {
    float v[5];
    for (float& x : v) {
      x = getF32(p);
      if (!std::isfinite(x)) return false;
    }
    r.bypass = v[0];
    r.decay = v[1];
    r.damp = v[2];
    r.output = v[3];
    r.mix = v[4];
    std::memcpy(r.name, p, kProgramNameSize);
    r.name[kProgramNameSize - 1] = 0;
    p += kProgramNameSize;
  }

  for (std::int32_t k = 0; k < kProgramCount; ++k) effect.setProgramRecord(k, records[k]);
  effect.setProgram(current);
  return true;
}

}  // namespace korro
