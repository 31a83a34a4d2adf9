// The VST3 front's reader of a block's parameter queues, fed what a host may
// hand over: any ids, offsets in any order, any values, up to 16 queues.
// Input: records of 13 bytes (id byte, offset i32, value f64).
// Properties: no more kept than the bound; offsets in order; every parameter
// with points ends at its queue's last point; the program change is the
// program queue's last point.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "vst3/change_list.h"
#include "vst3/vst3_host.h"

namespace {
constexpr korro::vst3::ParamId kParameters = 5, kProgram = 1000;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using korro::test::vst3host::Changes;
  static Changes changes;
  static korro::vst3::ChangeList list;
  changes.clear();
  for (std::size_t at = 0; at + 13 <= size; at += 13) {
    // Mostly parameters, some the program list, some ids no one knows.
    const std::uint8_t b = data[at];
    const korro::vst3::ParamId id = b < 200 ? b % kParameters : b < 230 ? kProgram : b;
    std::int32_t offset;
    double value;
    std::memcpy(&offset, data + at + 1, 4);
    std::memcpy(&value, data + at + 5, 8);
    changes.add(id, offset, value);
  }
  list.read(reinterpret_cast<korro::vst3::ParameterChanges*>(&changes), kParameters, kProgram);

  using korro::vst3::ChangeList;
  if (list.size() < 0 || list.size() > ChangeList::kAccurate + ChangeList::kMaxQueues) std::abort();
  for (const auto* c = list.begin(); c != list.end(); ++c) {
    if (c->id >= kParameters) std::abort();
    if (c != list.begin() && c[-1].offset > c->offset) std::abort();
  }
  for (korro::vst3::ParamId id = 0; id < kParameters; ++id) {
    double last;
    if (!changes.last(id, last)) continue;
    // Out-of-order queues are put in order, so the queue's last point need not
    // be the list's last for this id: it must be there, at the latest offset the id has.
    const auto& q = *changes.queueFor(id);
    const std::int32_t lastOffset = q.offsets[q.count - 1];
    bool found = false;
    std::int32_t latest = INT32_MIN;
    for (const auto* c = list.begin(); c != list.end(); ++c)
      if (c->id == id) {
        latest = c->offset > latest ? c->offset : latest;
        found |= c->offset == lastOffset && std::memcmp(&c->value, &last, sizeof last) == 0;
      }
    if (!found) std::abort();
    // A well-ordered queue ends the block at its last point.
    bool ordered = true;
    for (std::int32_t i = 1; i < q.count; ++i) ordered &= q.offsets[i - 1] <= q.offsets[i];
    if (ordered && latest != lastOffset) std::abort();
  }
  double program, expected;
  if (list.program(program) != changes.last(kProgram, expected)) std::abort();
  if (changes.last(kProgram, expected) && std::memcmp(&program, &expected, sizeof program) != 0) std::abort();
  return 0;
}
