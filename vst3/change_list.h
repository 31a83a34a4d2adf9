// A block's parameter changes as a host hands them over (one queue per
// parameter, points in rising offset order), read into the ordered list the
// block is split by: every point of every parameter's queue by offset, equal
// offsets in the host's order, and the program change apart.
//
// Every point is kept, and so sample-accurate, up to kAccurate points a
// block. Beyond that each queue keeps a share of kAccurate in proportion to
// its points, spread evenly over them and always with its last one, so every
// parameter still ends the block at the host's last value.
#pragma once

#include <cstdint>

#include "vst3_abi.h"

namespace korro::vst3 {

class ChangeList {
 public:
  static constexpr std::int32_t kAccurate = 1024;
  // Queues beyond this many in one block are not read.
  static constexpr std::int32_t kMaxQueues = 32;

  struct Change {
    std::int32_t offset;
    ParamId id;
    double value;
  };

  // Ids below `parameterCount` are parameters; `programId`'s last point is
  // the program change; other queues are skipped. A null list is an empty one.
  void read(ParameterChanges* changes, ParamId parameterCount, ParamId programId);

  const Change* begin() const { return list_; }
  const Change* end() const { return list_ + count_; }
  std::int32_t size() const { return count_; }
  // The last point of the program queue, if there was one.
  bool program(double& value) const {
    value = program_;
    return hasProgram_;
  }

 private:
  static constexpr std::int32_t kCapacity = kAccurate + kMaxQueues;
  Change read_[kCapacity];  // queue after queue
  Change list_[kCapacity];  // merged by offset
  std::int32_t count_ = 0;
  bool hasProgram_ = false;
  double program_ = 0.0;
};

}  // namespace korro::vst3
